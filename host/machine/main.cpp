#include "foundation/platform/Interrupt.h"
#include "foundation/utility/Strings.h"
#include "host/machine/MachineOptions.h"
#include "host/machine/MachineSimulator.h"

#include <cstdio>

namespace alidade {
namespace {

/// One line on standard error, whatever the text holds.
int Fail(const T_HOST_FAILURE& failure)
{
    std::fprintf(stderr, "%s\n", FormatFailure(failure, "alidade-machine").c_str());
    return failure.status;
}

int Run(const T_MACHINE_OPTIONS& options, CEvent& stop, T_HOST_FAILURE& failure)
{
    CSimpleLog::Options logOptions;
    logOptions.path = options.strLog;
    CSimpleLog log(logOptions);
    const auto bus = std::make_shared<CIPBus>();
    CString error;
    CMachineSimulator machine;
    if (!machine.Start(options.settings, bus, &log, error)) {
        return Refuse(failure, kExitFailed, error);
    }
    if (!options.strBus.empty() && !bus->Join(options.strBus.c_str(), error, &log)) {
        return Refuse(failure, kExitFailed, L"cannot join the bus " + ToWide(options.strBus) + L": " + error);
    }
    std::printf(
        "alidade-machine: ready, MotorPosition and AxisParameter published, tasks Sequence and Slit on %s\n",
        options.strBus.empty() ? "no bus" : options.strBus.c_str());
    std::fflush(stdout);
    stop.Wait(options.dwQuitAfter);
    machine.Stop(); // first, so that senders hear of it
    bus->Leave();
    return 1;
}

} // namespace
} // namespace alidade

int main(int argc, char** argv)
{
    using namespace alidade;
    try {
        T_MACHINE_OPTIONS options;
        T_HOST_FAILURE failure;
        CStringA text;
        if (!ParseMachineOptions(argc, argv, options, text, failure)) {
            return Fail(failure);
        }
        if (text.empty()) {
            CInterrupt interrupt;
            if (!Run(options, interrupt.GetEvent(), failure)) {
                return Fail(failure);
            }
        }
        std::fputs(text.c_str(), stdout);
        return 0;
    } catch (...) {
        return Fail({kExitFailed, GetCurrentErrorMessage()});
    }
}
