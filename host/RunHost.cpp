#include "host/RunHost.h"

#include "acquisition/FrameGrabber.h"
#include "acquisition/InitVision.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Module.h"
#include "host/DriverCall.h"
#include "host/DriverList.h"
#include "host/GrabJob.h"
#include "host/OutputCheck.h"

#include <algorithm>

namespace alidade {
namespace {

/// Loads the plug-ins: those of --drivers first, so that they win over others of the same name, then those
/// beside the program.
int LoadDrivers(const T_HOST_OPTIONS& options, CIPClient& client, T_HOST_FAILURE& failure)
{
    if (!options.strDrivers.empty()) {
        if (!std::filesystem::is_directory(ToPath(options.strDrivers))) {
            return Refuse(failure, kExitUsage, L"--drivers " + options.strDrivers + L" is no folder");
        }
        CFrameGrabber::LoadFrameGrabberDll(options.strDrivers.c_str(), nullptr);
    }
    const std::filesystem::path program = GetModulePath(reinterpret_cast<const void*>(&RunHost));
    return InitVision(&client, nullptr, nullptr, FromPath(program.parent_path() / "FG").c_str());
}

int CheckDriver(const CString& name, T_HOST_FAILURE& failure)
{
    const std::vector<CString> names = GetDriverNames();
    if (std::find(names.begin(), names.end(), name) != names.end()) {
        return 1;
    }
    CString known;
    for (const CString& other : names) {
        known += (known.empty() ? L"" : L", ") + other;
    }
    return Refuse(failure, kExitUsage, L"there is no driver " + name + L"; known are " + known);
}

} // namespace

int RunHost(const T_HOST_OPTIONS& options, CEvent& stop, CStringA& text, T_HOST_FAILURE& failure)
{
    CString error;
    if (!options.strLog.empty() && !CheckFile(ToPath(options.strLog), error)) {
        return Refuse(failure, kExitFailed, error);
    }
    CSimpleLog::Options logOptions;
    logOptions.path = options.strLog;
    CHostLog log(logOptions);
    CProfileSection::SetDiagnosticLog(&log);
    CIPClient client(nullptr, &log);
    int ok = CallDriver(options.dwTimeout, L"load", [&] { return LoadDrivers(options, client, failure); });
    if (ok && options.bListDrivers) {
        text = CallDriver(options.dwTimeout, L"describe itself", FormatDriverList);
    } else if (ok) {
        ok = CheckDriver(options.strGrabber, failure) && CGrabJob(options, log, stop).Run(text, failure);
    }
    if (!ok) {
        log.WriteErrorLog(L"%s", failure.text.c_str());
    }
    CProfileSection::SetDiagnosticLog(nullptr);
    GuardExit(options.dwTimeout);
    return ok;
}

} // namespace alidade
