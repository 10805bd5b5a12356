#include "host/HostProfile.h"

#include "foundation/config/SimpleLog.h"
#include "foundation/platform/Text.h"
#include "host/OutputCheck.h"

#include <QStandardPaths>

namespace alidade {

CString GetDefaultProfilePath()
{
    const CString folder =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation).toStdWString();
    return folder.empty() ? CString() : FromPath(ToPath(folder) / "alidade" / "alidade-host.ini");
}

void LoadHostProfile(CProfile& profile, CSimpleLog& log)
{
    profile.SetLog(&log);
    const std::filesystem::path file = ToPath(profile.GetPath());
    std::error_code failed;
    if (std::filesystem::exists(file, failed) && !profile.Load()) {
        log.WriteErrorLog(L"the settings file %s cannot be read; going on without it",
                          profile.GetPath().c_str());
    }
    CString error;
    if (!CheckFile(file, error)) {
        log.WriteErrorLog(L"changed settings will not be kept: %s", error.c_str());
    }
}

} // namespace alidade
