#pragma once

#include "foundation/config/Profile.h"
#include "foundation/platform/Event.h"
#include "foundation/platform/Ticks.h"
#include "host/HostLog.h"
#include "host/HostOptions.h"

namespace alidade {

class CCameraLayoutItem;
class CHostWindow;
class CIPClient;
class CWindowLoop;

/// The host with a window: camera views, which are on the bus too, a machine, and commands to send. There
/// must be a QApplication. Bound to its thread.
class CWindowJob {
public:
    /// @param client   given to InitVision, as the profile and the log were
    /// @param stop     manual reset; ends it
    CWindowJob(const T_HOST_OPTIONS& options, CIPClient& client, CProfile& profile, CHostLog& log,
               CEvent& stop);

    /// Shows the window until the options, the operator or the event end it.
    /// @return 1, or 0 with `failure` set
    int Run(T_HOST_FAILURE& failure);

private:
    int CheckScreenshot(T_HOST_FAILURE& failure) const;
    int RunOnBus(const CCameraLayoutItem& layout, T_HOST_FAILURE& failure);
    int OpenViews(const CCameraLayoutItem& layout, DWORD timeout, CHostWindow& window,
                  T_HOST_FAILURE& failure);
    int ShowViews(CWindowLoop& loop, CHostWindow& window, T_HOST_FAILURE& failure);

    const T_HOST_OPTIONS& m_options;
    CIPClient& m_client;
    CProfile& m_profile;
    CHostLog& m_log;
    CEvent& m_stop;
    const CDeadline m_end;
};

} // namespace alidade
