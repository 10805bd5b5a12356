#include "foundation/utility/Strings.h"

#include "foundation/platform/Text.h"
#include "foundation/utility/ListAppend.h"

#include <charconv>
#include <cwctype>
#include <string_view>

namespace alidade {
namespace {

void AppendText(TList<CString, int, int>& list, CString text)
{
    Append(list, std::make_unique<CString>(std::move(text)));
}

template <class Sink>
void Split(const wchar_t* text, wchar_t separator, Sink sink)
{
    std::wstring_view rest = text != nullptr ? text : L"";
    if (rest.empty()) {
        return;
    }
    for (;;) {
        const std::size_t end = rest.find(separator);
        sink(CString(rest.substr(0, end)));
        if (end == std::wstring_view::npos) {
            return;
        }
        rest.remove_prefix(end + 1);
    }
}

bool IsSame(wchar_t a, wchar_t b, bool ignoreCase)
{
    return a == b || (ignoreCase && std::towlower(static_cast<std::wint_t>(a)) ==
                                        std::towlower(static_cast<std::wint_t>(b)));
}

/// Matches one alternative. Only the last "*" is ever widened: whatever an earlier one could take besides,
/// the last one can take too.
bool MatchWildcard(std::wstring_view text, std::wstring_view pattern, bool ignoreCase,
                   std::vector<std::wstring_view>& captures)
{
    std::size_t t = 0;
    std::size_t p = 0;
    std::size_t star = std::wstring_view::npos; // position of the last "*" in the pattern
    std::size_t starCapture = 0;                // its place in `captures`
    std::size_t starText = 0;                   // where what it stands for begins
    std::size_t starEnd = 0;                    // and where it ends
    captures.clear();
    while (t < text.size() || p < pattern.size()) {
        if (p < pattern.size() && pattern[p] == L'*') {
            star = p++;
            starCapture = captures.size();
            starText = starEnd = t;
            captures.push_back(text.substr(t, 0));
        } else if (p < pattern.size() && t < text.size() && pattern[p] == L'?') {
            captures.push_back(text.substr(t++, 1));
            ++p;
        } else if (p < pattern.size() && t < text.size() && IsSame(text[t], pattern[p], ignoreCase)) {
            ++t;
            ++p;
        } else if (star != std::wstring_view::npos && starEnd < text.size()) {
            t = ++starEnd;
            p = star + 1;
            captures.resize(starCapture + 1);
            captures[starCapture] = text.substr(starText, starEnd - starText);
        } else {
            return false;
        }
    }
    return true;
}

int HexDigit(wchar_t c)
{
    return c >= L'0' && c <= L'9'   ? c - L'0'
           : c >= L'a' && c <= L'f' ? c - L'a' + 10
           : c >= L'A' && c <= L'F' ? c - L'A' + 10
                                    : -1;
}

/// Reads `least` to `most` hex digits at `pos`. False, with `pos` where it was, when there are fewer.
bool ReadHex(std::wstring_view text, std::size_t& pos, std::size_t least, std::size_t most, unsigned& value)
{
    std::size_t at = pos;
    unsigned sum = 0;
    for (; at < text.size() && at - pos < most && HexDigit(text[at]) >= 0; ++at) {
        sum = sum * 16 + static_cast<unsigned>(HexDigit(text[at]));
    }
    if (at - pos < least) {
        return false;
    }
    pos = at;
    value = sum;
    return true;
}

/// Reads "HHHH" behind "\u", and a second "\uHHHH" when the two make one character.
bool ReadUnicode(std::wstring_view text, std::size_t& pos, CString& out)
{
    unsigned first = 0;
    if (!ReadHex(text, pos, 4, 4, first)) {
        return false;
    }
    unsigned second = 0;
    std::size_t behind = pos + 2;
    if (first >= 0xD800 && first <= 0xDBFF && text.substr(pos, 2) == L"\\u" &&
        ReadHex(text, behind, 4, 4, second) && second >= 0xDC00 && second <= 0xDFFF) {
        const char16_t units[] = {static_cast<char16_t>(first), static_cast<char16_t>(second)};
        out += FromUtf16(std::u16string_view(units, 2));
        pos = behind;
    } else {
        out += static_cast<wchar_t>(first);
    }
    return true;
}

/// Translates the sequence whose backslash stands before `pos`; false when it is none.
bool TranslateSequence(std::wstring_view text, std::size_t& pos, CString& out)
{
    static constexpr std::wstring_view kLetters = L"rntabfv0\\\"'";
    static constexpr wchar_t kCharacters[] = {L'\r', L'\n', L'\t', L'\a', L'\b', L'\f',
                                              L'\v', L'\0', L'\\', L'"',  L'\''};
    if (pos >= text.size()) {
        return false;
    }
    const std::size_t letter = kLetters.find(text[pos]);
    if (letter != std::wstring_view::npos) {
        out += kCharacters[letter];
        ++pos;
        return true;
    }
    std::size_t behind = pos + 1;
    unsigned value = 0;
    if (text[pos] == L'x' && ReadHex(text, behind, 1, 2, value)) {
        out += static_cast<wchar_t>(value);
        pos = behind;
        return true;
    }
    if (text[pos] == L'u' && ReadUnicode(text, behind, out)) {
        pos = behind;
        return true;
    }
    return false;
}

template <class T>
CString ToText(T value)
{
    char buffer[64];
    const auto end = std::to_chars(std::begin(buffer), std::end(buffer), value);
    return ToWide(std::string_view(buffer, static_cast<std::size_t>(end.ptr - buffer)));
}

} // namespace

void SplitString(const wchar_t* text, wchar_t separator, TList<CString, int, int>& pieces)
{
    pieces.DeleteAll();
    Split(text, separator, [&](CString piece) { AppendText(pieces, std::move(piece)); });
}

void SplitString(const wchar_t* text, wchar_t separator, std::vector<CString>& pieces)
{
    pieces.clear();
    Split(text, separator, [&](CString piece) { pieces.push_back(std::move(piece)); });
}

int FilterString(const wchar_t* text, const wchar_t* pattern, TList<CString, int, int>& captures, int flags)
{
    if (text == nullptr || pattern == nullptr) {
        return 0;
    }
    std::vector<std::wstring_view> found;
    std::wstring_view rest = pattern;
    for (;;) {
        const std::size_t end = rest.find(L'|');
        if (MatchWildcard(text, rest.substr(0, end), (flags & 1) != 0, found)) {
            for (const std::wstring_view part : found) {
                AppendText(captures, CString(part));
            }
            return 1;
        }
        if (end == std::wstring_view::npos) {
            return 0;
        }
        rest.remove_prefix(end + 1);
    }
}

CString DtoA(int value)
{
    return ToText(value);
}

CString DtoA(double value)
{
    return ToText(value);
}

int TranslateEscapeCharacters(const wchar_t* text, CString& out, wchar_t stop, const wchar_t* separator)
{
    const std::wstring_view source = text != nullptr ? text : L"";
    const std::wstring_view passed = separator != nullptr ? separator : L"";
    CString result;
    std::size_t pos = 0;
    while (pos < source.size() && (stop == L'\0' || source[pos] != stop)) {
        const wchar_t c = source[pos++];
        if (c == L'\\') {
            if (!TranslateSequence(source, pos, result)) {
                result += c;
            }
        } else if (passed.find(c) == std::wstring_view::npos) {
            result += c;
        }
    }
    out = std::move(result);
    return static_cast<int>(pos);
}

void MakeDataToHexForm(TList<CString, int, int>& lines, const void* data, std::size_t size, int perLine,
                       int showText)
{
    static constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    const auto* bytes = static_cast<const unsigned char*>(data);
    const std::size_t width = perLine > 0 ? static_cast<std::size_t>(perLine) : 16;
    for (std::size_t start = 0; bytes != nullptr && start < size; start += width) {
        CString line = Format(L"%08llX ", static_cast<unsigned long long>(start));
        CString shown;
        for (std::size_t i = start; i < start + width; ++i) {
            if (i < size) {
                line += {L' ', kDigits[bytes[i] >> 4], kDigits[bytes[i] & 15]};
                shown += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<wchar_t>(bytes[i]) : L'.';
            } else if (showText != 0) {
                line += L"   ";
            }
        }
        if (showText != 0) {
            line += L"  |" + shown + L"|";
        }
        AppendText(lines, std::move(line));
    }
}

CString GetErrorMessage(const std::exception& exception)
{
    CString text = ToWide(exception.what());
    try {
        std::rethrow_if_nested(exception);
    } catch (...) {
        text += L": " + GetCurrentErrorMessage();
    }
    return text;
}

CString GetCurrentErrorMessage()
{
    if (!std::current_exception()) {
        return {};
    }
    try {
        throw;
    } catch (const std::exception& exception) {
        return GetErrorMessage(exception);
    } catch (...) {
        return L"unknown error";
    }
}

} // namespace alidade
