// The camera's thread of CFrameGrabberGenICam: frames, loss and return, and what is said about them.

#include "FrameGrabberGenICam.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Thread.h"
#include "foundation/utility/Strings.h"

#include <cmath>

namespace alidade {
namespace {

constexpr DWORD kPopWait = 20;           // ms, the delay of a stop
constexpr DWORD kIdleWait = 500;         // ms between looks at an idle camera
constexpr DWORD kReopenInterval = 1000;  // ms
constexpr DWORD kReportInterval = 10000; // ms between lines about dropped frames

/// "3 incomplete, 1 overrun": what was counted from one time to another, without the zeros.
CStringA DropText(const T_GENICAM_STATISTICS& from, const T_GENICAM_STATISTICS& to)
{
    const struct {
        const char* szName;
        std::uint64_t T_GENICAM_STATISTICS::*pCounter;
    } kinds[] = {{"incomplete", &T_GENICAM_STATISTICS::nIncomplete},
                 {"of wrong size or format", &T_GENICAM_STATISTICS::nBadPayload},
                 {"out of order", &T_GENICAM_STATISTICS::nLate},
                 {"failed", &T_GENICAM_STATISTICS::nFailed},
                 {"overrun, since the grabber was too slow", &T_GENICAM_STATISTICS::nOverruns},
                 {"lost on the way", &T_GENICAM_STATISTICS::nMissed},
                 {"time-outs", &T_GENICAM_STATISTICS::nTimeouts},
                 {"losses of the camera", &T_GENICAM_STATISTICS::nLosses}};
    CStringA text;
    for (const auto& kind : kinds) {
        if (const std::uint64_t count = to.*kind.pCounter - from.*kind.pCounter; count != 0) {
            text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + kind.szName;
        }
    }
    return text;
}

} // namespace

template <class Change>
void CFrameGrabberGenICam::Count(Change change)
{
    const std::lock_guard lock(m_statisticsLock);
    change(m_statistics);
}

void CFrameGrabberGenICam::Run()
{
    NameThisThread("genicam");
    m_threadId = std::this_thread::get_id();
    while (!m_evtQuit.Wait(0)) {
        try {
            Step();
        } catch (...) {
            Count([](auto& s) { ++s.nFailed; });
            WriteErrorLog(L"GenICam %S : %s", m_session.GetName().c_str(), GetCurrentErrorMessage().c_str());
            m_evtQuit.Wait(kReopenInterval);
        }
    }
    StopCamera();
}

void CFrameGrabberGenICam::Step()
{
    Serve();
    if (m_bLost) {
        Reopen();
        return;
    }
    if (m_session.IsAcquiring()) {
        Pump();
    } else {
        CEvent::WaitForAny({&m_evtQuit, &m_evtRequest}, kIdleWait);
    }
    if (!m_bLost && m_session.IsControlLost()) {
        OnLost("it no longer answers, or somebody else controls it");
    }
}

/// Brings the camera to what was asked for last.
void CFrameGrabberGenICam::Serve()
{
    const DWORD requested = m_nRequested;
    if (requested == m_nServed) {
        return;
    }
    CStringA reason;
    if (!m_bLost && !m_bWanted) {
        StopCamera();
    } else if (!m_bLost && !m_session.IsAcquiring() && !StartCamera(reason)) {
        if (IsAnswering()) {
            m_bStartFailed = true;
            m_bWanted = false;
            WriteErrorLog(L"GenICam %S : capture cannot start: %S", m_session.GetName().c_str(),
                          reason.c_str());
        } else {
            OnLost(reason.c_str());
        }
    }
    m_nServed = requested;
    m_evtServed.SetEvent();
}

bool CFrameGrabberGenICam::StartCamera(CStringA& reason)
{
    {
        const std::lock_guard lock(m_sessionLock);
        if (!m_session.StartAcquisition(reason)) {
            return false;
        }
    }
    m_order.StartRun();
    m_nUnderruns = 0;
    m_bFailureReported = false;
    const double rate = m_session.GetGeometry().dFrameRate;
    m_dwSilenceLimit =
        m_settings.dwFrameTimeout + (rate > 0 ? static_cast<DWORD>(std::ceil(2000 / rate)) : 0);
    m_dwLastBuffer = GetTickCount();
    m_dwLastReport = GetTickCount() - kReportInterval;
    m_reported = m_atStart = GetStatistics();
    ReportSocketBuffer();
    return true;
}

void CFrameGrabberGenICam::StopCamera()
{
    if (!m_session.IsAcquiring()) {
        return;
    }
    {
        const std::lock_guard lock(m_sessionLock);
        m_session.StopAcquisition();
    }
    ReportStop();
}

void CFrameGrabberGenICam::ReportStop()
{
    const T_GENICAM_STATISTICS now = GetStatistics();
    const CStringA drops = DropText(m_atStart, now);
    WriteLog(kLogNormal, "GenICam %s : capture stopped, %llu frames delivered; not delivered: %s",
             m_session.GetName().c_str(),
             static_cast<unsigned long long>(now.nDelivered - m_atStart.nDelivered),
             drops.empty() ? "none" : drops.c_str());
}

void CFrameGrabberGenICam::Pump()
{
    ArvBuffer* const buffer = m_session.Pop(kPopWait);
    if (buffer == nullptr) {
        if (GetTickCount() - m_dwLastBuffer >= m_dwSilenceLimit) {
            OnSilence();
        }
        return;
    }
    Take(buffer);
    m_session.Push(buffer);
    m_dwLastBuffer = GetTickCount();
    ReportDrops();
}

void CFrameGrabberGenICam::OnSilence()
{
    if (!IsAnswering()) {
        OnLost("it sends no frames and no longer answers");
    } else if (!m_settings.bTrigger) {
        Count([](auto& s) { ++s.nTimeouts; });
        ReportDrops();
    }
    m_dwLastBuffer = GetTickCount();
}

bool CFrameGrabberGenICam::IsAnswering()
{
    const std::lock_guard lock(m_sessionLock);
    return m_session.IsAnswering();
}

void CFrameGrabberGenICam::Take(ArvBuffer* buffer)
{
    const std::uint64_t number = arv_buffer_get_frame_id(buffer);
    switch (arv_buffer_get_status(buffer)) {
    case ARV_BUFFER_STATUS_SUCCESS:
        break;
    case ARV_BUFFER_STATUS_CLEARED:
    case ARV_BUFFER_STATUS_ABORTED:
        return; // a leftover of stopping
    case ARV_BUFFER_STATUS_SIZE_MISMATCH:
        Count([](auto& s) { ++s.nBadPayload; });
        CountGap(m_order.NoteDamaged(number));
        return;
    default:
        Count([](auto& s) { ++s.nIncomplete; });
        CountGap(m_order.NoteDamaged(number));
        return;
    }
    T_RAW_FRAME frame;
    if (!IsAgreed(buffer, frame)) {
        Count([](auto& s) { ++s.nBadPayload; });
        CountGap(m_order.NoteDamaged(number));
        return;
    }
    const CFrameOrder::T_VERDICT verdict = m_order.Check(arv_buffer_get_timestamp(buffer), number);
    if (!verdict.bAccepted) {
        Count([](auto& s) { ++s.nLate; });
        return;
    }
    if (verdict.bClockSetBack) {
        WriteLog(kLogNormal, "GenICam %s : the camera's clock was set back; its new time counts from now on",
                 m_session.GetName().c_str());
    }
    CountGap(verdict.nMissed);
    Deliver(frame);
}

/// A payload is what the camera says it is: nothing of it is trusted before it agrees with what was set up.
bool CFrameGrabberGenICam::IsAgreed(ArvBuffer* buffer, T_RAW_FRAME& frame) const
{
    const T_CAMERA_GEOMETRY& agreed = m_session.GetGeometry();
    if (arv_buffer_get_n_parts(buffer) < 1 ||
        arv_buffer_get_part_data_type(buffer, 0) != ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE) {
        return false;
    }
    size_t size = 0;
    frame.pData = static_cast<const BYTE*>(arv_buffer_get_part_data(buffer, 0, &size));
    frame.nSize = size;
    gint x = 0, y = 0, paddingY = 0;
    arv_buffer_get_part_region(buffer, 0, &x, &y, &frame.nWidth, &frame.nHeight);
    arv_buffer_get_part_padding(buffer, 0, &frame.nPaddingX, &paddingY);
    const std::size_t needed = GetFrameBytes(*agreed.pFormat, frame);
    return frame.nWidth == agreed.nWidth && frame.nHeight == agreed.nHeight &&
           static_cast<DWORD>(arv_buffer_get_part_pixel_format(buffer, 0)) == agreed.pFormat->dwCode &&
           needed != 0 && frame.nSize >= needed;
}

/// Frames that have numbers but never came: without a buffer for them, or lost on the way.
void CFrameGrabberGenICam::CountGap(std::uint64_t missed)
{
    if (missed == 0) {
        return;
    }
    const std::uint64_t underruns = m_session.GetUnderruns();
    const bool overrun = underruns != m_nUnderruns;
    m_nUnderruns = underruns;
    Count([&](auto& s) { (overrun ? s.nOverruns : s.nMissed) += missed; });
}

void CFrameGrabberGenICam::Deliver(const T_RAW_FRAME& frame)
{
    if (!m_bGate) {
        return;
    }
    bool delivered = false;
    try {
        CDriverFrame target(*this);
        try {
            delivered =
                m_bGate && m_converter.Convert(*m_session.GetGeometry().pFormat, frame, target.Image());
        } catch (...) {
            target.Cancel();
            throw;
        }
        if (!delivered) {
            target.Cancel();
        }
    } catch (...) {
        Count([](auto& s) { ++s.nFailed; });
        if (!m_bFailureReported) {
            m_bFailureReported = true;
            WriteErrorLog(L"GenICam %S : a frame could not be delivered: %s", m_session.GetName().c_str(),
                          GetCurrentErrorMessage().c_str());
        }
        return;
    }
    if (delivered) {
        Count([](auto& s) { ++s.nDelivered; });
    }
}

void CFrameGrabberGenICam::OnLost(const char* reason)
{
    m_bLost = true;
    m_dwLostAt = GetTickCount();
    m_strReopenProblem.clear();
    Count([](auto& s) {
        ++s.nLosses;
        s.bConnected = 0;
    });
    WriteErrorLog(L"GenICam %S : the camera is lost: %S. It is opened again as soon as it is back",
                  m_session.GetName().c_str(), reason);
    if (m_session.IsAcquiring()) {
        ReportStop();
    }
    const std::lock_guard lock(m_sessionLock);
    m_session.Close();
}

/// One try a second, ended at once by a request or by the end of the thread.
void CFrameGrabberGenICam::Reopen()
{
    if (CEvent::WaitForAny({&m_evtQuit, &m_evtRequest}, kReopenInterval) >= 0) {
        return;
    }
    CStringA problem;
    CCameraSession::eOPENED opened;
    {
        const std::lock_guard lock(m_sessionLock);
        opened = m_session.Open(m_settings, CStringA(m_session.GetId()), problem);
    }
    m_order.Reset();
    if (opened == CCameraSession::OPENED && m_bWanted && !StartCamera(problem)) {
        const std::lock_guard lock(m_sessionLock);
        m_session.Close();
        opened = CCameraSession::REFUSED;
    }
    if (opened == CCameraSession::REFUSED && problem != m_strReopenProblem) {
        m_strReopenProblem = problem;
        WriteErrorLog(L"GenICam : the camera is back, but cannot be used: %S", problem.c_str());
    }
    if (opened != CCameraSession::OPENED) {
        return;
    }
    {
        const CS lock(&m_imageLock);
        m_imageSize = {m_session.GetGeometry().nWidth, m_session.GetGeometry().nHeight};
    }
    Count([](auto& s) {
        ++s.nReopened;
        s.bConnected = 1;
    });
    m_bLost = false;
    WriteLog(kLogNormal, "GenICam %s : the camera is back after %.1f s; all settings were applied again: %s",
             m_session.GetName().c_str(), (GetTickCount() - m_dwLostAt) / 1000.0,
             m_session.Describe().c_str());
}

void CFrameGrabberGenICam::ReportSocketBuffer()
{
    const int asked = m_session.GetSocketBufferAsked();
    const int granted = m_session.GetSocketBufferGranted();
    const bool known = GetStatistics().nSocketBufferAsked == static_cast<std::uint32_t>(asked);
    Count([&](auto& s) {
        s.nSocketBufferAsked = static_cast<std::uint32_t>(asked);
        s.nSocketBufferGranted = static_cast<std::uint32_t>(granted);
    });
    if (granted != 0 && granted < asked && !known) {
        WriteLog(
            kLogNormal,
            "GenICam %s : the socket buffer should hold %d bytes, the system grants %d. Frames may get lost; "
            "as administrator run: sysctl -w net.core.rmem_max=%d",
            m_session.GetName().c_str(), asked, granted, asked);
    }
}

/// The first drop is told at once, further ones together at intervals.
void CFrameGrabberGenICam::ReportDrops()
{
    if (GetTickCount() - m_dwLastReport < kReportInterval) {
        return;
    }
    const T_GENICAM_STATISTICS now = GetStatistics();
    const CStringA drops = DropText(m_reported, now);
    if (drops.empty()) {
        return;
    }
    m_reported = now;
    m_dwLastReport = GetTickCount();
    WriteLog(kLogNormal, "GenICam %s : not delivered: %s", m_session.GetName().c_str(), drops.c_str());
}

} // namespace alidade
