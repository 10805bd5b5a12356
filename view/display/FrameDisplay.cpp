#include "view/display/FrameDisplay.h"

#include "foundation/math/FrameAllocator.h"
#include "foundation/platform/Thread.h"
#include "foundation/platform/Ticks.h"
#include "view/transforms/ViewTransforms.h"

#include <exception>
#include <optional>
#include <system_error>

namespace alidade {
namespace {

constexpr DWORD kLeastInterval = 33;   // ms from one round to the next
constexpr DWORD kFrozenInterval = 200; // ms after which a picture that stands still is fetched again
constexpr DWORD kFetchTime = 3000;     // ms to wait for a camera whose frames have stopped

constexpr auto relaxed = std::memory_order_relaxed;

} // namespace

CFrameDisplay::CFrameDisplay(const T_ZOOM_STATE& zoom, const CViewTransforms& transforms,
                             std::function<void()> repaint)
    : m_zoom(zoom), m_transforms(transforms), m_repaint(std::move(repaint))
{
}

CFrameDisplay::~CFrameDisplay()
{
    Stop();
}

int CFrameDisplay::Start(const TRefPointer<CFrameGrabber>& grabber)
{
    if (IsRunning() || !grabber) {
        return 0;
    }
    m_evtStop.ResetEvent();
    m_evtRedraw.ResetEvent();
    m_pGrabber = grabber;
    try {
        m_pFrameArrived = TRefPointer<CEvent, int, int>(new CEvent);
        m_pGrabber->InsertWaitingQueue(m_pFrameArrived);
        m_thread = std::thread([this, start = GetTickCount()] { Run(start); });
    } catch (const std::system_error&) {
        Stop();
        return 0;
    }
    if (!m_pGrabber->IsLive()) {
        Redraw();
    }
    return 1;
}

int CFrameDisplay::Stop()
{
    m_evtStop.SetEvent();
    if (IsRunning()) {
        m_thread.join();
    }
    if (m_pGrabber) {
        m_pGrabber->DeleteWaitingQueue(m_pFrameArrived);
    }
    m_pFrameArrived.Release();
    m_pGrabber.Release();
    return 1;
}

void CFrameDisplay::SetArea(const cv::Size& area)
{
    {
        CS lock(&m_lock);
        if (m_area == area) {
            return;
        }
        m_area = area;
    }
    Redraw();
}

void CFrameDisplay::SetVisible(bool visible)
{
    if (m_bVisible.exchange(visible) != visible && visible) {
        Redraw();
    }
}

void CFrameDisplay::SetFocusMeasured(bool measured)
{
    m_bFocusMeasured.store(measured, relaxed);
}

void CFrameDisplay::Redraw()
{
    m_evtRedraw.SetEvent();
}

T_DISPLAY_FRAME CFrameDisplay::GetFrame() const
{
    CS lock(&m_lock);
    m_bTaken = true;
    return m_frame;
}

double CFrameDisplay::GetFocus() const
{
    return m_bFocusMeasured.load(relaxed) ? m_focus.load(relaxed) : 0.0;
}

CFrameDisplay::T_COUNTS CFrameDisplay::GetCounts() const
{
    CS lock(&m_lock);
    return m_counts;
}

void CFrameDisplay::Count(std::uint64_t T_COUNTS::*count)
{
    CS lock(&m_lock);
    ++(m_counts.*count);
}

bool CFrameDisplay::IsShown() const
{
    CS lock(&m_lock);
    return m_bVisible && m_area.width > 0 && m_area.height > 0;
}

void CFrameDisplay::Run(DWORD start)
{
    enum { STOP, FRAME, REDRAW };
    NameThisThread("display");
    cv::Mat frame; // the grabber's copy, written again each round
    frame.allocator = GetFrameAllocator();
    DWORD last = start;
    std::optional<CDeadline> planned; // a round that needs no event
    for (;;) {
        const int event = CEvent::WaitForAny({&m_evtStop, m_pFrameArrived.Get(), &m_evtRedraw},
                                             planned.value_or(CDeadline(INFINITE)));
        if (event == STOP) {
            return;
        }
        if (!IsShown()) {
            planned.reset(); // being shown asks for a round
            if (event == FRAME) {
                Count(&T_COUNTS::skipped);
            }
            continue;
        }
        if (GetTickCount() - last < kLeastInterval) {
            if (event == FRAME) {
                Count(planned ? &T_COUNTS::skipped : &T_COUNTS::deferred);
            }
            planned.emplace(last, kLeastInterval);
            continue;
        }
        // From slot to slot, so that a camera of this very rate loses no frame to its jitter.
        last = GetTickCount() - last < 2 * kLeastInterval ? last + kLeastInterval : GetTickCount();
        planned.reset();
        m_evtRedraw.ResetEvent(); // this round does for what was asked for until now
        try {
            if (ShowFrame(frame) && !m_pGrabber->IsLive()) {
                planned.emplace(kFrozenInterval);
            }
        } catch (const std::exception&) {
            Count(&T_COUNTS::refused);
        }
    }
}

/// False when there is no frame, or the thread is to end.
bool CFrameDisplay::FetchFrame(cv::Mat& frame)
{
    if (!m_pGrabber->GetImage(frame, true, 0)) {
        // GetImage can wait for a camera that has stopped, but would not see the stop event.
        const int event = CEvent::WaitForAny({&m_evtStop, m_pFrameArrived.Get()}, kFetchTime);
        if (event == 0) {
            return false;
        }
        const bool isYoung = event > 0;
        m_pGrabber->GetImage(frame, !isYoung, 0);
    }
    return !frame.empty();
}

/// One round. False when nothing was handed over.
bool CFrameDisplay::ShowFrame(cv::Mat& frame)
{
    if (!FetchFrame(frame)) {
        return false;
    }
    T_DISPLAY_FRAME next;
    next.fetched = GetTickNanoseconds();
    cv::Size area;
    {
        CS lock(&m_lock);
        area = m_area;
    }
    T_DISPLAY_GEOMETRY geometry;
    if (!GetDisplayGeometry(frame.size(), area, m_zoom.mode.load(relaxed), m_zoom.factor.load(relaxed),
                            m_transforms.GetScreenFromImage().GetShift(), geometry) ||
        geometry.source.empty()) {
        return false;
    }
    if (!m_scaler.Scale(frame, geometry, next)) {
        Count(&T_COUNTS::refused);
        return false;
    }
    if (m_bFocusMeasured.load(relaxed)) {
        m_focus.store(MeasureFocus(next.picture), relaxed);
    }
    HandOver(next);
    m_repaint();
    return true;
}

/// Exchanges it for the one that was there, which is dropped after the lock was given back.
void CFrameDisplay::HandOver(T_DISPLAY_FRAME& frame)
{
    CS lock(&m_lock);
    frame.number = m_frame.number + 1;
    m_counts.shown += 1;
    m_counts.replaced += m_bTaken ? 0 : 1;
    m_bTaken = false;
    std::swap(m_frame, frame);
}

} // namespace alidade
