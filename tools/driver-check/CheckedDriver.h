#pragma once

#include "DeadlineRunner.h"
#include "FrameProbe.h"

#include "alidade/driver/FrameGrabberInterface.h"

namespace alidade {

/// A driver object under test. Every operation runs on the runner's thread, within its deadline, and throws
/// CCheckFailed or CCheckStalled as the runner does. Bound to the runner's owner.
class CCheckedDriver {
public:
    /// Sets the callback that counts frames.
    /// @param driver  owned from now on
    CCheckedDriver(IFrameGrabberInterface* driver, CDeadlineRunner& runner);
    /// Destroy must have been called, unless the runner has stalled: the object is given up then.
    ~CCheckedDriver() = default;

    /// The result of InitFrameGrabber, 0 or 1.
    int Init(const CProfileSection& settings, CString& message);
    int Start() { return Call("StartCapture", &IFrameGrabberInterface::StartCapture); }
    int Stop() { return Call("StopCapture", &IFrameGrabberInterface::StopCapture); }
    int Close() { return Call("CloseFrameGrabber", &IFrameGrabberInterface::CloseFrameGrabber); }
    /// From now on the driver has no callback.
    void DropCallback();
    /// Deletes the object; it must not be used any more.
    void Destroy();

    CFrameProbe& Frames() { return m_probe; }
    IFrameGrabberInterface& Get() { return *m_pDriver; }
    DWORD GetLastGrab() const { return m_pDriver->m_dwLastGrab.load(); }

    /// @throws CCheckFailed when InitFrameGrabber fails or StartCapture does
    void Open(const CProfileSection& settings);
    void StartFlow();
    /// @param when  completes "no frame came within 10 s ..."
    void ExpectFrames(int more, const std::string& when);
    /// @throws CCheckFailed when a frame or a new tick comes within `ms`
    void ExpectNone(DWORD ms, const std::string& when);

private:
    int Call(const char* what, int (IFrameGrabberInterface::*operation)());

    IFrameGrabberInterface* m_pDriver;
    CDeadlineRunner& m_runner;
    CFrameProbe& m_probe;
};

} // namespace alidade
