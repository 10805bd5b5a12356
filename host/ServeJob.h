#pragma once

#include "foundation/platform/Event.h"
#include "foundation/platform/Ticks.h"
#include "host/HostLog.h"
#include "host/HostOptions.h"

#include <functional>

namespace alidade {

class CIPClient;

/// The host as a member of the bus without a view: a machine, commands to send, a camera for the stage
/// demonstration.
class CServeJob {
public:
    /// @param client  of the bus that is served; its receivers are made and gone within Run
    /// @param stop    manual reset; ends the service. Set when the time is over while commands are under way
    CServeJob(const T_HOST_OPTIONS& options, CIPClient& client, CHostLog& log, CEvent& stop);

    /// Serves as long as the options say. What commands answer goes to standard output at once, a line each.
    /// @return 1, or 0 with `failure` set
    int Run(T_HOST_FAILURE& failure);

private:
    int Serve(T_HOST_FAILURE& failure);
    int RunCommands(const CDeadline& end, const std::function<int()>& waitForFrame, T_HOST_FAILURE& failure);

    const T_HOST_OPTIONS& m_options;
    CIPClient& m_client;
    CHostLog& m_log;
    CEvent& m_stop;
};

} // namespace alidade
