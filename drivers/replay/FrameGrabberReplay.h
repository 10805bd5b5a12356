#pragma once

#include "PicturePlayer.h"
#include "alidade/driver/FrameGrabberInterface.h"
#include "foundation/platform/Event.h"

#include <thread>

namespace alidade {

/// A driver that plays pictures or a video. The next picture is decoded ahead, outside the image lock; only
/// its copy is made under it. See docs/replay.md.
class CFrameGrabberReplay : public IFrameGrabberInterface {
public:
    CFrameGrabberReplay() = default;
    ~CFrameGrabberReplay() override;

    int InitFrameGrabber(const CProfileSection& settings, CString& message) override;
    int CloseFrameGrabber() override;
    /// Goes on where StopCapture left off; a source that was played to its end begins again. 0 when nothing
    /// is open.
    int StartCapture() override;
    /// No frame is delivered after it has returned.
    int StopCapture() override;

private:
    int Open(const CProfileSection& settings, CString& message);
    void Run();
    bool FetchNext();
    bool Deliver();
    bool IsStopped() { return m_evtStop.Wait(0); }

    CCriticalSection m_openLock; // Init and Close against each other
    T_REPLAY_SETTINGS m_settings;
    std::thread m_thread;
    CEvent m_evtStop{false, true}; // the thread must end
    CEvent m_evtWake;              // m_bCapture or m_nStarts changed
    std::atomic<bool> m_bOpen{false};
    std::atomic<bool> m_bCapture{false};
    std::atomic<DWORD> m_nStarts{0};

    // Of the thread while it runs.
    std::unique_ptr<CPicturePlayer> m_pPlayer;
    cv::Mat m_next;        // decoded, not delivered yet
    bool m_bReady = false; // m_next holds a picture
    bool m_bEnded = false; // the source was played to its end
};

} // namespace alidade
