#pragma once

#include "foundation/platform/Types.h"

#include <optional>
#include <string_view>

namespace alidade {

// Numbers in settings: decimal point whatever the locale, white space around them, the whole text or nothing.

/// A decimal or, with 0x in front, hexadecimal integer from `least` to `most`.
std::optional<std::int64_t> ParseInteger(std::wstring_view text, std::int64_t least, std::int64_t most);
/// A finite decimal number.
std::optional<double> ParseDouble(std::wstring_view text);
/// "true", "yes", "on", "false", "no", "off" in any case, or a number, which is true unless 0.
std::optional<bool> ParseBoolean(std::wstring_view text);

} // namespace alidade
