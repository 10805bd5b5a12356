#pragma once

#include "ExposureClock.h"
#include "MachineReader.h"
#include "SceneRenderer.h"
#include "alidade/driver/FrameGrabberInterface.h"
#include "foundation/platform/Event.h"

#include <deque>
#include <thread>

namespace alidade {

/// A driver that shows what a camera over a machine's stage sees. At each exposure the machine's positions
/// are noted; the frame is rendered outside of the image lock, and delivered when its delay is over. See
/// docs/scene.md.
class CFrameGrabberScene : public IFrameGrabberInterface {
public:
    CFrameGrabberScene() = default;
    ~CFrameGrabberScene() override;

    int InitFrameGrabber(const CProfileSection& settings, CString& message) override;
    int CloseFrameGrabber() override;
    /// 0 when nothing is open. While the camera is away, frames come once it is back.
    int StartCapture() override;
    /// No frame is delivered after it has returned; exposures on their way are lost.
    int StopCapture() override;

    /// What is true of the open scene; null when nothing is open. Thread-safe.
    std::shared_ptr<const CSceneTruth> GetTruth() const;
    /// The exposure of a delivered frame by the frame's tick. Thread-safe.
    /// @return 1, or 0 when no frame of that tick is remembered
    int FindExposure(DWORD delivered, T_SCENE_EXPOSURE& exposure) const;

private:
    static constexpr std::size_t kRemembered = 256;

    int Open(const CProfileSection& settings, CString& message);
    void Run();
    /// One round: does what is due. Returns the ms until something else is.
    DWORD Step(DWORD now);
    void Begin(DWORD now);
    bool IsUnplugDue(DWORD now);
    void Unplug(DWORD now);
    void Expose(DWORD now);
    void Render();
    void Deliver();
    bool IsStopped() { return m_evtStop.Wait(0); }

    CCriticalSection m_openLock; // Init and Close against each other
    T_SCENE_SETTINGS m_settings;
    std::thread m_thread;
    CEvent m_evtStop{false, true}; // the thread must end
    CEvent m_evtWake;              // m_nStarts changed
    std::atomic<bool> m_bOpen{false};
    std::atomic<bool> m_bCapture{false};
    std::atomic<DWORD> m_nStarts{0};

    mutable CCriticalSection m_truthLock; // guards the next two
    std::shared_ptr<const CSceneTruth> m_pTruth;
    std::deque<T_SCENE_EXPOSURE> m_delivered; // newest last

    // Of the thread while it runs.
    std::unique_ptr<IWorkPiece> m_pWorkPiece;
    std::unique_ptr<CSceneRenderer> m_pRenderer; // of the camera that is there; null while it is away
    std::unique_ptr<CMachineReader> m_pMachine;
    T_MACHINE_STATE m_state;
    CExposureClock m_clock{1};
    std::deque<T_SCENE_EXPOSURE> m_pending; // exposed, not delivered, oldest first
    cv::Mat m_next;                         // the first of them, once it is rendered
    bool m_bReady = false;                  // m_next is that one
    DWORD m_nBegun = 0;                     // the start that is being served
    std::uint64_t m_nFrame = 0;
    struct {
        unsigned long long nDelivered = 0;
        unsigned long long nDropped = 0; // as the settings want it
        unsigned long long nLate = 0;    // a newer one was due before it was begun
        unsigned long long nFailed = 0;  // ended in an exception
    } m_counters;
    int m_nSincePlugged = 0; // exposures, where they are counted
    bool m_bFirstStart = true;
    DWORD m_dwFirstStart = 0;
    bool m_bUnplugAtDone = false;
    DWORD m_dwUnplugged = 0;
};

} // namespace alidade
