#pragma once

#include "foundation/platform/Types.h"

#include <cmath>
#include <limits>
#include <string_view>
#include <type_traits>

namespace alidade {

/// The number at the beginning of a text, white space before it passed over: decimal, with a point whatever
/// the locale. 0 when there is none. "inf", "infinity" and "nan" count when they are the whole text. What is
/// too large is infinite, what is too small is 0.
double ReadNumber(std::string_view text);
/// True when the whole text is a finite number's form: sign, digits with a point, exponent.
bool IsNumberForm(std::string_view text);
/// The shortest form that reads back the same.
CStringA WriteNumber(double value);

/// Cut towards zero and held within the range of T; NaN gives 0.
template <typename T, typename From>
T ConvertNumber(From value)
{
    if constexpr (std::is_same_v<T, From> || std::is_same_v<T, double>) {
        return static_cast<T>(value);
    } else {
        // A double holds every value of both integer forms exactly.
        const double wide = static_cast<double>(value);
        if (std::isnan(wide)) {
            return 0;
        }
        if (wide <= static_cast<double>(std::numeric_limits<T>::min())) {
            return std::numeric_limits<T>::min();
        }
        if (wide >= static_cast<double>(std::numeric_limits<T>::max())) {
            return std::numeric_limits<T>::max();
        }
        return static_cast<T>(wide);
    }
}

} // namespace alidade
