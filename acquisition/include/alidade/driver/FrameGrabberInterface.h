#pragma once

#include "alidade/driver/FGCamera.h"
#include "alidade/driver/FGComm.h"
#include "foundation/config/ProfileSection.h"
#include "foundation/config/SimpleLogInterface.h"
#include "foundation/containers/RefPointer.h"
#include "foundation/platform/CriticalSection.h"
#include "foundation/platform/Ticks.h"

#include <exception>
#include <opencv2/core.hpp>
#include <thread>

namespace alidade {

/// A camera driver: owns the device, the capture thread and the current image.
///
/// For each frame, on the driver's own thread: set `m_dwLastGrab` to the current tick, take the image lock,
/// write the frame into `m_image`, call the new-image callback while still holding the lock, release the
/// lock. CDriverFrame does this. Ticks never run backwards; a frame older than the last one is dropped.
///
/// Results are 1 for success and 0 for failure; a driver does not throw into its caller. The order of the
/// virtual operations and of the data members is the layout that plug-ins are built against
/// (ALIDADE_DRIVER_LAYOUT_VERSION).
class IFrameGrabberInterface : public CSimpleLogInterface {
public:
    using NewImageCallback = int (*)(void*);

    /// Stops and joins everything the driver owns.
    ~IFrameGrabberInterface() override = default;

    virtual void SetNewImageCallback(NewImageCallback callback, void* argument)
    {
        m_pfnNewImage = callback;
        m_pNewImageArg = argument;
    }
    /// Opens the device; frames do not flow yet. Called again on an open driver it starts anew.
    /// @param message  receives the result or the reason of a failure, for the operator
    virtual int InitFrameGrabber(const CProfileSection& settings, CString& message) = 0;
    /// Ends the capture thread and frees the device. Allowed when nothing is open. No frame is delivered
    /// after it has returned.
    virtual int CloseFrameGrabber() = 0;
    virtual int StartCapture() = 0;
    virtual int StopCapture() = 0;
    // Reserved.
    virtual int Reserved8() { return 1; }
    virtual int Reserved9() { return 1; }

    CCriticalSection m_imageLock;       // recursive; guards m_image
    std::atomic<DWORD> m_dwLastGrab{0}; // tick of the latest frame, live or not; 0 until the first
    cv::Mat m_image;                    // the current image; pre-processing changes it in place
    cv::Size m_imageSize;               // the size set up; counts only while m_image is empty
    NewImageCallback m_pfnNewImage = nullptr;
    void* m_pNewImageArg = nullptr;
    TRefPointer<IFGCamera, int, int> m_pCamera; // a camera control of the driver's own, or empty
    TRefPointer<IFGComm, int, int> m_pComm;     // the control port, or empty
    std::atomic<int> m_bClientsWoken{0}; // written by the callback: clients are on their way to this frame
};

/// Delivers one frame by the rules above: stamps the tick, holds the image lock for its life, and calls the
/// callback as it ends.
///
///     { CDriverFrame frame(*this); picture.copyTo(frame.Image()); }
///
/// A driver that has the next frame ready at once lets clients that were woken get to the lock first, for at
/// most 50 microseconds: so frames as fast as they can be taken really are taken.
///
/// `frame.Image()` keeps its memory from frame to frame: copy into it rather than assigning to it. When the
/// block is left by an exception nothing is delivered.
class CDriverFrame {
public:
    explicit CDriverFrame(IFrameGrabberInterface& driver) : m_driver(driver)
    {
        driver.m_dwLastGrab.store(GetTickCount(), std::memory_order_relaxed);
        driver.m_imageLock.Lock();
    }
    ~CDriverFrame() noexcept(false)
    {
        const Unlock unlock{m_driver};
        if (!m_cancelled && std::uncaught_exceptions() == m_exceptions && m_driver.m_pfnNewImage != nullptr) {
            m_driver.m_pfnNewImage(m_driver.m_pNewImageArg);
        }
    }
    CDriverFrame(const CDriverFrame&) = delete;
    CDriverFrame& operator=(const CDriverFrame&) = delete;

    cv::Mat& Image() { return m_driver.m_image; }
    /// Delivers nothing after all.
    void Cancel() { m_cancelled = true; }

private:
    struct Unlock {
        IFrameGrabberInterface& driver;
        ~Unlock()
        {
            CCriticalSection& lock = driver.m_imageLock;
            const bool give =
                driver.m_bClientsWoken.exchange(0, std::memory_order_relaxed) != 0 && !lock.HasWaiters();
            const std::uint32_t requests = lock.CountRequests();
            lock.Unlock();
            const std::int64_t start = give ? GetTickNanoseconds() : 0;
            while (give && lock.CountRequests() == requests && GetTickNanoseconds() - start < 50000) {
                std::this_thread::yield();
            }
        }
    };
    IFrameGrabberInterface& m_driver;
    bool m_cancelled = false;
    int m_exceptions = std::uncaught_exceptions();
};

} // namespace alidade
