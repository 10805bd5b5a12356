#pragma once

#include "foundation/bus/IPVariable.h"

#include <optional>
#include <string_view>

namespace alidade {

/// A finite number with a decimal point, white space around it allowed; nothing for any other text.
std::optional<double> ParseMachineNumber(std::string_view text);

/// A finite number of a node: a number itself, or a text that is one; nothing for anything else.
std::optional<double> ReadMachineNumber(const CIPVariable& node);

} // namespace alidade
