#pragma once

#include "foundation/bus/data/BlockLayout.h"

#include <optional>
#include <string_view>

namespace alidade {

/// @name Conversions between what an item holds and what a program asks for
///@{

/// Cut towards zero and held within the range; no number gives 0.
ALIDADE_FOUNDATION_API int ToInt(double value);
/// The number that a text is, white space around it aside; nothing for any other text.
ALIDADE_FOUNDATION_API std::optional<double> ToNumber(std::string_view text);
/// The shortest form that gives the same number back.
ALIDADE_FOUNDATION_API CStringA ToText(double value);
/// `text` of at most `most` bytes, cut between characters. The text is UTF-8.
ALIDADE_FOUNDATION_API std::string_view CutText(std::string_view text, std::size_t most);

/// A number item as its word.
inline std::uint64_t PackInt(int value)
{
    return static_cast<std::uint32_t>(value);
}
inline int UnpackInt(std::uint64_t word)
{
    return static_cast<int>(static_cast<std::uint32_t>(word));
}

///@}

} // namespace alidade
