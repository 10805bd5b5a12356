#pragma once

#include "foundation/platform/Types.h"

namespace alidade {

/// The calling thread's GetLastIPError.
void SetLastIPError(CString text);

/// Enters `text` as the thread's last error when it goes out of scope: empty after a success.
struct CIPErrorScope {
    CIPErrorScope() = default;
    ~CIPErrorScope() { SetLastIPError(std::move(text)); }
    CIPErrorScope(const CIPErrorScope&) = delete;
    CIPErrorScope& operator=(const CIPErrorScope&) = delete;

    int Fail(const wchar_t* reason)
    {
        text = reason;
        return 0;
    }

    CString text;
};

} // namespace alidade
