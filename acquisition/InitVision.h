#pragma once

#include "acquisition/Export.h"
#include "foundation/platform/Types.h"

namespace alidade {

class CIPClient;
class CProfile;
class CSimpleLog;

/// The entry point: loads the driver plug-ins and remembers the host's objects for every part of the library.
///
/// Plug-ins come from "./FG/" and from `driverFolder`; an empty or null one stands for the folder "FG" beside
/// this library. A null `profile` or `log` stands for the client's own. Settings that cannot be read as what they
/// should be are reported in that log. The objects stay the host's and must
/// outlive the use of the library. Call it at start-up, on the host's main thread.
/// @return 1; 0 when `client` is null: the plug-ins are loaded then, but nothing is remembered
ALIDADE_API int InitVision(CIPClient* client, CProfile* profile, CSimpleLog* log,
                           const wchar_t* driverFolder);

/// What InitVision remembered; each may be null. Thread-safe.
ALIDADE_API CIPClient* GetVisionClient();
ALIDADE_API CProfile* GetVisionProfile();
ALIDADE_API CSimpleLog* GetVisionLog();

} // namespace alidade
