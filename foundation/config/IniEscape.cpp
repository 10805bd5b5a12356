#include "foundation/config/IniEscape.h"

#include "foundation/platform/Text.h"

#include <algorithm>
#include <cstdint>

namespace alidade {
namespace {

constexpr std::string_view kEmpty = "&#0;";
constexpr std::size_t kMostDigits = 7; // of a reference

bool IsBlank(wchar_t c)
{
    return c == L' ' || c == L'\t';
}

bool IsSurrogate(std::uint32_t c)
{
    return c >= 0xD800 && c <= 0xDFFF;
}

/// True where the wide text holds a surrogate that is no half of a pair, which UTF-8 cannot say.
bool IsLoneSurrogate(std::wstring_view text, std::size_t i)
{
    const auto at = [&](std::size_t k) { return static_cast<std::uint32_t>(text[k]); };
    if (!IsSurrogate(at(i))) {
        return false;
    }
    if constexpr (sizeof(wchar_t) == 2) {
        if (at(i) < 0xDC00) {
            return i + 1 >= text.size() || at(i + 1) < 0xDC00 || at(i + 1) > 0xDFFF;
        }
        return i == 0 || at(i - 1) < 0xD800 || at(i - 1) > 0xDBFF;
    }
    return true;
}

/// Characters that readers of the form, people among them, do not see or take for a line's end.
bool IsInvisible(wchar_t c)
{
    const auto code = static_cast<std::uint32_t>(c);
    return (code < 0x20 && c != L'\t') || code == 0x7F || code == 0x85 || code == 0x2028 || code == 0x2029 ||
           code == 0xFEFF;
}

/// Length of the reference that begins at `pos`, 0 when none does; `code` receives what it stands for.
template <class View>
std::size_t ReferenceAt(View text, std::size_t pos, std::uint32_t& code)
{
    using Char = typename View::value_type;
    if (pos + 3 >= text.size() || text[pos] != Char('&') || text[pos + 1] != Char('#')) {
        return 0;
    }
    std::size_t at = pos + 2;
    std::uint32_t sum = 0;
    for (; at < text.size() && at - pos - 2 < kMostDigits && text[at] >= Char('0') && text[at] <= Char('9');
         ++at) {
        sum = sum * 10 + static_cast<std::uint32_t>(text[at] - Char('0'));
    }
    if (at == pos + 2 || at >= text.size() || text[at] != Char(';') || sum > 0x10FFFF) {
        return 0;
    }
    code = sum;
    return at + 1 - pos;
}

void AppendReference(CStringA& out, wchar_t c)
{
    out.append("&#").append(std::to_string(static_cast<std::uint32_t>(c))).append(";");
}

/// @param special  characters that are escaped anywhere
/// @param leading  characters that are escaped at the beginning
CStringA Escape(std::wstring_view text, std::wstring_view special, std::wstring_view leading)
{
    const std::size_t first = std::min(text.find_first_not_of(L" \t"), text.size());
    const std::size_t last = text.find_last_not_of(L" \t");
    CStringA out;
    std::size_t plain = 0; // start of what is to be copied as it stands
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        std::uint32_t code = 0;
        const bool outer = IsBlank(c) && (i < first || i > last);
        if (outer || IsInvisible(c) || IsLoneSurrogate(text, i) ||
            special.find(c) != std::wstring_view::npos ||
            (i == 0 && leading.find(c) != std::wstring_view::npos) || ReferenceAt(text, i, code) > 0) {
            out += ToNarrow(text.substr(plain, i - plain));
            AppendReference(out, c);
            plain = i + 1;
        }
    }
    return out + ToNarrow(text.substr(plain));
}

/// A name of nothing is written as the reference to no character, and one of a lone null as another form of
/// it.
CStringA EscapeNonEmpty(std::wstring_view text, std::wstring_view special, std::wstring_view leading)
{
    if (text.empty()) {
        return CStringA(kEmpty);
    }
    CStringA out = Escape(text, special, leading);
    return out == kEmpty ? "&#00;" : out;
}

void AppendCode(CString& out, std::uint32_t code)
{
    if (sizeof(wchar_t) == 2 && code > 0xFFFF) {
        out += static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
        out += static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
    } else {
        out += static_cast<wchar_t>(code);
    }
}

} // namespace

CStringA EscapeValue(std::wstring_view value)
{
    return Escape(value, L"", L"");
}

CStringA EscapeKey(std::wstring_view key)
{
    return EscapeNonEmpty(key, L"=", L";#[");
}

CStringA EscapeName(std::wstring_view name)
{
    return EscapeNonEmpty(name, L"/]", L"");
}

CString UnescapeValue(std::string_view text)
{
    CString out;
    std::size_t plain = 0;
    for (std::size_t i = text.find('&'); i != std::string_view::npos;) {
        std::uint32_t code = 0;
        const std::size_t length = ReferenceAt(text, i, code);
        if (length > 0) {
            out += ToWide(text.substr(plain, i - plain));
            AppendCode(out, code);
            plain = i + length;
        }
        i = text.find('&', i + std::max<std::size_t>(length, 1));
    }
    return out + ToWide(text.substr(plain));
}

CString UnescapeKey(std::string_view text)
{
    return text == kEmpty ? CString() : UnescapeValue(text);
}

std::vector<CString> SplitSectionPath(std::string_view path)
{
    std::vector<CString> names;
    if (Trim(path).empty()) {
        return names;
    }
    for (;;) {
        const std::size_t end = path.find('/');
        names.push_back(UnescapeKey(Trim(path.substr(0, end))));
        if (end == std::string_view::npos) {
            return names;
        }
        path.remove_prefix(end + 1);
    }
}

CStringA NormalSectionPath(std::string_view path)
{
    CStringA out;
    for (const CString& name : SplitSectionPath(path)) {
        out.append(out.empty() ? "" : "/").append(EscapeName(name));
    }
    return out;
}

} // namespace alidade
