#include "foundation/config/ProfileNumber.h"

#include "foundation/platform/Text.h"

#include <charconv>
#include <cmath>

namespace alidade {
namespace {

/// The trimmed text as ASCII, empty when it holds anything else.
CStringA ToAscii(std::wstring_view text)
{
    CStringA out;
    for (const wchar_t c : Trim(text)) {
        if (c <= L' ' || c >= 0x7F) {
            return {};
        }
        out += static_cast<char>(c);
    }
    return out;
}

/// Takes a sign; true for a minus. std::from_chars would take a minus itself, and so a second one.
bool TakeSign(std::string_view& text)
{
    if (text.empty() || (text.front() != '-' && text.front() != '+')) {
        return false;
    }
    const bool negative = text.front() == '-';
    text.remove_prefix(1);
    return negative;
}

} // namespace

std::optional<std::int64_t> ParseInteger(std::wstring_view text, std::int64_t least, std::int64_t most)
{
    const CStringA ascii = ToAscii(text);
    std::string_view rest = ascii;
    const bool negative = TakeSign(rest);
    const bool hex = rest.size() > 2 && rest[0] == '0' && (rest[1] == 'x' || rest[1] == 'X');
    if (hex) {
        rest.remove_prefix(2);
    }
    std::uint64_t size = 0;
    const auto end = std::from_chars(rest.data(), rest.data() + rest.size(), size, hex ? 16 : 10);
    if (end.ec != std::errc() || end.ptr != rest.data() + rest.size() || size > (1ull << 62)) {
        return std::nullopt;
    }
    const std::int64_t value = negative ? -static_cast<std::int64_t>(size) : static_cast<std::int64_t>(size);
    return value >= least && value <= most ? std::optional(value) : std::nullopt;
}

std::optional<double> ParseDouble(std::wstring_view text)
{
    const CStringA ascii = ToAscii(text);
    std::string_view rest = ascii;
    const bool negative = TakeSign(rest);
    if (rest.empty() || rest.front() == '-') {
        return std::nullopt;
    }
    double value = 0;
    const auto end = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    if (end.ec != std::errc() || end.ptr != rest.data() + rest.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return negative ? -value : value;
}

std::optional<bool> ParseBoolean(std::wstring_view text)
{
    const std::wstring_view word = Trim(text);
    for (const wchar_t* yes : {L"true", L"yes", L"on"}) {
        if (CompareNoCase(word, yes) == 0) {
            return true;
        }
    }
    for (const wchar_t* no : {L"false", L"no", L"off"}) {
        if (CompareNoCase(word, no) == 0) {
            return false;
        }
    }
    if (const auto integer = ParseInteger(text, INT64_MIN / 4, INT64_MAX / 4)) {
        return *integer != 0;
    }
    if (const auto number = ParseDouble(text)) {
        return *number != 0;
    }
    return std::nullopt;
}

} // namespace alidade
