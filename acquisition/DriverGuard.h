#pragma once

#include "foundation/platform/Types.h"
#include "foundation/utility/Strings.h"

namespace alidade {

/// Runs one operation of a driver; an exception that escapes from it counts as its failure.
/// @param message  receives the exception's text; may be null
template <class Operation>
int GuardDriver(Operation&& operation, CString* message = nullptr) noexcept
{
    try {
        return operation() != 0;
    } catch (...) {
        try {
            if (message != nullptr) {
                *message = GetCurrentErrorMessage();
            }
        } catch (...) {
            // No memory for a text either: the result says enough.
        }
        return 0;
    }
}

} // namespace alidade
