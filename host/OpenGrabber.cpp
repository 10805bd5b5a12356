#include "host/OpenGrabber.h"

#include "host/DriverCall.h"
#include "host/GrabSettings.h"

namespace alidade {

TRefPointer<CFrameGrabber> OpenGrabber(const T_HOST_OPTIONS& options, CHostLog& log,
                                       CProfileSection& settings, CString& message, T_HOST_FAILURE& failure)
{
    if (!BuildGrabSettings(options, &log, settings, failure) ||
        !CallDriver(options.dwTimeout, L"describe itself",
                    [&] { return CheckSettingKeys(options, failure); })) {
        return {};
    }
    TRefPointer<CFrameGrabber> grabber = CallDriver(options.dwTimeout, L"open", [&] {
        return CFrameGrabber::GetFrameGrabber(options.strGrabber.c_str(), settings, message);
    });
    if (!grabber) {
        Refuse(failure, kExitFailed, message.empty() ? options.strGrabber + L" cannot be opened" : message);
        return {};
    }
    if (options.clip) {
        grabber->SetClipRect(*options.clip, 1);
    }
    return grabber;
}

void CloseGrabber(const T_HOST_OPTIONS& options, TRefPointer<CFrameGrabber>& grabber)
{
    CallDriver(options.dwTimeout, L"close", [&] {
        grabber->StopCapture();
        grabber->CloseFrameGrabber();
        grabber.Release();
    });
}

} // namespace alidade
