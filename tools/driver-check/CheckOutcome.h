#pragma once

#include <stdexcept>
#include <string>

namespace alidade {

/// Ends a check: the driver breaks its contract. The text is the reason, for a driver's author.
class CCheckFailed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Ends a check, and all that follow: an operation did not return, so its thread and the driver are lost.
class CCheckStalled : public CCheckFailed {
public:
    using CCheckFailed::CCheckFailed;
};

/// Ends a check that does not apply to this driver or cannot be judged here.
class CCheckSkipped : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// @throws CCheckFailed when `holds` is false
inline void Expect(bool holds, const std::string& reason)
{
    if (!holds) {
        throw CCheckFailed(reason);
    }
}

enum class eCHECK_OUTCOME { kOk, kFail, kSkip };

struct T_CHECK_RESULT {
    std::string name;
    eCHECK_OUTCOME outcome;
    std::string reason; // one line; empty for kOk
};

} // namespace alidade
