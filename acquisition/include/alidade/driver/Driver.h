#pragma once

/// Everything that a camera driver plug-in needs. A plug-in is a shared object named
/// "FG.<Name>.zbr.64R.dll" that exports the functions below; docs/driver-sdk.md builds one.

#include "alidade/driver/FrameGrabberInterface.h"
#include "alidade/driver/PropertyGridProperty.h"
#include "foundation/containers/List.h"
#include "foundation/platform/SymbolExport.h"

#include <cstring>

/// Number of the layout of the classes that plug-ins share with the system: IFrameGrabberInterface, TList,
/// TRefPointer, CProfileSection, CMFCPropertyGridProperty. It rises whenever one of them changes.
#define ALIDADE_DRIVER_LAYOUT_VERSION 1

#define ALIDADE_DRIVER_EXPORT extern "C" ALIDADE_PLATFORM_EXPORT

namespace alidade {

/// "GetFrameGrabberName": writes the driver's name (UTF-8, at most `size` bytes with the terminator). An
/// empty name, or one that does not fit, rejects the plug-in.
using GetFrameGrabberNameFunction = void (*)(char* name, int size);
/// "GetFrameGrabber": a new driver, owned by the caller; null on failure.
using GetFrameGrabberFunction = IFrameGrabberInterface* (*)();
/// "GetFrameGrabberProperties": appends one property per setting. `cameras` lists the camera controls that
/// the system knows, for a choice row.
using GetFrameGrabberPropertiesFunction = void (*)(TList<CMFCPropertyGridProperty, int, int>& properties,
                                                   TList<CString, int, int>& cameras);
/// "GetFrameGrabberLayoutVersion", optional: the layout version that the plug-in was built with. A plug-in of
/// another version is rejected before anything of it is made.
using GetFrameGrabberLayoutVersionFunction = DWORD (*)();

inline void CopyDriverName(char* name, int size, const char* text)
{
    if (name != nullptr && size > 0) {
        std::strncpy(name, text, static_cast<std::size_t>(size) - 1);
        name[size - 1] = '\0';
    }
}

} // namespace alidade

/// Defines the exports of a plug-in: its name, its driver class (default-constructible) and a function that
/// appends its properties.
#define ALIDADE_DRIVER_PLUGIN(name, driverClass, appendProperties)                                           \
    ALIDADE_DRIVER_EXPORT void GetFrameGrabberName(char* text, int size)                                     \
    {                                                                                                        \
        alidade::CopyDriverName(text, size, name);                                                           \
    }                                                                                                        \
    ALIDADE_DRIVER_EXPORT alidade::IFrameGrabberInterface* GetFrameGrabber()                                 \
    {                                                                                                        \
        try {                                                                                                \
            return new driverClass;                                                                          \
        } catch (...) {                                                                                      \
            return nullptr;                                                                                  \
        }                                                                                                    \
    }                                                                                                        \
    ALIDADE_DRIVER_EXPORT void GetFrameGrabberProperties(                                                    \
        alidade::TList<alidade::CMFCPropertyGridProperty, int, int>& properties,                             \
        alidade::TList<alidade::CString, int, int>& cameras)                                                 \
    {                                                                                                        \
        appendProperties(properties, cameras);                                                               \
    }                                                                                                        \
    ALIDADE_DRIVER_EXPORT alidade::DWORD GetFrameGrabberLayoutVersion()                                      \
    {                                                                                                        \
        return ALIDADE_DRIVER_LAYOUT_VERSION;                                                                \
    }
