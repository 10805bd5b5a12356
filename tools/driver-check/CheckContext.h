#pragma once

#include "CheckedDriver.h"
#include "DriverCheck.h"

#include <memory>
#include <set>
#include <vector>

namespace alidade {

/// What the checks of one run share.
class CCheckContext {
public:
    CCheckContext(CDriverPlugin plugin, CProfileSection settings, const T_CHECK_OPTIONS& options);

    /// A new driver from the factory. It lives until the end of the check.
    CCheckedDriver& MakeDriver();
    /// The driver that most checks follow through its life; made on the first call.
    CCheckedDriver& Main();
    void DestroyMain();
    /// Destroys the drivers that MakeDriver made.
    void DestroyOthers();

    /// Runs a client of the image lock on the runner's thread: its wait for the lock cannot be ended from
    /// outside. What it refers to must outlive a stall.
    void RunClient(std::function<void()> client);

    /// The check failed, or was not run because of another that did.
    bool HasFailed(const std::string& check) const { return m_failed.count(check) != 0; }
    void SetFailed(const std::string& check) { m_failed.insert(check); }

    /// How long no frame must come before the flow counts as ended.
    DWORD GetSilence() const;

    CDriverPlugin plugin;
    const CProfileSection settings;
    const T_CHECK_OPTIONS options;
    CDeadlineRunner runner;
    std::vector<T_FRAME_RECORD> records; // of the main driver, once frames flow
    int nNewBuffers = 0;                 // while they were recorded

private:
    std::set<std::string> m_failed;
    std::unique_ptr<CCheckedDriver> m_pMain;
    std::vector<std::unique_ptr<CCheckedDriver>> m_others;
};

// The checks, in the order of their table. PluginChecks.cpp:
void CheckLoads(CCheckContext& context);
void CheckExports(CCheckContext& context);
void CheckLayoutVersion(CCheckContext& context);
void CheckName(CCheckContext& context);
void CheckProperties(CCheckContext& context);
void CheckFactory(CCheckContext& context);
void CheckUnload(CCheckContext& context);
// FrameChecks.cpp:
void CheckFrames(CCheckContext& context);
void CheckCallbackArgument(CCheckContext& context);
void CheckCallbackLock(CCheckContext& context);
void CheckCallbackThread(CCheckContext& context);
void CheckTickWritten(CCheckContext& context);
void CheckTickOrder(CCheckContext& context);
void CheckImage(CCheckContext& context);
void CheckImageType(CCheckContext& context);
void CheckSteadyImage(CCheckContext& context);
void CheckGreedyClient(CCheckContext& context);
void CheckSlowClient(CCheckContext& context);
// LifecycleChecks.cpp:
void CheckCloseUnopened(CCheckContext& context);
void CheckStartUnopened(CCheckContext& context);
void CheckInit(CCheckContext& context);
void CheckImageSize(CCheckContext& context);
void CheckIdleAfterInit(CCheckContext& context);
void CheckStop(CCheckContext& context);
void CheckRestart(CCheckContext& context);
void CheckClose(CCheckContext& context);
void CheckReopen(CCheckContext& context);
void CheckInitAgain(CCheckContext& context);
void CheckDestroyCapturing(CCheckContext& context);
void CheckNullCallback(CCheckContext& context);
void CheckTwoObjects(CCheckContext& context);

} // namespace alidade
