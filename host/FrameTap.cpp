#include "host/FrameTap.h"

#include <algorithm>

namespace alidade {
namespace {

constexpr double kBufferBytes = 512.0 * 1024 * 1024;
constexpr int kLeastBuffers = 4;
constexpr int kMostBuffers = 64;
constexpr int kBuffersOfUnknownSize = 8;
constexpr int kBytesPerPixel = 3; // the type is known with the first frame only

} // namespace

int ChooseBufferCount(cv::Size size, std::uint64_t frames)
{
    int count = kBuffersOfUnknownSize;
    if (!size.empty()) {
        const double fitting =
            kBufferBytes / (static_cast<double>(size.width) * size.height * kBytesPerPixel);
        count = static_cast<int>(std::clamp<double>(fitting, kLeastBuffers, kMostBuffers));
    }
    return frames == 0 ? count
                       : static_cast<int>(std::min<std::uint64_t>(frames, static_cast<std::uint64_t>(count)));
}

CFrameTap::CFrameTap(CFrameGrabber& grabber, int buffers, std::uint64_t most)
    : m_grabber(grabber), m_driver(*grabber.GetFrameGrabberInterface()), m_pfnNext(m_driver.m_pfnNewImage),
      m_pNextArg(m_driver.m_pNewImageArg), m_nBuffers(buffers), m_nMost(most)
{
    m_driver.SetNewImageCallback([](void* tap) { return static_cast<CFrameTap*>(tap)->OnFrame(); }, this);
}

CFrameTap::~CFrameTap()
{
    m_driver.SetNewImageCallback(m_pfnNext, m_pNextArg);
}

int CFrameTap::Start()
{
    m_grabber.StartSerialGrab(m_nBuffers);
    {
        CS lock(&m_lock);
        m_nFree = m_nBuffers;
        m_bRunning = true;
        m_nStart = GetTickNanoseconds();
        m_dwLast = GetTickCount();
    }
    return m_grabber.StartCapture();
}

void CFrameTap::Stop()
{
    CS lock(&m_lock);
    m_grabber.StopSerialGrab();
    m_bRunning = false;
}

/// On the driver's thread, under the image lock.
int CFrameTap::OnFrame()
{
    const std::int64_t now = GetTickNanoseconds();
    const cv::Size size = m_driver.m_image.size();
    // Held across the grabber's own work: a buffer given back meanwhile would make the count of free ones
    // differ from what the grabber finds.
    CS lock(&m_lock);
    const bool hasRoom = m_nFree > 0;
    const int result = m_pfnNext(m_pNextArg);
    if (!m_bRunning) {
        return result;
    }
    CountFrame(now, size);
    if (!hasRoom) {
        ++m_counters.nDropped;
        return result;
    }
    --m_nFree;
    if (++m_counters.nRecorded == m_nMost) {
        Stop();
    }
    m_event.SetEvent();
    return result;
}

void CFrameTap::CountFrame(std::int64_t now, cv::Size size)
{
    if (m_counters.nDelivered++ == 0) {
        m_nFirst = now;
        m_counters.dFirstFrame = static_cast<double>(now - m_nStart) / 1e6;
        m_counters.sourceSize = size;
    } else {
        m_counters.intervals.Add(now - m_nLast);
    }
    m_nLast = now;
    m_dwLast = GetTickCount();
    m_counters.dSeconds = static_cast<double>(now - m_nFirst) / 1e9;
}

bool CFrameTap::Take(TRefPointer<CFrameGrabber::T_IMAGE_BUFFER, int, int>& buffer)
{
    m_grabber.PopImageBuffer(buffer);
    return buffer.IsValid();
}

void CFrameTap::GiveBack(TRefPointer<CFrameGrabber::T_IMAGE_BUFFER, int, int>& buffer)
{
    CS lock(&m_lock);
    m_grabber.ReturnImageBuffer(buffer);
    ++m_nFree;
}

bool CFrameTap::IsStopped() const
{
    CS lock(&m_lock);
    return !m_bRunning;
}

DWORD CFrameTap::GetSilence() const
{
    CS lock(&m_lock);
    return GetTickCount() - m_dwLast;
}

T_TAP_COUNTERS CFrameTap::GetCounters() const
{
    CS lock(&m_lock);
    return m_counters;
}

} // namespace alidade
