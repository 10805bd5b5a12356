#include "acquisition/FrameGrabber.h"

#include "acquisition/DriverGuard.h"
#include "acquisition/InitVision.h"
#include "foundation/math/FrameAllocator.h"
#include "foundation/math/ImageCopy.h"
#include "foundation/platform/Ticks.h"

#include <mutex>

namespace alidade {
namespace {

/// Removes an event from the waiting queue when the wait is left by any route.
class CQueueEntry {
public:
    explicit CQueueEntry(CFrameGrabber& grabber) : m_grabber(grabber), m_event(new CEvent)
    {
        grabber.InsertWaitingQueue(m_event);
    }
    ~CQueueEntry() { Leave(); }
    CQueueEntry(const CQueueEntry&) = delete;
    CQueueEntry& operator=(const CQueueEntry&) = delete;

    bool Wait(DWORD ms) { return m_event->Wait(ms); }
    void Leave()
    {
        if (m_event) {
            m_grabber.DeleteWaitingQueue(m_event);
            m_event.Release();
        }
    }

private:
    CFrameGrabber& m_grabber;
    TRefPointer<CEvent, int, int> m_event;
};

constexpr DWORD kRateMark = 2000; // milliseconds from the start of the window to its mark, and from there on

} // namespace

CFrameGrabber::CFrameGrabber(IFrameGrabberInterface* driver)
    : m_pInterface(driver), m_dwLastFrame(GetTickCount() - GetGrabTimeout())
{
    if (driver != nullptr) {
        if (CSimpleLog* log = GetVisionLog()) {
            driver->SetLog(log);
        }
        driver->m_image.allocator = GetFrameAllocator();
    }
    static std::once_flag probed;
    std::call_once(probed, [] {
        EnableGPU(1);
        s_bGPUChecked = 1;
    });
}

CFrameGrabber::CFrameGrabber(const CFrameGrabber&)
    : CFrameGrabber(static_cast<IFrameGrabberInterface*>(nullptr))
{
}

CFrameGrabber& CFrameGrabber::operator=(const CFrameGrabber&)
{
    return *this;
}

CFrameGrabber::~CFrameGrabber()
{
    if (m_pInterface != nullptr) {
        GuardDriver([&] { return m_pInterface->StopCapture(); });
        GuardDriver([&] { return m_pInterface->CloseFrameGrabber(); });
        delete m_pInterface;
        m_pInterface = nullptr;
    }
}

int CFrameGrabber::InitFrameGrabber(const CProfileSection& settings, CString& message)
{
    if (m_pInterface == nullptr) {
        return 0;
    }
    m_settings = settings;
    m_pInterface->SetNewImageCallback(NewImageT, this);
    return GuardDriver([&] { return m_pInterface->InitFrameGrabber(settings, message); }, &message);
}

int CFrameGrabber::CloseFrameGrabber()
{
    return m_pInterface != nullptr ? GuardDriver([&] { return m_pInterface->CloseFrameGrabber(); }) : 0;
}

int CFrameGrabber::StartCapture()
{
    if (m_pInterface == nullptr) {
        return 0;
    }
    m_frameCount.dwStart = 0;
    m_frameCount.dwLast = 0;
    m_frameCount.dwMark = 0;
    m_frameCount.nFrames = 0;
    m_frameCount.nMarkFrames = 0;
    return GuardDriver([&] { return m_pInterface->StartCapture(); });
}

int CFrameGrabber::StopCapture()
{
    return m_pInterface != nullptr ? GuardDriver([&] { return m_pInterface->StopCapture(); }) : 0;
}

int CFrameGrabber::NewImageT(void* grabber)
{
    return grabber != nullptr ? static_cast<CFrameGrabber*>(grabber)->NewImage() : 0;
}

/// Counts the frame: the rate is measured over a window that slides in steps, 2 to 4 seconds long.
void CFrameGrabber::CountFrame(DWORD now)
{
    constexpr auto relaxed = std::memory_order_relaxed; // one writer; readers may see passing states
    T_FRAME_COUNT& count = m_frameCount;
    const DWORD previous = m_dwLastFrame.exchange(now, relaxed);
    if (now - previous >= GetGrabTimeout()) {
        count.dwStart.store(0, relaxed);
    }
    const DWORD start = count.dwStart.load(relaxed);
    if (start == 0) {
        // A mark from before the gap stays, and is subtracted some 2 seconds later; wanted.
        count.nFrames.store(0, relaxed);
        count.dwMark.store(now, relaxed);
        count.dwStart.store(now, relaxed);
        return;
    }
    const int frames = count.nFrames.load(relaxed) + 1;
    count.nFrames.store(frames, relaxed);
    count.dwLast.store(now, relaxed);
    count.dFrameRate.store(frames * 1000.0 / static_cast<double>(now - start), relaxed);
    if (count.nMarkFrames.load(relaxed) == 0 && now - start > kRateMark) {
        count.nMarkFrames.store(frames, relaxed);
        count.dwMark.store(now, relaxed);
    }
    const DWORD mark = count.dwMark.load(relaxed);
    if (mark != 0 && now - mark > kRateMark) {
        count.nFrames.store(frames - count.nMarkFrames.load(relaxed), relaxed);
        count.dwStart.store(mark, relaxed);
        count.nMarkFrames.store(0, relaxed);
    }
}

int CFrameGrabber::NewImage()
{
    if (m_pInterface == nullptr) {
        return 0;
    }
    CountFrame(GetTickCount());
    PreProcess();
    if (IsSerialGrab()) {
        RecordFrame();
    } else if (!IsLive()) {
        return 1;
    }
    NotifyNewImage();
    return 1;
}

void CFrameGrabber::NotifyNewImage()
{
    CS lock(m_waitingQueue.GetLock());
    for (const TRefPointer<CEvent, int, int>& event : m_waitingQueue) {
        event->SetEvent();
    }
    if (m_pInterface != nullptr && m_waitingQueue.Count() > 0) {
        m_pInterface->m_bClientsWoken.store(1, std::memory_order_relaxed);
    }
}

void CFrameGrabber::InsertWaitingQueue(TRefPointer<CEvent, int, int>& event)
{
    CS lock(m_waitingQueue.GetLock());
    int index = -1;
    if (event && m_waitingQueue.Find(event, index) < 0) {
        m_waitingQueue.Insert(event);
    }
}

void CFrameGrabber::DeleteWaitingQueue(TRefPointer<CEvent, int, int>& event)
{
    CS lock(m_waitingQueue.GetLock());
    int index = -1;
    if (event && m_waitingQueue.Find(event, index) >= 0) {
        m_waitingQueue.Delete(index);
    }
}

void CFrameGrabber::CopyCurrentImage(cv::Mat& image)
{
    CS lock(&m_pInterface->m_imageLock);
    CopyImage(m_pInterface->m_image, image);
}

DWORD CFrameGrabber::TimeSinceLastGrab() const
{
    return GetTickCount() - m_pInterface->m_dwLastGrab.load(std::memory_order_relaxed);
}

int CFrameGrabber::GetImage(cv::Mat& image, bool checkTimeout, DWORD waitMs)
{
    if (m_pInterface == nullptr) {
        return 0;
    }
    if (!IsLive()) {
        // The pixels of a static image never change once it is set, so only its header needs the lock.
        cv::Mat frozen;
        {
            CS lock(&m_staticLock);
            frozen = m_staticImage;
        }
        CopyImage(frozen, image);
        return 1;
    }
    const DWORD timeout = GetGrabTimeout();
    if (checkTimeout && timeout != 0 && timeout != INFINITE && TimeSinceLastGrab() > timeout) {
        bool arrived = false;
        if (waitMs != 0) {
            CQueueEntry entry(*this);
            arrived = entry.Wait(waitMs) || TimeSinceLastGrab() <= timeout;
        }
        if (!arrived) {
            image.release();
            return 0;
        }
    }
    CopyCurrentImage(image);
    return 1;
}

int CFrameGrabber::GetNewImage(cv::Mat& image, DWORD waitMs)
{
    if (waitMs == 0 || m_pInterface == nullptr) {
        return 0;
    }
    CQueueEntry entry(*this);
    if (!entry.Wait(waitMs) && TimeSinceLastGrab() > GetGrabTimeout()) {
        return 0;
    }
    entry.Leave();
    CopyCurrentImage(image);
    return 1;
}

int CFrameGrabber::IsFreezed() const
{
    return IsLive() && GetTickCount() - m_dwLastFrame.load(std::memory_order_relaxed) >= GetGrabTimeout();
}

/// Publishes a copy of an 8-bit image; an empty or deeper one changes nothing.
bool CFrameGrabber::ReplaceStaticImage(const cv::Mat& image)
{
    if (image.empty() || image.depth() != CV_8U) {
        return false;
    }
    cv::Mat copy; // a new block each time: somebody may be copying the old one
    CopyImage(image, copy);
    CS lock(&m_staticLock);
    m_staticImage = copy;
    return true;
}

int CFrameGrabber::SetLive(int live)
{
    if (m_pInterface == nullptr) {
        m_bLive = 0;
        return 0;
    }
    if (live != 0) {
        m_bLive = 1;
        return 1;
    }
    if (!IsLive()) {
        return 0;
    }
    CS lock(&m_pInterface->m_imageLock);
    if (ReplaceStaticImage(m_pInterface->m_image)) {
        m_bLive = 0;
        NotifyNewImage();
    }
    return IsLive();
}

int CFrameGrabber::SetStaticImage(cv::Mat& image)
{
    if (!ReplaceStaticImage(image)) {
        return 0;
    }
    m_bLive = 0;
    NotifyNewImage();
    return 1;
}

cv::Size CFrameGrabber::GetImageSize()
{
    if (m_pInterface == nullptr) {
        return {};
    }
    CS lock(&m_pInterface->m_imageLock);
    if (!m_pInterface->m_image.empty()) {
        return m_pInterface->m_image.size();
    }
    const cv::Size size = m_pInterface->m_imageSize;
    return m_nRotate != 0 ? cv::Size(size.height, size.width) : size;
}

int CFrameGrabber::GetImageType()
{
    if (m_pInterface == nullptr) {
        return 0;
    }
    CS lock(&m_pInterface->m_imageLock);
    return m_pInterface->m_image.empty() ? 0 : m_pInterface->m_image.type();
}

int CFrameGrabber::SetClipRect(const cv::Rect& rect, int enable)
{
    CS lock(&m_clipLock);
    m_clipRect = rect;
    m_bClip.store(enable, std::memory_order_relaxed);
    return 1;
}

void CFrameGrabber::GetClipRect(cv::Rect& rect, int& enable) const
{
    CS lock(&m_clipLock);
    rect = m_clipRect;
    enable = m_bClip.load(std::memory_order_relaxed);
}

// ---- Image lock

CFrameGrabberImageLock::CFrameGrabberImageLock(CFrameGrabber* grabber)
    : CFrameGrabberImageLock(grabber != nullptr ? grabber->GetFrameGrabberInterface() : nullptr)
{
}

CFrameGrabberImageLock::CFrameGrabberImageLock(IFrameGrabberInterface* driver) : m_pDriver(driver)
{
    if (m_pDriver != nullptr) {
        m_pDriver->m_imageLock.Lock();
    }
}

CFrameGrabberImageLock::~CFrameGrabberImageLock()
{
    if (m_pDriver != nullptr) {
        m_pDriver->m_imageLock.Unlock();
    }
}

cv::Mat& CFrameGrabberImageLock::GetImage()
{
    static cv::Mat empty;
    return m_pDriver != nullptr ? m_pDriver->m_image : empty;
}

} // namespace alidade
