#include "host/machine/MachineNumber.h"

#include "foundation/platform/Text.h"

#include <charconv>
#include <cmath>

namespace alidade {

std::optional<double> ParseMachineNumber(std::string_view text)
{
    text = Trim(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
        return {};
    }
    return value;
}

std::optional<double> ReadMachineNumber(const CIPVariable& node)
{
    switch (node.GetType()) {
    case IPVAR_INT:
    case IPVAR_UINT:
    case IPVAR_DOUBLE: {
        // An empty node reads as the default.
        const double value = node.GetDouble(std::nan(""));
        return std::isfinite(value) ? std::optional(value) : std::nullopt;
    }
    case IPVAR_STRING:
    case IPVAR_WSTRING:
        return ParseMachineNumber(node.GetString());
    default:
        return {};
    }
}

} // namespace alidade
