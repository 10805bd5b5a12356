#pragma once

#include "CameraSession.h"
#include "FrameOrder.h"
#include "GenICamStatistics.h"
#include "PixelFormat.h"
#include "alidade/driver/FrameGrabberInterface.h"
#include "foundation/platform/Event.h"

#include <mutex>
#include <thread>

namespace alidade {

/// Driver for GigE Vision and USB3 Vision cameras.
///
/// From a successful InitFrameGrabber to CloseFrameGrabber one thread owns the camera. It starts and stops
/// the camera when asked to, delivers frames, and opens a lost camera again. Start and stop called from
/// within the new-image callback are carried out after it; close and init are refused there.
class CFrameGrabberGenICam : public IFrameGrabberInterface {
public:
    ~CFrameGrabberGenICam() override;

    int InitFrameGrabber(const CProfileSection& settings, CString& message) override;
    int CloseFrameGrabber() override;
    /// 1 also while the camera is lost: frames flow when it is back.
    int StartCapture() override;
    int StopCapture() override;

    T_GENICAM_STATISTICS GetStatistics() const;
    int SendSoftwareTrigger();

private:
    bool IsOwnThread() const { return m_threadId == std::this_thread::get_id(); }
    int Open(const CProfileSection& settings, CString& message);
    void CloseGate();
    bool Request(bool capture, DWORD deadlineMs);

    // On the camera's thread.
    void Run();
    void Step();
    void Serve();
    void Pump();
    void Take(ArvBuffer* buffer);
    bool IsAgreed(ArvBuffer* buffer, T_RAW_FRAME& frame) const;
    void CountGap(std::uint64_t missed);
    void Deliver(const T_RAW_FRAME& frame);
    void OnSilence();
    bool IsAnswering();
    void OnLost(const char* reason);
    void Reopen();
    bool StartCamera(CStringA& reason);
    void StopCamera();
    void ReportSocketBuffer();
    void ReportDrops();
    void ReportStop();
    template <class Change>
    void Count(Change change);

    T_GENICAM_SETTINGS m_settings;
    std::mutex m_control; // one caller of init, close, start and stop at a time
    std::thread m_thread;
    std::atomic<std::thread::id> m_threadId; // of m_thread, once it runs
    std::timed_mutex m_sessionLock;          // the camera's thread holds it while it talks to the camera
    CCameraSession m_session;
    std::atomic<bool> m_bLost{false};

    CEvent m_evtQuit{false, true};
    CEvent m_evtRequest;
    CEvent m_evtServed;
    std::atomic<bool> m_bWanted{false}; // frames are asked for
    std::atomic<DWORD> m_nRequested{0};
    std::atomic<DWORD> m_nServed{0};
    std::atomic<bool> m_bStartFailed{false};
    std::atomic<bool> m_bGate{false}; // frames may be delivered; changed under the image lock

    // Of the camera's thread.
    CFrameOrder m_order;
    CFrameConverter m_converter;
    std::uint64_t m_nUnderruns = 0; // of the stream, at the last gap
    DWORD m_dwLastBuffer = 0;
    DWORD m_dwSilenceLimit = 0;
    DWORD m_dwLostAt = 0;
    DWORD m_dwLastReport = 0;
    bool m_bFailureReported = false;
    CStringA m_strReopenProblem;       // the last one told
    T_GENICAM_STATISTICS m_reported{}; // what the last report said
    T_GENICAM_STATISTICS m_atStart{};  // when capture started

    mutable std::mutex m_statisticsLock;
    T_GENICAM_STATISTICS m_statistics{};
};

} // namespace alidade
