#include "host/RunHost.h"

#include "acquisition/FrameGrabber.h"
#include "acquisition/InitVision.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Module.h"
#include "host/DriverCall.h"
#include "host/DriverList.h"
#include "host/GrabJob.h"
#include "host/HostProfile.h"
#include "host/OutputCheck.h"
#include "host/ServeJob.h"
#include "host/WindowJob.h"

#include <algorithm>

namespace alidade {
namespace {

/// Loads the plug-ins: those of --drivers first, so that they win over others of the same name, then those
/// beside the program.
int LoadDrivers(const T_HOST_OPTIONS& options, CIPClient& client, CProfile* profile, CHostLog& log,
                T_HOST_FAILURE& failure)
{
    if (!options.strDrivers.empty()) {
        if (!std::filesystem::is_directory(ToPath(options.strDrivers))) {
            return Refuse(failure, kExitUsage, L"--drivers " + options.strDrivers + L" is no folder");
        }
        CFrameGrabber::LoadFrameGrabberDll(options.strDrivers.c_str(), nullptr);
    }
    const std::filesystem::path program = GetModulePath(reinterpret_cast<const void*>(&RunHost));
    return InitVision(&client, profile, &log, FromPath(program.parent_path() / "FG").c_str());
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

int RunJob(const T_HOST_OPTIONS& options, CIPClient& client, CProfile& profile, CHostLog& log, CEvent& stop,
           CStringA& text, T_HOST_FAILURE& failure)
{
    if (options.eJob == eHOST_JOB::LIST) {
        text = CallDriver(options.dwTimeout, L"describe itself", FormatDriverList);
        return 1;
    }
    if (!options.strGrabber.empty() && !CheckDriver(options.strGrabber, failure)) {
        return 0;
    }
    switch (options.eJob) {
    case eHOST_JOB::RECORD:
        return CGrabJob(options, log, stop).Run(text, failure);
    case eHOST_JOB::SERVE:
        return CServeJob(options, client, log, stop).Run(failure);
    default:
        return CWindowJob(options, client, profile, log, stop).Run(failure);
    }
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
    // Recording reads the settings of its one grabber by itself and changes none.
    const bool window = options.eJob == eHOST_JOB::WINDOW;
    CProfile profile((options.strProfile.empty() ? GetDefaultProfilePath() : options.strProfile).c_str());
    if (window) {
        log.SetEcho(true);
        LoadHostProfile(profile, log);
        log.SetEcho(false);
    }
    CIPClient client(window ? &profile : nullptr, &log, "Vision");
    int ok = CallDriver(options.dwTimeout, L"load", [&] {
        return LoadDrivers(options, client, window ? &profile : nullptr, log, failure);
    });
    ok = ok && RunJob(options, client, profile, log, stop, text, failure);
    if (!ok) {
        log.WriteErrorLog(L"%s", failure.text.c_str());
    }
    CProfileSection::SetDiagnosticLog(nullptr);
    GuardExit(options.dwTimeout);
    return ok;
}

} // namespace alidade
