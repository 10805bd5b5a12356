#include "FrameProbe.h"

#include <algorithm>
#include <memory>

namespace alidade {
namespace {

struct T_PROBES {
    std::mutex mutex;
    std::vector<CFrameProbe*> probes;
    CFrameProbe* pLatest = nullptr;
};

/// Never destroyed: see CFrameProbe.
T_PROBES& Probes()
{
    static auto* probes = new T_PROBES;
    return *probes;
}

/// Whether the lock is free for a thread that does not hold it.
bool IsFree(CCriticalSection& lock)
{
    bool free = false;
    std::thread other([&] {
        free = lock.TryLock();
        if (free) {
            lock.Unlock();
        }
    });
    other.join();
    return free;
}

} // namespace

CFrameProbe& CFrameProbe::Make()
{
    auto* probe = new CFrameProbe;
    const std::lock_guard lock(Probes().mutex);
    Probes().probes.push_back(probe);
    return *probe;
}

void CFrameProbe::Attach(IFrameGrabberInterface& driver)
{
    m_pDriver = &driver;
    {
        const std::lock_guard lock(Probes().mutex);
        Probes().pLatest = this;
    }
    driver.SetNewImageCallback(OnNewImageT, this);
}

int CFrameProbe::OnNewImageT(void* argument)
{
    CFrameProbe* probe = nullptr;
    bool known = false;
    {
        const std::lock_guard lock(Probes().mutex);
        const auto found = std::find(Probes().probes.begin(), Probes().probes.end(), argument);
        known = found != Probes().probes.end();
        probe = known ? *found : Probes().pLatest;
    }
    if (probe != nullptr) {
        probe->OnNewImage(known);
    }
    return 1;
}

void CFrameProbe::OnNewImage(bool rightArgument)
{
    if (m_nToRecord.load() > 0) {
        const std::lock_guard lock(m_mutex);
        if (m_nToRecord.load() > 0) {
            m_records.push_back(Look(rightArgument));
            m_nToRecord.fetch_sub(1);
        }
    }
    m_nFrames.fetch_add(1);
    m_evtFrame.SetEvent();
}

T_FRAME_RECORD CFrameProbe::Look(bool rightArgument)
{
    IFrameGrabberInterface& driver = *m_pDriver.load();
    const cv::Mat& image = driver.m_image;
    T_FRAME_RECORD record{};
    record.nNanoseconds = GetTickNanoseconds();
    // In this order: a tick taken between the two readings would seem to lie ahead.
    record.dwLastGrab = driver.m_dwLastGrab.load();
    record.dwNow = GetTickCount();
    record.thread = std::this_thread::get_id();
    record.bRightArgument = rightArgument;
    record.bLocked = !IsFree(driver.m_imageLock);
    record.nDims = image.dims;
    record.nType = image.type();
    if (!image.empty() && image.dims == 2) {
        record.size = image.size();
        const bool sameShape = !m_records.empty() && m_records.back().size == record.size &&
                               m_records.back().nType == record.nType;
        LookAtBuffer(image, sameShape);
    }
    return record;
}

void CFrameProbe::LookAtBuffer(const cv::Mat& image, bool sameShape)
{
    const auto isSame = [&](const cv::Mat& kept) { return kept.datastart == image.datastart; };
    if (std::any_of(m_kept.begin(), m_kept.end(), isSame)) {
        return;
    }
    if (sameShape) {
        m_nNewBuffers.fetch_add(1);
    }
    if (m_kept.size() <= kMostBuffers) {
        m_kept.push_back(image);
    }
}

bool CFrameProbe::WaitForCount(int count, DWORD ms)
{
    const CDeadline deadline(ms);
    while (GetCount() < count) {
        if (!m_evtFrame.Wait(deadline.Remaining()) && deadline.IsOver()) {
            return GetCount() >= count;
        }
    }
    return true;
}

void CFrameProbe::StartRecording(int most)
{
    const std::lock_guard lock(m_mutex);
    m_records.clear();
    m_kept.clear();
    m_nNewBuffers = 0;
    m_nToRecord = most;
}

std::vector<T_FRAME_RECORD> CFrameProbe::StopRecording()
{
    const std::lock_guard lock(m_mutex);
    m_nToRecord = 0;
    m_kept.clear();
    return std::move(m_records);
}

} // namespace alidade
