#include "CheckedDriver.h"

#include "CheckOutcome.h"

#include "foundation/platform/Text.h"

namespace alidade {

CCheckedDriver::CCheckedDriver(IFrameGrabberInterface* driver, CDeadlineRunner& runner)
    : m_pDriver(driver), m_runner(runner), m_probe(CFrameProbe::Make())
{
    m_runner.Run("SetNewImageCallback", [&probe = m_probe, driver] { probe.Attach(*driver); });
}

void CCheckedDriver::DropCallback()
{
    m_runner.Run("SetNewImageCallback",
                 [driver = m_pDriver] { driver->SetNewImageCallback(nullptr, nullptr); });
}

int CCheckedDriver::Call(const char* what, int (IFrameGrabberInterface::*operation)())
{
    auto result = std::make_shared<int>(0);
    m_runner.Run(what, [=, driver = m_pDriver] { *result = (driver->*operation)(); });
    Expect(*result == 0 || *result == 1, std::string(what) + " returned " + std::to_string(*result));
    return *result;
}

int CCheckedDriver::Init(const CProfileSection& settings, CString& message)
{
    // Shared with the operation: after a stall this frame is gone.
    struct T_CALL {
        CProfileSection settings;
        CString message;
        int result = 0;
    };
    auto call = std::make_shared<T_CALL>();
    call->settings = settings;
    m_runner.Run("InitFrameGrabber", [call, driver = m_pDriver] {
        call->result = driver->InitFrameGrabber(call->settings, call->message);
    });
    message = call->message;
    Expect(call->result == 0 || call->result == 1,
           "InitFrameGrabber returned " + std::to_string(call->result));
    return call->result;
}

void CCheckedDriver::Destroy()
{
    m_runner.Run("the destructor", [driver = std::exchange(m_pDriver, nullptr)] { delete driver; });
}

void CCheckedDriver::Open(const CProfileSection& settings)
{
    CString message;
    const int result = Init(settings, message);
    Expect(result == 1, "InitFrameGrabber returned 0: " + ToNarrow(message));
}

void CCheckedDriver::StartFlow()
{
    Expect(Start() == 1, "StartCapture returned 0");
}

void CCheckedDriver::ExpectFrames(int more, const std::string& when)
{
    Expect(m_probe.WaitForCount(m_probe.GetCount() + more, m_runner.GetDeadline()),
           (more == 1 ? "no frame" : "fewer than " + std::to_string(more) + " frames") + " came within " +
               m_runner.GetDeadlineText() + " " + when);
}

void CCheckedDriver::ExpectNone(DWORD ms, const std::string& when)
{
    const int frames = m_probe.GetCount();
    const DWORD tick = GetLastGrab();
    Expect(!m_probe.WaitForMore(frames, ms), "a frame came " + when);
    Expect(GetLastGrab() == tick, "m_dwLastGrab moved " + when);
}

} // namespace alidade
