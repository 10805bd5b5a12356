#include "FrameGrabberScene.h"

#include "SceneTruthExport.h"
#include "foundation/math/FrameAllocator.h"
#include "foundation/math/ImageCopy.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Thread.h"
#include "foundation/utility/Strings.h"

#include <algorithm>
#include <cstring>

namespace alidade {
namespace {

constexpr DWORD kFailurePauseMs = 10; // before the next try

} // namespace

CFrameGrabberScene::~CFrameGrabberScene()
{
    CFrameGrabberScene::CloseFrameGrabber();
}

int CFrameGrabberScene::InitFrameGrabber(const CProfileSection& settings, CString& message)
{
    CS lock(&m_openLock);
    CloseFrameGrabber();
    int ok = 0;
    try {
        ok = Open(settings, message);
    } catch (...) {
        message = L"Scene: " + GetCurrentErrorMessage();
    }
    if (!ok) {
        CloseFrameGrabber();
        WriteLog(kLogError, L"%s", message.c_str());
    }
    return ok;
}

int CFrameGrabberScene::Open(const CProfileSection& settings, CString& message)
{
    if (!ReadSceneSettings(settings, m_settings, message)) {
        return 0;
    }
    m_pWorkPiece = MakeWorkPiece(m_settings, message);
    if (!m_pWorkPiece) {
        return 0;
    }
    auto truth =
        std::make_shared<const CSceneTruth>(m_settings, m_pWorkPiece->GetMarks(), m_pWorkPiece->Describe());
    if (!m_settings.strTruthFile.empty()) {
        CString reason;
        if (!ReplaceFileWith(ToPath(m_settings.strTruthFile), truth->MakeText(), &reason)) {
            message = Format(L"Scene: the truth file %s cannot be written: %s",
                             m_settings.strTruthFile.c_str(), reason.c_str());
            return 0;
        }
    }
    m_pRenderer = std::make_unique<CSceneRenderer>(*truth, *m_pWorkPiece);
    m_pMachine = std::make_unique<CMachineReader>(m_settings.strMachine, *this);
    m_next.allocator = GetFrameAllocator();
    m_state = m_settings.fixed;
    m_clock = CExposureClock(m_settings.dFrameRate);
    m_pending.clear();
    m_bReady = false;
    m_nFrame = 0;
    m_counters = {};
    m_nSincePlugged = 0;
    m_bFirstStart = true;
    m_bUnplugAtDone = false;
    m_nBegun = m_nStarts;
    {
        CS imageLock(&m_imageLock); // somebody may ask for the size
        m_imageSize = m_settings.GetFrameSize();
    }
    {
        CS truthLock(&m_truthLock);
        m_pTruth = std::move(truth);
        m_delivered.clear();
    }
    m_thread = std::thread([this] { Run(); });
    m_bOpen = true;
    message = Format(L"Scene: %d x %d, %s", m_settings.nWidth, m_settings.nHeight,
                     m_pWorkPiece->Describe().c_str());
    WriteLog(kLogNormal, L"%s", message.c_str());
    return 1;
}

int CFrameGrabberScene::CloseFrameGrabber()
{
    CS lock(&m_openLock);
    m_bOpen = false;
    m_bCapture = false;
    if (m_thread.joinable()) {
        m_evtStop.SetEvent();
        m_thread.join();
        m_evtStop.ResetEvent();
        WriteLog(kLogNormal, L"Scene: closed; %llu delivered, %llu dropped, %llu too late, %llu failed",
                 m_counters.nDelivered, m_counters.nDropped, m_counters.nLate, m_counters.nFailed);
    }
    m_pRenderer.reset();
    m_pMachine.reset();
    m_pWorkPiece.reset();
    CS truthLock(&m_truthLock);
    m_pTruth.reset();
    m_delivered.clear();
    return 1;
}

int CFrameGrabberScene::StartCapture()
{
    if (!m_bOpen) {
        return 0;
    }
    m_nStarts.fetch_add(1); // first, so that nothing exposed before a stop is delivered after it
    m_bCapture = true;
    m_evtWake.SetEvent();
    return 1;
}

int CFrameGrabberScene::StopCapture()
{
    m_bCapture = false;
    m_evtWake.SetEvent();
    // A frame that is under way ends before the lock is free, and the next one sees the flag.
    CS lock(&m_imageLock);
    return 1;
}

std::shared_ptr<const CSceneTruth> CFrameGrabberScene::GetTruth() const
{
    CS lock(&m_truthLock);
    return m_pTruth;
}

int CFrameGrabberScene::FindExposure(DWORD delivered, T_SCENE_EXPOSURE& exposure) const
{
    CS lock(&m_truthLock);
    const auto found = std::find_if(m_delivered.rbegin(), m_delivered.rend(),
                                    [&](const auto& entry) { return entry.dwDelivery == delivered; });
    if (found == m_delivered.rend()) {
        return 0;
    }
    exposure = *found;
    return 1;
}

void CFrameGrabberScene::Run()
{
    NameThisThread("FG.Scene");
    while (!IsStopped()) {
        const DWORD now = GetTickCount();
        DWORD wait = 0;
        try {
            wait = Step(now);
        } catch (...) {
            wait = kFailurePauseMs; // this frame is lost; the camera goes on
            if (m_counters.nFailed++ == 0) {
                WriteLog(kLogError, L"Scene: a frame failed: %s", GetCurrentErrorMessage().c_str());
            }
        }
        if (wait > 0) {
            CEvent::WaitForAny({&m_evtStop, &m_evtWake}, CDeadline(now, wait));
        }
    }
}

DWORD CFrameGrabberScene::Step(DWORD now)
{
    if (!m_pRenderer) {
        const DWORD away = now - m_dwUnplugged;
        if (away < static_cast<DWORD>(m_settings.nUnplugFor)) {
            return static_cast<DWORD>(m_settings.nUnplugFor) - away;
        }
        // A camera that comes back has forgotten its settings.
        m_pRenderer = std::make_unique<CSceneRenderer>(*m_pTruth, *m_pWorkPiece);
        m_nBegun = m_nStarts - 1;
        m_nSincePlugged = 0;
        WriteLog(kLogNormal, L"Scene: the camera is back, and its settings are applied");
    }
    const DWORD starts = m_nStarts;
    if (!m_bCapture || starts != m_nBegun) {
        m_pending.clear();
        m_bReady = false;
    }
    if (!m_bCapture) {
        return INFINITE;
    }
    if (starts != m_nBegun) {
        m_nBegun = starts;
        Begin(now);
    }
    if (IsUnplugDue(now)) {
        Unplug(now);
        return 0;
    }
    if (m_clock.Remaining(now) == 0) {
        m_clock.Advance(now);
        Expose(now);
        return 0;
    }
    DWORD wait = m_clock.Remaining(now);
    if (m_settings.nUnplugAt > 0 && !m_bUnplugAtDone) {
        wait = std::min(wait, static_cast<DWORD>(m_settings.nUnplugAt) - (now - m_dwFirstStart));
    }
    if (m_pending.empty()) {
        return wait;
    }
    if (!m_bReady) {
        Render();
        return 0;
    }
    const DWORD age = now - m_pending.front().dwExposure;
    if (age < static_cast<DWORD>(m_settings.nDelay)) {
        return std::min(wait, static_cast<DWORD>(m_settings.nDelay) - age);
    }
    Deliver();
    return 0;
}

void CFrameGrabberScene::Begin(DWORD now)
{
    m_clock.Start(now);
    if (m_bFirstStart) {
        m_bFirstStart = false;
        m_dwFirstStart = now;
    }
}

bool CFrameGrabberScene::IsUnplugDue(DWORD now)
{
    if (m_settings.nUnplugAfter > 0 && m_nSincePlugged >= m_settings.nUnplugAfter && m_pending.empty()) {
        return true;
    }
    if (m_settings.nUnplugAt > 0 && !m_bUnplugAtDone &&
        IsTimedout(m_dwFirstStart, static_cast<DWORD>(m_settings.nUnplugAt), now)) {
        m_bUnplugAtDone = true;
        return true;
    }
    return false;
}

void CFrameGrabberScene::Unplug(DWORD now)
{
    m_pRenderer.reset();
    m_pending.clear();
    m_bReady = false;
    m_dwUnplugged = now;
    WriteLog(kLogError, L"Scene: the camera was unplugged");
}

void CFrameGrabberScene::Expose(DWORD now)
{
    const bool isLast = m_settings.nUnplugAfter > 0 && m_nSincePlugged >= m_settings.nUnplugAfter;
    if (isLast) {
        return; // those on their way still come, then it is unplugged
    }
    m_pMachine->Read(m_state);
    m_nSincePlugged += m_settings.nUnplugAfter > 0 ? 1 : 0;
    const std::uint64_t frame = m_nFrame++;
    if (m_pTruth->IsLost(frame)) {
        ++m_counters.nDropped;
    } else {
        m_pending.push_back({frame, now, 0, ApplySwitches(m_settings, m_state)});
    }
}

void CFrameGrabberScene::Render()
{
    // A client that holds the image lock, or a machine too slow for the rate, must not make every frame late.
    const DWORD now = GetTickCount();
    while (m_pending.size() > 1 && now - m_pending[1].dwExposure > static_cast<DWORD>(m_settings.nDelay)) {
        m_pending.pop_front();
        ++m_counters.nLate;
    }
    try {
        m_pRenderer->Render(m_pending.front().state, m_pending.front().nFrame, m_next);
        m_bReady = true;
    } catch (...) {
        m_pending.pop_front();
        throw;
    }
}

void CFrameGrabberScene::Deliver()
{
    CDriverFrame frame(*this);
    if (!m_bCapture || m_nStarts != m_nBegun) {
        frame.Cancel();
        return;
    }
    T_SCENE_EXPOSURE exposure = m_pending.front();
    exposure.dwDelivery = m_dwLastGrab;
    m_pending.pop_front();
    m_bReady = false;
    try {
        CopyImage(m_next, frame.Image());
    } catch (...) {
        frame.Cancel();
        throw;
    }
    ++m_counters.nDelivered;
    // Before the callback, so that a client that has the frame finds its truth.
    CS lock(&m_truthLock);
    m_delivered.push_back(exposure);
    if (m_delivered.size() > kRemembered) {
        m_delivered.pop_front();
    }
}

} // namespace alidade

namespace {

void AppendSceneProperties(alidade::TList<alidade::CMFCPropertyGridProperty, int, int>& properties,
                           alidade::TList<alidade::CString, int, int>&)
{
    alidade::AppendProperties(alidade::GetSceneSettingTable(), properties);
}

} // namespace

ALIDADE_DRIVER_PLUGIN("Scene", alidade::CFrameGrabberScene, AppendSceneProperties)

ALIDADE_DRIVER_EXPORT int GetSceneTruth(const alidade::IFrameGrabberInterface* driver, alidade::DWORD tick,
                                        char* text, int size)
{
    try {
        const auto* own = dynamic_cast<const alidade::CFrameGrabberScene*>(driver);
        const auto truth = own != nullptr ? own->GetTruth() : nullptr;
        alidade::T_SCENE_EXPOSURE exposure;
        if (!truth || (tick != 0 && !own->FindExposure(tick, exposure))) {
            return 0;
        }
        const alidade::CStringA json = tick != 0 ? truth->MakeText(exposure) : truth->MakeText();
        const int needed = static_cast<int>(json.size()) + 1;
        if (text != nullptr && size > 0) {
            text[0] = '\0';
            if (needed <= size) {
                std::memcpy(text, json.c_str(), json.size() + 1);
            }
        }
        return needed;
    } catch (...) {
        return 0;
    }
}
