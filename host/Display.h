#pragma once

#include "foundation/platform/Types.h"

namespace alidade {

/// Chooses the platform that Qt shows windows on. Call it before the application object is made, and before
/// any thread is started.
///
/// Where there is no display, or the platform's plug-in cannot be loaded, Qt would end the process. That is
/// found out here by another process, and windows are then drawn in memory. A platform that the environment
/// names (QT_QPA_PLATFORM) is tested alike.
/// @param headless  windows are drawn in memory whatever there is
/// @param note      receives one line when there is no display although one was wanted
void ChooseDisplay(bool headless, const CStringA& program, CString& note);

/// True in the process that ChooseDisplay starts: it shall do nothing but call RunDisplayProbe.
bool IsDisplayProbe();
/// Makes an application object. @return the exit status: 0 when there is a display
int RunDisplayProbe(int argc, char** argv);

/// True when windows are drawn in memory only. There must be an application object.
bool IsDisplayInMemory();

} // namespace alidade
