#include "foundation/config/Profile.h"

#include "foundation/config/IniMerge.h"
#include "foundation/config/IniRead.h"
#include "foundation/config/IniText.h"
#include "foundation/config/SimpleLog.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"

#include <system_error>

namespace alidade {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LittleMark = "\xFF\xFE";
constexpr std::string_view kUtf16BigMark = "\xFE\xFF";
constexpr std::uint64_t kMostBytes = 256u << 20; // of a settings file

/// UTF-8 of UTF-16 bytes. What is no character becomes a byte that no UTF-8 text holds, so that the line that
/// it stands in counts as bad.
std::string FromUtf16Bytes(std::string_view bytes, bool bigEndian)
{
    static constexpr char kNoCharacter = '\xFF';
    const auto unit = [&](std::size_t i) {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto second = static_cast<unsigned char>(bytes[i + 1]);
        return static_cast<char16_t>(bigEndian ? first << 8 | second : second << 8 | first);
    };
    std::string out;
    std::u16string run; // characters not yet converted
    const auto flush = [&] {
        out += ToNarrow(FromUtf16(run));
        run.clear();
    };
    std::size_t i = 0;
    for (; i + 1 < bytes.size(); i += 2) {
        const char16_t c = unit(i);
        const bool high = c >= 0xD800 && c <= 0xDBFF;
        const char16_t next = high && i + 3 < bytes.size() ? unit(i + 2) : 0;
        if (high && next >= 0xDC00 && next <= 0xDFFF) {
            run += {c, next};
            i += 2;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            flush();
            out += kNoCharacter;
        } else {
            run += c;
        }
    }
    flush();
    if (i < bytes.size()) {
        out += kNoCharacter;
    }
    return out;
}

std::string ToUtf16Bytes(std::string_view utf8)
{
    std::string out(kUtf16LittleMark);
    for (const char16_t unit : ToUtf16(ToWide(utf8))) {
        out += static_cast<char>(unit & 0xFF);
        out += static_cast<char>(unit >> 8);
    }
    return out;
}

/// The name that a file is kept aside under: the first free one of ".bad", ".bad2" and so on.
fs::path NameAside(const fs::path& path)
{
    for (int number = 1; number < 1000; ++number) {
        fs::path aside = path;
        aside += number == 1 ? ".bad" : ".bad" + std::to_string(number);
        std::error_code failed;
        if (fs::symlink_status(aside, failed).type() == fs::file_type::not_found) {
            return aside;
        }
    }
    return {};
}

bool IsSameFile(const fs::path& a, const fs::path& b)
{
    std::error_code failed;
    if (fs::equivalent(a, b, failed) && !failed) {
        return true;
    }
    return fs::absolute(a, failed).lexically_normal() == fs::absolute(b, failed).lexically_normal();
}

} // namespace

struct CProfile::Impl {
    CString path;
    CArchiveU::eENCODING encoding = CArchiveU::ENCODING_DEFAULT;
    CSimpleLog* log = nullptr;
    CProfileSection root;
    std::string text;     // the good lines as they were last read or written
    bool hasMark = false; // the file that was read began with the UTF-8 mark
    fs::path damaged;     // a file that holds more than was read, to be kept aside before it is written over
    std::size_t firstBadLine = 0;

    void Log(const CString& line)
    {
        if (log != nullptr) {
            log->WriteErrorLog(L"%s", line.c_str());
        }
    }
    std::string Decode(std::string bytes, CArchiveU::eENCODING assumed, bool& mark) const;
    std::string Encode(const std::string& merged, CArchiveU::eENCODING wanted) const;
    int KeepAside(const fs::path& target);
};

std::string CProfile::Impl::Decode(std::string bytes, CArchiveU::eENCODING assumed, bool& mark) const
{
    mark = bytes.starts_with(kUtf8Mark);
    if (mark) {
        return bytes.substr(kUtf8Mark.size());
    }
    const bool little = bytes.starts_with(kUtf16LittleMark);
    const bool big = bytes.starts_with(kUtf16BigMark);
    if (little || big || assumed == CArchiveU::ENCODING_UTF16) {
        return FromUtf16Bytes(std::string_view(bytes).substr(little || big ? 2 : 0), big);
    }
    return bytes;
}

std::string CProfile::Impl::Encode(const std::string& merged, CArchiveU::eENCODING wanted) const
{
    if (wanted == CArchiveU::ENCODING_UTF16) {
        return ToUtf16Bytes(merged);
    }
    return wanted == CArchiveU::ENCODING_UTF8_BOM || hasMark ? std::string(kUtf8Mark) + merged : merged;
}

/// Copies a damaged file aside before it is written over.
int CProfile::Impl::KeepAside(const fs::path& target)
{
    std::error_code failed;
    if (damaged.empty() || !IsSameFile(damaged, target) ||
        fs::status(target, failed).type() == fs::file_type::not_found) {
        return 1;
    }
    const fs::path aside = NameAside(target);
    std::string bytes;
    CString reason = L"too many copies are kept already";
    if (aside.empty() || ReadWholeFile(target, bytes, &reason, UINT64_MAX) == 0 ||
        ReplaceFileWith(aside, bytes, &reason) == 0) {
        Log(Format(
            L"CProfile::Save : %s is damaged and cannot be copied aside, so it is not written over: %s",
            FromPath(target).c_str(), reason.c_str()));
        return 0;
    }
    Log(Format(L"CProfile::Save : the damaged %s is kept as %s", FromPath(target).c_str(),
               FromPath(aside).c_str()));
    return 1;
}

CProfile::CProfile(const wchar_t* path, CArchiveU::eENCODING encoding, const wchar_t* comment)
    : m_pImpl(std::make_unique<Impl>())
{
    m_pImpl->path = path != nullptr ? path : L"";
    m_pImpl->text = IniHeading(comment != nullptr ? comment : L"");
    m_pImpl->encoding = encoding;
}

CProfile::~CProfile() = default;

int CProfile::Load(const wchar_t* path, CArchiveU::eENCODING encoding)
{
    Impl& impl = *m_pImpl;
    const fs::path file = ToPath(path != nullptr ? CString(path) : impl.path);
    std::string bytes;
    CString reason;
    if (ReadWholeFile(file, bytes, &reason, kMostBytes) == 0) {
        std::error_code failed;
        if (fs::exists(file, failed) || failed) {
            impl.damaged = file;
            impl.Log(
                Format(L"CProfile::Load : %s cannot be read: %s", FromPath(file).c_str(), reason.c_str()));
        }
        return 0;
    }
    bool mark = false;
    const bool assumed = encoding == CArchiveU::ENCODING_DEFAULT;
    T_INI_SCAN scan = ScanIni(impl.Decode(std::move(bytes), assumed ? impl.encoding : encoding, mark));
    if (!ReadIni(scan.text, impl.root)) {
        impl.damaged = file;
        impl.Log(Format(L"CProfile::Load : %s cannot be read: no memory", FromPath(file).c_str()));
        return 0;
    }
    impl.text = std::move(scan.text);
    impl.hasMark = mark;
    impl.firstBadLine = scan.firstBadLine;
    impl.damaged = scan.badLines > 0 ? file : fs::path();
    if (scan.badLines > 0) {
        impl.Log(Format(L"CProfile::Load : line %zu of %s cannot be read; %zu %s left out", scan.firstBadLine,
                        FromPath(file).c_str(), scan.badLines,
                        scan.badLines == 1 ? L"line is" : L"lines are"));
    }
    return 1;
}

int CProfile::Save(const wchar_t* path, CArchiveU::eENCODING encoding)
{
    Impl& impl = *m_pImpl;
    const fs::path file = ToPath(path != nullptr ? CString(path) : impl.path);
    if (file.empty()) {
        impl.Log(L"CProfile::Save : no file is named");
        return 0;
    }
    std::string merged = MergeIni(impl.text, impl.root);
    if (const T_INI_SCAN check = ScanIni(merged); check.badLines > 0) {
        impl.Log(Format(L"CProfile::Save : %s is not written: it would hold too many settings, or sections "
                        L"nested too deep",
                        FromPath(file).c_str()));
        return 0;
    }
    const bool assumed = encoding == CArchiveU::ENCODING_DEFAULT;
    const std::string bytes = impl.Encode(merged, assumed ? impl.encoding : encoding);
    std::string old;
    if (ReadWholeFile(file, old, nullptr, bytes.size()) == 0 || old != bytes) {
        CString reason;
        std::error_code failed;
        if (file.has_parent_path()) {
            fs::create_directories(file.parent_path(), failed);
        }
        if (impl.KeepAside(file) == 0) {
            return 0;
        }
        if (ReplaceFileWith(file, bytes, &reason) == 0) {
            impl.Log(
                Format(L"CProfile::Save : %s cannot be written: %s", FromPath(file).c_str(), reason.c_str()));
            return 0;
        }
    }
    impl.text = std::move(merged);
    if (!impl.damaged.empty() && IsSameFile(impl.damaged, file)) {
        impl.damaged.clear();
    }
    return 1;
}

CProfileSection& CProfile::GetSection(const wchar_t* name)
{
    return m_pImpl->root.GetSubSection(name);
}

const CProfileSection* CProfile::FindSection(const wchar_t* name) const
{
    return std::as_const(m_pImpl->root).FindSubSection(name);
}

int CProfile::DeleteSection(const wchar_t* name)
{
    return m_pImpl->root.DeleteSubSection(name);
}

const CProfileSection& CProfile::GetRoot() const
{
    return m_pImpl->root;
}

const wchar_t* CProfile::GetProfileValue(const wchar_t* section, const wchar_t* key,
                                         const wchar_t* defaultValue) const
{
    const CProfileSection* found = section != nullptr ? FindSection(section) : &m_pImpl->root;
    return found != nullptr ? found->GetItemValue(key, defaultValue) : defaultValue;
}

int CProfile::SetProfileValue(const wchar_t* section, const wchar_t* key, const wchar_t* value,
                              const wchar_t* comment)
{
    CProfileSection& target = section != nullptr ? GetSection(section) : m_pImpl->root;
    return target.SetItemValue(key, value, comment);
}

const CString& CProfile::GetPath() const
{
    return m_pImpl->path;
}

void CProfile::SetLog(CSimpleLog* log)
{
    m_pImpl->log = log;
}

int CProfile::GetFirstBadLine() const
{
    return static_cast<int>(m_pImpl->firstBadLine);
}

} // namespace alidade
