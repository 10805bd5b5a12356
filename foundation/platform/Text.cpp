#include "foundation/platform/Text.h"

#include <fmt/args.h>
#include <fmt/printf.h>
#include <fmt/xchar.h>

#include <algorithm>
#include <cwctype>
#include <type_traits>
#include <utility>

#ifdef _WIN32
#include <windows.h>
#else
#include <locale.h>
#endif

namespace alidade {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsSurrogate(char32_t c)
{
    return c >= 0xD800 && c <= 0xDFFF;
}

/// Decodes one code point at `pos` and moves on; a malformed byte gives kReplacement and `ok` false.
char32_t NextUtf8(std::string_view s, std::size_t& pos, bool& ok)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(s[i]); };
    const unsigned char lead = byte(pos);
    ok = true;
    if (lead < 0x80) {
        ++pos;
        return lead;
    }
    const int extra = lead >= 0xF0 && lead < 0xF5   ? 3
                      : lead >= 0xE0 && lead < 0xF0 ? 2
                      : lead >= 0xC2 && lead < 0xE0 ? 1
                                                    : 0;
    static constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
    char32_t code = extra == 3 ? lead & 0x07u : extra == 2 ? lead & 0x0Fu : lead & 0x1Fu;
    bool good = extra > 0 && pos + static_cast<std::size_t>(extra) < s.size();
    for (int i = 1; good && i <= extra; ++i) {
        const unsigned char c = byte(pos + static_cast<std::size_t>(i));
        good = (c & 0xC0u) == 0x80;
        code = (code << 6) | (c & 0x3Fu);
    }
    if (!good || code < kLeast[extra] || code > 0x10FFFF || IsSurrogate(code)) {
        ok = false;
        ++pos;
        return kReplacement;
    }
    pos += static_cast<std::size_t>(extra) + 1;
    return code;
}

void AppendUtf8(CStringA& out, char32_t c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

/// Decodes one code point of 16- or 32-bit units; a lone surrogate gives kReplacement.
template <class View>
char32_t NextWide(View s, std::size_t& pos)
{
    char32_t c = static_cast<char32_t>(
        static_cast<std::make_unsigned_t<
            std::conditional_t<sizeof(typename View::value_type) == 2, std::int16_t, std::int32_t>>>(
            s[pos++]));
    if constexpr (sizeof(typename View::value_type) == 2) {
        if (c >= 0xD800 && c <= 0xDBFF && pos < s.size()) {
            const char32_t low = static_cast<std::uint16_t>(s[pos]);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                ++pos;
                return 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
            }
        }
    }
    return IsSurrogate(c) || c > 0x10FFFF ? kReplacement : c;
}

template <class Out>
void AppendWide(Out& out, char32_t c)
{
    using Unit = typename Out::value_type;
    if (sizeof(Unit) == 4 || c < 0x10000) {
        out += static_cast<Unit>(c);
    } else {
        out += static_cast<Unit>(0xD800 + ((c - 0x10000) >> 10));
        out += static_cast<Unit>(0xDC00 + ((c - 0x10000) & 0x3FF));
    }
}

/// Formats by fmt, with the arguments fetched as the format's conversions ask for them.
template <class Char>
class CPrintf {
    using Text = std::basic_string<Char>;
    using View = std::basic_string_view<Char>;
    using OtherChar = std::conditional_t<std::is_same_v<Char, char>, wchar_t, char>;

public:
    Text Run(const Char* format, va_list args)
    {
        va_copy(m_args, args);
        const View text(format);
        for (std::size_t i = 0; i < text.size();) {
            if (text[i] == Char('%')) {
                Specifier(text, i);
            } else {
                m_format += text[i++];
            }
        }
        va_end(m_args);
        try {
            return fmt::vsprintf(fmt::basic_string_view<Char>(m_format.data(), m_format.size()),
                                 fmt::basic_format_args<fmt::basic_printf_context_t<Char>>(m_store));
        } catch (const fmt::format_error&) {
            return Text(text); // a malformed format is shown, not lost
        }
    }

private:
    enum class eLENGTH { CHAR, SHORT, INT, LONG, BITS64, LONG_DOUBLE };

    /// Copies one specifier from its '%' on, without its length modifier, and fetches its arguments.
    void Specifier(View text, std::size_t& i)
    {
        m_format += text[i++];
        const auto skipWhile = [&](std::string_view any) {
            while (i < text.size() && IsOneOf(text[i], any)) {
                m_format += text[i++];
            }
        };
        skipWhile("-+ #0");
        if (i < text.size() && text[i] == Char('*')) {
            AppendNumber(va_arg(m_args, int)); // a negative width reads as the flag '-' and a width
            ++i;
        }
        skipWhile("0123456789");
        Precision(text, i);
        const eLENGTH length = Length(text, i);
        if (i == text.size()) {
            return;
        }
        const Char conversion = text[i++];
        m_format += IsOneOf(conversion, "sScC") ? Char('s') : conversion; // characters are stored as text
        Argument(conversion, length);
    }

    /// Reads ".", ".5" or ".*"; a negative one is as none.
    void Precision(View text, std::size_t& i)
    {
        m_precision = -1;
        if (i == text.size() || text[i] != Char('.')) {
            return;
        }
        if (++i < text.size() && text[i] == Char('*')) {
            m_precision = va_arg(m_args, int);
            ++i;
        } else {
            for (m_precision = 0; i < text.size() && IsOneOf(text[i], "0123456789"); ++i) {
                m_precision =
                    std::min(m_precision, kMostPrecision) * 10 + static_cast<int>(text[i] - Char('0'));
            }
        }
        if (m_precision >= 0) {
            m_format += Char('.');
            AppendNumber(m_precision);
        }
    }

    static eLENGTH Length(View text, std::size_t& i)
    {
        static constexpr std::pair<std::string_view, eLENGTH> kModifiers[] = {
            {"hh", eLENGTH::CHAR},  {"h", eLENGTH::SHORT},    {"ll", eLENGTH::BITS64},
            {"l", eLENGTH::LONG},   {"I64", eLENGTH::BITS64}, {"I32", eLENGTH::INT},
            {"z", eLENGTH::BITS64}, {"t", eLENGTH::BITS64},   {"j", eLENGTH::BITS64},
            {"I", eLENGTH::BITS64}, {"w", eLENGTH::LONG},     {"L", eLENGTH::LONG_DOUBLE}};
        for (const auto& [modifier, length] : kModifiers) {
            const View at = text.substr(i, modifier.size());
            if (std::equal(at.begin(), at.end(), modifier.begin(), modifier.end())) {
                i += modifier.size();
                return length;
            }
        }
        return eLENGTH::INT;
    }

    static bool IsOneOf(Char c, std::string_view any)
    {
        return std::any_of(any.begin(), any.end(), [c](char one) { return c == Char(one); });
    }

    void AppendNumber(int number)
    {
        const std::string digits = std::to_string(number);
        m_format.append(digits.begin(), digits.end());
    }

    void Argument(Char conversion, eLENGTH length)
    {
        switch (conversion) {
        case 'd':
        case 'i':
            Signed(length);
            break;
        case 'u':
        case 'x':
        case 'X':
        case 'o':
            Unsigned(length);
            break;
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            length == eLENGTH::LONG_DOUBLE ? m_store.push_back(va_arg(m_args, long double))
                                           : m_store.push_back(va_arg(m_args, double));
            break;
        case 'p':
            m_store.push_back(static_cast<const void*>(va_arg(m_args, void*)));
            break;
        case 'c':
        case 'C':
            m_store.push_back(Character(va_arg(m_args, int), IsWide(conversion, length)));
            break;
        case 's':
        case 'S':
            IsWide(conversion, length) ? PushText(va_arg(m_args, const wchar_t*))
                                       : PushText(va_arg(m_args, const char*));
            break;
        default: // "%%", or a conversion that fmt reports
            break;
        }
    }

    /// Whether a text conversion takes wide characters.
    static bool IsWide(Char conversion, eLENGTH length)
    {
        if (length == eLENGTH::LONG) {
            return true;
        }
        if (length == eLENGTH::SHORT) {
            return false;
        }
        return std::is_same_v<Char, wchar_t> == (conversion == Char('s') || conversion == Char('c'));
    }

    void Signed(eLENGTH length)
    {
        switch (length) {
        case eLENGTH::BITS64:
            return m_store.push_back(va_arg(m_args, long long));
        case eLENGTH::LONG:
            return m_store.push_back(va_arg(m_args, long));
        case eLENGTH::SHORT:
            return m_store.push_back(static_cast<int>(static_cast<short>(va_arg(m_args, int))));
        case eLENGTH::CHAR:
            return m_store.push_back(static_cast<int>(static_cast<signed char>(va_arg(m_args, int))));
        default:
            return m_store.push_back(va_arg(m_args, int));
        }
    }

    void Unsigned(eLENGTH length)
    {
        switch (length) {
        case eLENGTH::BITS64:
            return m_store.push_back(va_arg(m_args, unsigned long long));
        case eLENGTH::LONG:
            return m_store.push_back(va_arg(m_args, unsigned long));
        case eLENGTH::SHORT:
            return m_store.push_back(static_cast<unsigned>(static_cast<unsigned short>(va_arg(m_args, int))));
        case eLENGTH::CHAR:
            return m_store.push_back(static_cast<unsigned>(static_cast<unsigned char>(va_arg(m_args, int))));
        default:
            return m_store.push_back(va_arg(m_args, unsigned));
        }
    }

    /// A character of either kind as text, which may take several units of a narrow format.
    static Text Character(int c, bool isWide)
    {
        if (isWide) {
            return Convert(std::wstring_view(CString(1, static_cast<wchar_t>(c))));
        }
        return Convert(std::string_view(CStringA(1, static_cast<char>(c))));
    }

    /// With a precision, text need not end in a null: no more than that is read.
    template <class Other>
    void PushText(const Other* s)
    {
        static constexpr Char kNull[] = {'(', 'n', 'u', 'l', 'l', ')', 0};
        if (s == nullptr) {
            return m_store.push_back(Text(kNull));
        }
        std::size_t length = 0;
        while ((m_precision < 0 || length < static_cast<std::size_t>(m_precision)) && s[length] != 0) {
            ++length;
        }
        m_store.push_back(Convert(std::basic_string_view<Other>(s, length)));
    }

    template <class Other>
    static Text Convert(std::basic_string_view<Other> text)
    {
        if constexpr (std::is_same_v<Char, Other>) {
            return Text(text);
        } else if constexpr (std::is_same_v<Char, char>) {
            return ToNarrow(text);
        } else {
            return ToWide(text);
        }
    }

    static constexpr int kMostPrecision = 10000000; // beyond it fmt's own check answers

    va_list m_args{};
    int m_precision = -1; // of the specifier at hand; below 0: none
    Text m_format;
    fmt::dynamic_format_arg_store<fmt::basic_printf_context_t<Char>> m_store;
};

/// Lower case by the Unicode tables, whatever the process's locale.
std::uint32_t ToLower(wchar_t c)
{
#ifdef _WIN32
    wchar_t lower = c;
    ::LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, &c, 1, &lower, 1, nullptr, nullptr, 0);
    return lower;
#else
    static const locale_t s_unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const auto code = static_cast<std::wint_t>(c);
    return s_unicode != nullptr ? ::towlower_l(code, s_unicode) : std::towlower(code);
#endif
}

int CompareFolded(std::wstring_view a, std::wstring_view b)
{
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        if (a[i] == b[i]) {
            continue;
        }
        const std::uint32_t x = ToLower(a[i]);
        const std::uint32_t y = ToLower(b[i]);
        if (x != y) {
            return x < y ? -1 : 1;
        }
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

template <class View, class Space>
View TrimBy(View text, Space isSpace)
{
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

} // namespace

CString ToWide(std::string_view utf8)
{
    CString out;
    out.reserve(utf8.size());
    bool ok = true;
    for (std::size_t pos = 0; pos < utf8.size();) {
        AppendWide(out, NextUtf8(utf8, pos, ok));
    }
    return out;
}

CStringA ToNarrow(std::wstring_view text)
{
    CStringA out;
    out.reserve(text.size());
    for (std::size_t pos = 0; pos < text.size();) {
        AppendUtf8(out, NextWide(text, pos));
    }
    return out;
}

std::u16string ToUtf16(std::wstring_view text)
{
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t pos = 0; pos < text.size();) {
        AppendWide(out, NextWide(text, pos));
    }
    return out;
}

CString FromUtf16(std::u16string_view text)
{
    CString out;
    out.reserve(text.size());
    for (std::size_t pos = 0; pos < text.size();) {
        AppendWide(out, NextWide(text, pos));
    }
    return out;
}

bool IsValidUtf8(std::string_view text)
{
    bool ok = true;
    for (std::size_t pos = 0; ok && pos < text.size();) {
        NextUtf8(text, pos, ok);
    }
    return ok;
}

std::filesystem::path ToPath(std::wstring_view path)
{
#ifdef _WIN32
    return std::filesystem::path(path);
#else
    CStringA narrow = ToNarrow(path);
    std::replace(narrow.begin(), narrow.end(), '\\', '/');
    return std::filesystem::path(narrow);
#endif
}

CString FromPath(const std::filesystem::path& path)
{
#ifdef _WIN32
    return path.wstring();
#else
    return ToWide(path.native());
#endif
}

CString FormatV(const wchar_t* format, va_list args)
{
    return CPrintf<wchar_t>().Run(format, args);
}

CStringA FormatV(const char* format, va_list args)
{
    return CPrintf<char>().Run(format, args);
}

CString Format(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    CString text = FormatV(format, args);
    va_end(args);
    return text;
}

CStringA Format(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    CStringA text = FormatV(format, args);
    va_end(args);
    return text;
}

int CompareNoCase(std::wstring_view a, std::wstring_view b)
{
    return CompareFolded(a, b);
}

int CompareNoCase(std::string_view a, std::string_view b)
{
    return CompareFolded(ToWide(a), ToWide(b));
}

std::wstring_view Trim(std::wstring_view text)
{
    return TrimBy(text, [](wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r') || c == 0xFEFF; });
}

std::string_view Trim(std::string_view text)
{
    return TrimBy(text, [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); });
}

} // namespace alidade
