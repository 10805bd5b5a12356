#pragma once

#include "acquisition/FrameGrabber.h"
#include "view/display/DisplayFrame.h"
#include "view/display/FrameScaler.h"
#include "view/display/ZoomState.h"

#include <functional>
#include <thread>

namespace alidade {

class CViewTransforms;

/// The display thread of a view: takes the grabber's newest frame at most once per 33 ms, cuts out what is on
/// the screen, scales it, measures focus, and hands it over. There is one place for a frame: a newer one
/// takes it, whether the last was painted or not, and the grabber is never held up. While the view is hidden
/// or the picture area empty nothing is fetched. A picture that stands still is fetched again five times a
/// second.
///
/// Made, started, stopped and destroyed on the window's thread; the setters too. Redraw and the Get
/// operations are thread-safe.
class ALIDADE_API CFrameDisplay {
public:
    /// How often frames were not shown, for the operator and for tests.
    struct T_COUNTS {
        std::uint64_t shown = 0;    // handed over
        std::uint64_t skipped = 0;  // came while hidden, or while another waited for its time
        std::uint64_t deferred = 0; // came too soon after the one before, and waited for their time
        std::uint64_t replaced = 0; // handed over, and taken by nobody before the next one came
        std::uint64_t refused = 0;  // cannot be shown: wrong channels or depth, or no memory
    };

    /// @param zoom, transforms  not owned, outlive this
    /// @param repaint           called on the display thread, under no lock, when a frame was handed over:
    /// asks the
    ///        window for a repaint by a posted event, never waits for it, and does not call Redraw
    CFrameDisplay(const T_ZOOM_STATE& zoom, const CViewTransforms& transforms, std::function<void()> repaint);
    ~CFrameDisplay();
    CFrameDisplay(const CFrameDisplay&) = delete;
    CFrameDisplay& operator=(const CFrameDisplay&) = delete;

    /// Starts the thread for a grabber. 1; 0 when it runs already, the grabber is empty or the system has no
    /// thread left.
    int Start(const TRefPointer<CFrameGrabber>& grabber);
    /// Ends the thread, which takes no longer than the round it is in, and forgets the grabber. The last
    /// frame stays. Always 1.
    int Stop();
    bool IsRunning() const { return m_thread.joinable(); }

    /// Size of the picture area, screen px.
    void SetArea(const cv::Size& area);
    void SetVisible(bool visible);
    void SetFocusMeasured(bool measured);

    /// Asks for one more round, as for a frozen picture that was changed, or after the zoom. Within 33 ms of
    /// the last round it waits for the rest of them.
    void Redraw();
    /// The newest frame; `number` 0: none yet. Numbers go on over a restart.
    T_DISPLAY_FRAME GetFrame() const;
    /// 0 when off, or when the picture is too small.
    double GetFocus() const;
    T_COUNTS GetCounts() const;

private:
    void Run(DWORD start);
    bool IsShown() const;
    bool FetchFrame(cv::Mat& frame);
    bool ShowFrame(cv::Mat& frame);
    void HandOver(T_DISPLAY_FRAME& frame);
    void Count(std::uint64_t T_COUNTS::*count);

    const T_ZOOM_STATE& m_zoom;
    const CViewTransforms& m_transforms;
    const std::function<void()> m_repaint;
    TRefPointer<CFrameGrabber> m_pGrabber;         // of the running thread, and so is the event
    TRefPointer<CEvent, int, int> m_pFrameArrived; // in the grabber's waiting queue
    std::thread m_thread;
    CEvent m_evtStop{false, true};
    CEvent m_evtRedraw;
    std::atomic<bool> m_bVisible{true};
    std::atomic<bool> m_bFocusMeasured{false};
    std::atomic<double> m_focus{0.0};
    CFrameScaler m_scaler; // of the display thread

    mutable CCriticalSection m_lock; // guards all below
    cv::Size m_area;
    T_DISPLAY_FRAME m_frame;
    mutable bool m_bTaken = true; // the frame that is there was asked for
    T_COUNTS m_counts;
};

} // namespace alidade
