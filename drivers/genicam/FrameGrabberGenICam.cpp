#include "FrameGrabberGenICam.h"

#include "foundation/platform/Text.h"
#include "foundation/platform/Thread.h"
#include "foundation/utility/Strings.h"

#include <algorithm>

namespace alidade {
namespace {

constexpr DWORD kStartDeadline = 10000; // ms
constexpr DWORD kStopDeadline = 5000;   // ms
constexpr DWORD kTriggerDeadline = 200; // ms

} // namespace

CFrameGrabberGenICam::~CFrameGrabberGenICam()
{
    CFrameGrabberGenICam::CloseFrameGrabber();
}

int CFrameGrabberGenICam::InitFrameGrabber(const CProfileSection& settings, CString& message)
{
    if (IsOwnThread()) {
        message = L"GenICam: InitFrameGrabber was called from the new-image callback";
        return 0;
    }
    CloseFrameGrabber();
    const std::lock_guard control(m_control);
    try {
        return Open(settings, message);
    } catch (...) {
        m_session.Close();
        message = L"GenICam: " + GetCurrentErrorMessage();
        return 0;
    }
}

int CFrameGrabberGenICam::Open(const CProfileSection& settings, CString& message)
{
    CStringA text;
    if (!ReadGenICamSettings(settings, m_settings, text)) {
        message = ToWide(text);
        return 0;
    }
    {
        const std::lock_guard lock(m_sessionLock);
        if (m_session.Open(m_settings, m_settings.strDeviceId, text) != CCameraSession::OPENED) {
            message = ToWide(text);
            return 0;
        }
    }
    {
        const std::lock_guard lock(m_statisticsLock);
        m_statistics = {};
        m_statistics.bConnected = 1;
    }
    {
        const CS lock(&m_imageLock);
        m_imageSize = {m_session.GetGeometry().nWidth, m_session.GetGeometry().nHeight};
    }
    message = ToWide(m_session.Describe());
    m_reported = m_atStart = {};
    m_order.Reset();
    m_bLost = false;
    m_bWanted = false;
    m_nRequested = 0;
    m_nServed = 0;
    m_evtQuit.ResetEvent();
    m_evtRequest.ResetEvent();
    m_thread = std::thread([this] { Run(); });
    return 1;
}

int CFrameGrabberGenICam::CloseFrameGrabber()
{
    if (IsOwnThread()) {
        WriteErrorLog(L"GenICam : CloseFrameGrabber was called from the new-image callback and did nothing");
        return 0;
    }
    CloseGate();
    const std::lock_guard control(m_control);
    m_evtQuit.SetEvent();
    if (m_thread.joinable()) {
        m_thread.join();
        m_threadId = std::thread::id();
    }
    const std::lock_guard lock(m_sessionLock);
    m_session.Close();
    return 1;
}

int CFrameGrabberGenICam::StartCapture()
{
    if (IsOwnThread()) {
        m_bGate = true;
        m_bWanted = true;
        ++m_nRequested;
        return 1;
    }
    const std::lock_guard control(m_control);
    if (!m_thread.joinable()) {
        return 0;
    }
    m_bGate = true;
    if (Request(true, kStartDeadline)) {
        return 1;
    }
    CloseGate();
    m_bWanted = false;
    ++m_nRequested; // a camera that starts after all is stopped again
    return 0;
}

int CFrameGrabberGenICam::StopCapture()
{
    CloseGate();
    if (IsOwnThread()) {
        m_bWanted = false;
        ++m_nRequested;
        return 1;
    }
    const std::lock_guard control(m_control);
    if (m_thread.joinable()) {
        // Frames have ceased already; a camera that takes longer is stopped later.
        Request(false, kStopDeadline);
    }
    return 1;
}

/// A frame that is on its way to the grabber is finished first; none follows.
void CFrameGrabberGenICam::CloseGate()
{
    const CS lock(&m_imageLock);
    m_bGate = false;
}

/// Has the camera's thread start or stop the camera. While the camera is lost that is left for its return.
bool CFrameGrabberGenICam::Request(bool capture, DWORD deadlineMs)
{
    constexpr DWORD kSlice = 50; // ms between looks at m_bLost
    m_bStartFailed = false;
    m_bWanted = capture;
    const DWORD number = ++m_nRequested;
    m_evtRequest.SetEvent();
    const CDeadline deadline(deadlineMs);
    while (static_cast<std::int32_t>(m_nServed - number) < 0) {
        if (m_bLost) {
            return true;
        }
        if (deadline.IsOver()) {
            return false;
        }
        m_evtServed.Wait(std::min(kSlice, deadline.Remaining()));
    }
    return !m_bStartFailed;
}

T_GENICAM_STATISTICS CFrameGrabberGenICam::GetStatistics() const
{
    const std::lock_guard lock(m_statisticsLock);
    return m_statistics;
}

int CFrameGrabberGenICam::SendSoftwareTrigger()
{
    const std::unique_lock lock(m_sessionLock, std::chrono::milliseconds(kTriggerDeadline));
    if (!lock.owns_lock() || m_bLost || !m_session.IsAcquiring()) {
        return 0;
    }
    CStringA reason;
    return m_session.SendSoftwareTrigger(reason) ? 1 : 0;
}

namespace {

void AppendGenICamProperties(TList<CMFCPropertyGridProperty, int, int>& properties, TList<CString, int, int>&)
{
    AppendProperties(GetGenICamSettingTable(), properties);
}

} // namespace
} // namespace alidade

ALIDADE_DRIVER_PLUGIN("GenICam", alidade::CFrameGrabberGenICam, alidade::AppendGenICamProperties)

ALIDADE_DRIVER_EXPORT int GetGenICamStatistics(const alidade::IFrameGrabberInterface* driver,
                                               alidade::T_GENICAM_STATISTICS* statistics)
{
    const auto* own = dynamic_cast<const alidade::CFrameGrabberGenICam*>(driver);
    if (own == nullptr || statistics == nullptr) {
        return 0;
    }
    *statistics = own->GetStatistics();
    return 1;
}

ALIDADE_DRIVER_EXPORT int SendGenICamTrigger(alidade::IFrameGrabberInterface* driver)
{
    auto* own = dynamic_cast<alidade::CFrameGrabberGenICam*>(driver);
    return own != nullptr ? own->SendSoftwareTrigger() : 0;
}
