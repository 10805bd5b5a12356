#include "foundation/bus/wire/NumberText.h"

#include "foundation/platform/Text.h"

#include <charconv>

namespace alidade {
namespace {

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Length of the number's form at the beginning, 0 when there is none.
std::size_t MeasureForm(std::string_view text)
{
    std::size_t at = 0;
    const auto skipDigits = [&] {
        const std::size_t from = at;
        while (at < text.size() && IsDigit(text[at])) {
            ++at;
        }
        return at - from;
    };
    const auto skipSign = [&] {
        if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
            ++at;
        }
    };
    skipSign();
    std::size_t digits = skipDigits();
    if (at < text.size() && text[at] == '.') {
        ++at;
        digits += skipDigits();
    }
    if (digits == 0) {
        return 0;
    }
    const std::size_t mantissaEnd = at;
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
        ++at;
        skipSign();
        if (skipDigits() == 0) {
            at = mantissaEnd;
        }
    }
    return at;
}

/// Of a number that no double holds: whether it is too large, not too small.
bool IsTooLarge(std::string_view form)
{
    // The power of ten of the first digit that is not 0 decides: it lies beyond +-300 in every such number.
    const std::size_t e = std::min(form.find_first_of("eE"), form.size());
    const std::string_view mantissa = form.substr(0, e);
    const std::size_t first = mantissa.find_first_of("123456789");
    const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
    const double place = static_cast<double>(point) - static_cast<double>(first);
    std::string_view digits = form.substr(std::min(e + 1, form.size()));
    const bool negative = !digits.empty() && digits.front() == '-';
    double exponent = 0.0;
    for (const char c : digits) {
        exponent = IsDigit(c) ? std::min(exponent * 10.0 + (c - '0'), 1e18) : exponent;
    }
    return place + (negative ? -exponent : exponent) > 0.0;
}

} // namespace

double ReadNumber(std::string_view text)
{
    text = Trim(text);
    const std::size_t length = MeasureForm(text);
    const bool negative = !text.empty() && text.front() == '-';
    std::string_view rest = text;
    if (negative || (!text.empty() && text.front() == '+')) {
        rest.remove_prefix(1);
    }
    const double sign = negative ? -1.0 : 1.0;
    if (length == 0) {
        if (CompareNoCase(rest, "inf") == 0 || CompareNoCase(rest, "infinity") == 0) {
            return sign * std::numeric_limits<double>::infinity();
        }
        return CompareNoCase(rest, "nan") == 0 ? std::numeric_limits<double>::quiet_NaN() : 0.0;
    }
    const std::string_view form = rest.substr(0, length - (text.size() - rest.size()));
    double value = 0.0;
    const auto end = std::from_chars(form.data(), form.data() + form.size(), value);
    if (end.ec == std::errc::result_out_of_range) {
        value = IsTooLarge(form) ? std::numeric_limits<double>::infinity() : 0.0;
    }
    return sign * value;
}

bool IsNumberForm(std::string_view text)
{
    return !text.empty() && MeasureForm(text) == text.size();
}

CStringA WriteNumber(double value)
{
    if (std::isnan(value)) {
        return "nan";
    }
    char buffer[40];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, value);
    return {buffer, end.ptr};
}

} // namespace alidade
