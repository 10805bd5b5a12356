#include "FrameGrabberReplay.h"

#include "FramePacer.h"
#include "alidade/driver/Driver.h"
#include "foundation/math/FrameAllocator.h"
#include "foundation/math/ImageCopy.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Thread.h"
#include "foundation/utility/Strings.h"

namespace alidade {
namespace {

constexpr DWORD kEmptyPassPauseMs = 500; // before a source that gives nothing any more is tried again

} // namespace

CFrameGrabberReplay::~CFrameGrabberReplay()
{
    CFrameGrabberReplay::CloseFrameGrabber();
}

int CFrameGrabberReplay::InitFrameGrabber(const CProfileSection& settings, CString& message)
{
    CS lock(&m_openLock);
    CloseFrameGrabber();
    int ok = 0;
    try {
        ok = Open(settings, message);
    } catch (...) {
        message = L"Replay: " + GetCurrentErrorMessage();
    }
    if (!ok) {
        m_pPlayer.reset();
        WriteLog(kLogError, L"%s", message.c_str());
    }
    return ok;
}

int CFrameGrabberReplay::Open(const CProfileSection& settings, CString& message)
{
    if (!ReadReplaySettings(settings, m_settings, message)) {
        return 0;
    }
    auto source = OpenPictureSource(m_settings, message);
    if (!source) {
        return 0;
    }
    m_pPlayer = std::make_unique<CPicturePlayer>(std::move(source), *this);
    m_next.allocator = GetFrameAllocator();
    // The first picture tells size and type, and whether there is anything to play at all.
    IPictureSource::eNEXT next;
    do {
        next = m_pPlayer->Next(m_next);
    } while (next == IPictureSource::UNREADABLE);
    if (next == IPictureSource::END) {
        message = Format(L"Replay: nothing in %s can be read as a picture", m_settings.strSource.c_str());
        return 0;
    }
    m_bReady = true;
    m_bEnded = false;
    {
        CS imageLock(&m_imageLock); // somebody may ask for the size
        m_imageSize = m_pPlayer->GetSize();
    }
    m_thread = std::thread([this] { Run(); });
    m_bOpen = true;
    message = Format(L"Replay: %s", m_pPlayer->Describe().c_str());
    WriteLog(kLogNormal, L"%s, from %s", message.c_str(), m_settings.strSource.c_str());
    return 1;
}

int CFrameGrabberReplay::CloseFrameGrabber()
{
    CS lock(&m_openLock);
    m_bOpen = false;
    if (m_thread.joinable()) {
        m_evtStop.SetEvent();
        m_thread.join();
        m_evtStop.ResetEvent();
        m_pPlayer->ReportCounters(L"closed");
    }
    m_bCapture = false; // not before, or the thread might report that it was stopped
    m_pPlayer.reset();
    return 1;
}

int CFrameGrabberReplay::StartCapture()
{
    if (!m_bOpen) {
        return 0;
    }
    m_nStarts.fetch_add(1);
    m_bCapture = true;
    m_evtWake.SetEvent();
    return 1;
}

int CFrameGrabberReplay::StopCapture()
{
    m_bCapture = false;
    m_evtWake.SetEvent();
    // A frame that is under way ends before the lock is free, and the next one sees the flag.
    CS lock(&m_imageLock);
    return 1;
}

void CFrameGrabberReplay::Run()
{
    NameThisThread("FG.Replay");
    CFramePacer pacer(m_settings.dFrameRate);
    pacer.Restart(GetTickCount());
    DWORD played = 0; // the start that the latest frame belongs to
    while (!IsStopped()) {
        const DWORD starts = m_nStarts;
        if (m_bEnded && starts != played) {
            m_pPlayer->Rewind();
            m_bEnded = false;
        }
        if (!m_bCapture || m_bEnded) {
            m_pPlayer->ReportCounters(m_bEnded ? L"end of the source" : L"stopped");
            CEvent::WaitForAny({&m_evtStop, &m_evtWake}, INFINITE);
            pacer.Restart(GetTickCount());
            continue;
        }
        if (!m_bReady && !FetchNext()) {
            continue;
        }
        const DWORD now = GetTickCount();
        const DWORD remaining = pacer.Remaining(now);
        if (remaining > 0) {
            CEvent::WaitForAny({&m_evtStop, &m_evtWake}, CDeadline(now, remaining));
            continue;
        }
        if (Deliver()) {
            pacer.Advance(GetTickCount());
            played = starts;
        }
    }
}

/// One try to have the next picture ready.
bool CFrameGrabberReplay::FetchNext()
{
    IPictureSource::eNEXT next = IPictureSource::UNREADABLE;
    try {
        next = m_pPlayer->Next(m_next);
    } catch (const std::exception& exception) {
        // No memory for this picture; the following one may be smaller.
        ++m_pPlayer->m_counters.nUnreadable;
        WriteLog(kLogError, L"Replay: %s", GetErrorMessage(exception).c_str());
    }
    if (next == IPictureSource::END && m_settings.bLoop) {
        if (m_pPlayer->IsPassEmpty()) {
            m_evtStop.Wait(kEmptyPassPauseMs);
        }
        m_pPlayer->Rewind();
    } else if (next == IPictureSource::END) {
        m_bEnded = true;
    }
    m_bReady = next == IPictureSource::PICTURE;
    return m_bReady;
}

/// Delivers the picture that is ready; false when capture was stopped before it went out.
bool CFrameGrabberReplay::Deliver()
{
    try {
        CDriverFrame frame(*this);
        if (!m_bCapture) {
            frame.Cancel();
            return false;
        }
        m_bReady = false;
        try {
            CopyImage(m_next, frame.Image());
            ++m_pPlayer->m_counters.nDelivered;
        } catch (...) {
            frame.Cancel();
            throw;
        }
    } catch (...) {
        if (m_pPlayer->m_counters.nFailed++ == 0) {
            WriteLog(kLogError, L"Replay: a frame failed: %s", GetCurrentErrorMessage().c_str());
        }
    }
    return true;
}

} // namespace alidade

namespace {

void AppendReplayProperties(alidade::TList<alidade::CMFCPropertyGridProperty, int, int>& properties,
                            alidade::TList<alidade::CString, int, int>&)
{
    alidade::AppendProperties(alidade::GetReplaySettingTable(), properties);
}

} // namespace

ALIDADE_DRIVER_PLUGIN("Replay", alidade::CFrameGrabberReplay, AppendReplayProperties)
