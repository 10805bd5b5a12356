#include "foundation/bus/data/BlockValue.h"

#include "foundation/platform/Text.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace alidade {

int ToInt(double value)
{
    constexpr double kLeast = std::numeric_limits<int>::min();
    constexpr double kMost = std::numeric_limits<int>::max();
    return std::isnan(value) ? 0 : static_cast<int>(std::clamp(value, kLeast, kMost));
}

std::optional<double> ToNumber(std::string_view text)
{
    text = Trim(text);
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

CStringA ToText(double value)
{
    char text[32];
    return {text, std::to_chars(text, text + sizeof(text), value).ptr};
}

std::string_view CutText(std::string_view text, std::size_t most)
{
    if (text.size() <= most) {
        return text;
    }
    // Bytes 10xxxxxx continue a character.
    while (most > 0 && (static_cast<unsigned char>(text[most]) & 0xC0) == 0x80) {
        --most;
    }
    return text.substr(0, most);
}

} // namespace alidade
