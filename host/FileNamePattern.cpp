#include "host/FileNamePattern.h"

#include "foundation/platform/Text.h"

#include <cwctype>

namespace alidade {
namespace {

constexpr int kMostWidth = 20;

/// Reads a conversion behind its "%": [0][width]d. True when it is one.
bool ReadConversion(const CString& pattern, std::size_t& at, bool& zeros, int& width)
{
    zeros = at < pattern.size() && pattern[at] == L'0';
    width = 0;
    for (; at < pattern.size() && pattern[at] >= L'0' && pattern[at] <= L'9'; ++at) {
        width = width * 10 + (pattern[at] - L'0');
        if (width > kMostWidth) {
            return false;
        }
    }
    return at < pattern.size() && pattern[at++] == L'd';
}

} // namespace

int CFileNamePattern::Parse(const CString& pattern, CString& error)
{
    CFileNamePattern read;
    int conversions = 0;
    for (std::size_t at = 0; at < pattern.size();) {
        CString& text = conversions == 0 ? read.m_strBefore : read.m_strAfter;
        const wchar_t c = pattern[at++];
        if (c != L'%') {
            text += c;
        } else if (at < pattern.size() && pattern[at] == L'%') {
            text += pattern[at++];
        } else if (!ReadConversion(pattern, at, read.m_bZeros, read.m_nWidth)) {
            error =
                Format(L"only %%d with a width of up to %d, as %%04d, and %%%% are understood", kMostWidth);
            return 0;
        } else {
            ++conversions;
        }
    }
    if (conversions != 1) {
        error = L"exactly one number, as %04d, must stand in the name";
        return 0;
    }
    if (read.m_strAfter.find_first_of(L"/\\") != CString::npos) {
        error = L"the number must stand in the file's name, not in a folder's";
        return 0;
    }
    *this = read;
    return 1;
}

std::filesystem::path CFileNamePattern::GetFile(std::uint32_t number) const
{
    CString digits = std::to_wstring(number);
    if (digits.size() < static_cast<std::size_t>(m_nWidth)) {
        digits.insert(0, static_cast<std::size_t>(m_nWidth) - digits.size(), m_bZeros ? L'0' : L' ');
    }
    return ToPath(m_strBefore + digits + m_strAfter);
}

std::filesystem::path CFileNamePattern::GetFolder() const
{
    const std::filesystem::path folder = GetFile(1).parent_path();
    return folder.empty() ? std::filesystem::path(".") : folder;
}

CString CFileNamePattern::GetExtension() const
{
    CString extension = FromPath(GetFile(1).extension());
    for (wchar_t& c : extension) {
        c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
    }
    return extension;
}

} // namespace alidade
