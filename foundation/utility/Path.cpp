#include "foundation/utility/Path.h"

#include "foundation/platform/Text.h"

#include <algorithm>
#include <string_view>

namespace alidade {
namespace {

namespace fs = std::filesystem;

constexpr std::wstring_view kSeparators = L"/\\";

bool IsDrive(std::wstring_view text)
{
    return text.size() == 2 && text[1] == L':';
}

bool IsTaken(const fs::path& path)
{
    std::error_code failed;
    const fs::file_status status = fs::symlink_status(path, failed);
    return status.type() != fs::file_type::not_found && status.type() != fs::file_type::none;
}

} // namespace

void SplitPath(const wchar_t* path, CString& folder, CString& fileName)
{
    const std::wstring_view text = path != nullptr ? path : L"";
    const std::size_t last = text.find_last_of(kSeparators);
    if (last == std::wstring_view::npos) {
        CString name(text);
        folder.clear();
        fileName = std::move(name);
        return;
    }
    // "/" and "C:\" are folders of their own: without the separator they would name something else.
    std::size_t end = text.find_last_not_of(kSeparators, last);
    end = end == std::wstring_view::npos ? last + 1 : end + 1;
    if (IsDrive(text.substr(0, end))) {
        ++end;
    }
    CString head(text.substr(0, end));
    CString name(text.substr(last + 1));
    folder = std::move(head);
    fileName = std::move(name);
}

void SplitPath(const wchar_t* path, CString& folder, CString& name, CString& extension)
{
    CString fileName;
    SplitPath(path, folder, fileName);
    const std::size_t dot = fileName.rfind(L'.');
    const bool has = dot != CString::npos && dot > 0 && fileName.find_first_not_of(L'.') < dot;
    extension = has ? fileName.substr(dot) : CString();
    name = has ? fileName.substr(0, dot) : fileName;
}

int GetAbsolutePath(const wchar_t* base, const wchar_t* path, CString& out)
{
    if (path == nullptr || *path == L'\0') {
        return 0;
    }
    fs::path whole = ToPath(path);
    if (base != nullptr && *base != L'\0') {
        whole = ToPath(base) / whole;
    }
    std::error_code failed;
    whole = fs::absolute(whole, failed);
    if (failed) {
        return 0;
    }
    whole = whole.lexically_normal();
    if (!whole.has_filename() && whole != whole.root_path()) {
        whole = whole.parent_path();
    }
    out = FromPath(whole);
    return 1;
}

int CreateSubDirectories(const wchar_t* path)
{
    if (path == nullptr || *path == L'\0') {
        return 0;
    }
    const fs::path folder = ToPath(path);
    std::error_code failed;
    fs::create_directories(folder, failed);
    return fs::is_directory(folder, failed) ? 1 : 0;
}

CString GetUniqueFileName(const wchar_t* folder, const wchar_t* fileTemplate, int first)
{
    const CString text = fileTemplate != nullptr ? fileTemplate : L"";
    const std::size_t start = text.find(L'?');
    if (start == CString::npos) {
        return {};
    }
    const std::size_t end = std::min(text.find_first_not_of(L'?', start), text.size());
    const std::size_t digits = end - start;
    std::uint64_t limit = 1;
    for (std::size_t i = 0; i < std::min<std::size_t>(digits, 18); ++i) {
        limit *= 10;
    }
    const fs::path base = ToPath(folder != nullptr ? folder : L"");
    for (std::uint64_t number = static_cast<std::uint64_t>(std::max(first, 0)); number < limit; ++number) {
        CString figures = std::to_wstring(number);
        figures.insert(0, digits - figures.size(), L'0');
        const fs::path candidate = base / ToPath(text.substr(0, start) + figures + text.substr(end));
        if (!IsTaken(candidate)) {
            CString full;
            return GetAbsolutePath(nullptr, FromPath(candidate).c_str(), full) != 0 ? full : CString();
        }
    }
    return {};
}

CPushDirectory::CPushDirectory(const wchar_t* path)
{
    std::error_code failed;
    m_old = fs::current_path(failed);
    if (!failed && path != nullptr && *path != L'\0') {
        fs::current_path(ToPath(path), failed);
        m_changed = !failed;
    }
}

CPushDirectory::~CPushDirectory()
{
    if (m_changed) {
        std::error_code failed;
        fs::current_path(m_old, failed);
    }
}

} // namespace alidade
