#pragma once

#include "CheckOutcome.h"
#include "DriverPlugin.h"

#include "foundation/config/ProfileSection.h"

#include <functional>
#include <span>

namespace alidade {

class CCheckContext;

/// One check of the driver contract.
struct T_DRIVER_CHECK {
    const char* name;
    const char* needs;       // checks that must not have failed, separated by blanks; the others are skipped
    const char* description; // what a driver must do, for --list and the documentation
    void (*run)(CCheckContext& context); // returns, or throws CCheckFailed, CCheckStalled or CCheckSkipped
};

struct T_CHECK_OPTIONS {
    DWORD dwDeadline = 10000; // ms for each operation, and for frames to come
    DWORD dwWatch = 300;      // ms of silence that count as "no frame"; longer when frames are further apart
    int nFrames = 40;         // frames looked at closely
};

/// Judges a driver by the contract of IFrameGrabberInterface. The checks run in the order of their table, and
/// most follow one driver object through its life. One run per object; bound to the thread that runs it.
class CDriverCheck {
public:
    using Report = std::function<void(const T_CHECK_RESULT& result)>;
    using Announce = std::function<void(const T_DRIVER_CHECK& check)>;

    CDriverCheck(CDriverPlugin plugin, CProfileSection settings, const T_CHECK_OPTIONS& options);
    ~CDriverCheck();

    static std::span<const T_DRIVER_CHECK> GetTable();

    /// Runs all checks and reports one result for each, in order.
    /// @param announce  called before each check that is run; may be empty
    void Run(const Report& report, const Announce& announce = {});
    /// An operation has not returned: its thread still runs in the driver, so that the process should be
    /// ended without destructors.
    bool IsStalled() const;

private:
    T_CHECK_RESULT RunOne(const T_DRIVER_CHECK& check);

    std::unique_ptr<CCheckContext> m_pContext;
};

} // namespace alidade
