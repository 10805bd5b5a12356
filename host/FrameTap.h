#pragma once

#include "acquisition/FrameGrabber.h"
#include "host/IntervalStatistics.h"

namespace alidade {

/// What a tap has seen.
struct T_TAP_COUNTERS {
    std::uint64_t nDelivered = 0; // frames of the driver
    std::uint64_t nRecorded = 0;  // of these, recorded
    std::uint64_t nDropped = 0;   // of these, lost because all buffers were in use
    double dFirstFrame = -1;      // milliseconds from Start to the first frame; -1: none came
    double dSeconds = 0;          // from the first frame to the last
    CIntervalStatistics intervals;
    cv::Size sourceSize; // of the first frame, before it is pre-processed

    /// Frames per second that the driver delivered; 0 with fewer than two.
    double GetFrameRate() const { return dSeconds > 0 ? static_cast<double>(nDelivered - 1) / dSeconds : 0; }
};

/// Records every frame of a grabber into a fixed number of buffers and counts what did not fit.
///
/// The recording is the grabber's own serial grab. The tap stands in front of the grabber's new-frame
/// callback to count, since neither a serial grab nor a waiting client is told of frames that it missed. The
/// driver's thread never waits for the reader. Make it before capture starts; close the driver before it
/// goes.
class CFrameTap {
public:
    /// @param buffers  frames that may wait for the reader
    /// @param most     frames to record; 0: no limit
    CFrameTap(CFrameGrabber& grabber, int buffers, std::uint64_t most);
    ~CFrameTap();
    CFrameTap(const CFrameTap&) = delete;
    CFrameTap& operator=(const CFrameTap&) = delete;

    /// Starts recording and capture. 0 when the driver does not start.
    int Start();
    /// Nothing is recorded or counted from now on; what was recorded can still be taken.
    void Stop();

    /// The oldest frame recorded; false when there is none. Give it back when done.
    bool Take(TRefPointer<CFrameGrabber::T_IMAGE_BUFFER, int, int>& buffer);
    void GiveBack(TRefPointer<CFrameGrabber::T_IMAGE_BUFFER, int, int>& buffer);

    /// True when no further frame will be recorded.
    bool IsStopped() const;
    /// Auto-reset; set for each frame recorded, and at the end.
    CEvent& GetEvent() { return m_event; }
    /// Milliseconds since the latest frame, or since Start.
    DWORD GetSilence() const;
    T_TAP_COUNTERS GetCounters() const;

private:
    int OnFrame();
    void CountFrame(std::int64_t now, cv::Size size);

    CFrameGrabber& m_grabber;
    IFrameGrabberInterface& m_driver;
    IFrameGrabberInterface::NewImageCallback m_pfnNext;
    void* m_pNextArg;
    const int m_nBuffers;
    const std::uint64_t m_nMost;
    CEvent m_event;
    std::int64_t m_nStart = 0; // nanoseconds

    // Behind the image lock in order, so that a stalled driver cannot hold up the reader.
    mutable CCriticalSection m_lock;
    T_TAP_COUNTERS m_counters;
    int m_nFree = 0; // buffers that the serial grab can still fill
    bool m_bRunning = false;
    std::int64_t m_nFirst = 0; // nanoseconds
    std::int64_t m_nLast = 0;
    DWORD m_dwLast = 0;
};

/// How many buffers for frames of a size: as many as fit half a gigabyte, within limits.
int ChooseBufferCount(cv::Size size, std::uint64_t frames);

} // namespace alidade
