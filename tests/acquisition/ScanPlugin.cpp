// A plug-in that does one thing in its own way, chosen by a definition, for the tests of the scan.

#include "alidade/driver/Driver.h"

#include <cstring>
#include <stdexcept>

using namespace alidade;

namespace {

class CScanDriver : public IFrameGrabberInterface {
public:
    int InitFrameGrabber(const CProfileSection&, CString& message) override
    {
#if defined(PLUGIN_INIT_THROWS)
        throw std::runtime_error("the camera is on fire");
#elif defined(PLUGIN_INIT_FAILS)
        message = L"no camera answers";
        return 0;
#else
        message = L"ready";
        return 1;
#endif
        static_cast<void>(message);
    }
    int CloseFrameGrabber() override
    {
        return 1;
    }
    int StartCapture() override
    {
        return 1;
    }
    int StopCapture() override
    {
        return 1;
    }
};

} // namespace

ALIDADE_DRIVER_EXPORT void GetFrameGrabberName(char* name, int size)
{
#if defined(PLUGIN_NAME_THROWS)
    throw std::runtime_error("no name");
#elif defined(PLUGIN_NAME_LONG)
    std::memset(name, 'x', static_cast<std::size_t>(size) + 10);
    name[size + 10] = '\0';
#else
    CopyDriverName(name, size, PLUGIN_NAME);
#endif
    static_cast<void>(name);
    static_cast<void>(size);
}

#ifndef PLUGIN_NO_FACTORY
ALIDADE_DRIVER_EXPORT IFrameGrabberInterface* GetFrameGrabber()
{
#if defined(PLUGIN_FACTORY_THROWS)
    throw 17; // not even an exception of the standard's kind
#elif defined(PLUGIN_NULL_FACTORY)
    return nullptr;
#else
    return new CScanDriver;
#endif
}
#endif

#ifndef PLUGIN_NO_PROPERTIES
ALIDADE_DRIVER_EXPORT void GetFrameGrabberProperties(TList<CMFCPropertyGridProperty, int, int>& properties,
                                                     TList<CString, int, int>&)
{
    properties.Insert(new CMFCPropertyGridProperty(L"Scan.Key", L"", L"A setting"));
#if defined(PLUGIN_FACTORY_THROWS)
    throw std::runtime_error("half-way");
#endif
}
#endif

#if defined(PLUGIN_OTHER_LAYOUT)
ALIDADE_DRIVER_EXPORT DWORD GetFrameGrabberLayoutVersion()
{
    return ALIDADE_DRIVER_LAYOUT_VERSION + 1;
}
#endif
