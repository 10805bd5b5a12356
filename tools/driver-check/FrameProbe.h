#pragma once

#include "alidade/driver/FrameGrabberInterface.h"
#include "foundation/platform/Event.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace alidade {

/// What the new-image callback saw of one frame.
struct T_FRAME_RECORD {
    std::int64_t nNanoseconds; // steady clock, at the callback
    DWORD dwNow;               // tick at the callback
    DWORD dwLastGrab;          // the driver's tick of the frame
    std::thread::id thread;
    bool bRightArgument;
    bool bLocked; // another thread found the image lock taken
    cv::Size size;
    int nDims;
    int nType;
};

/// The new-image callback that stands in for the system: counts the frames of one driver and, while it
/// records, looks at each closely. Thread-safe.
///
/// A probe lives as long as the process: a driver that calls back too late, or with a wrong argument, meets
/// an object that is still there.
class CFrameProbe {
public:
    static CFrameProbe& Make();

    /// Makes this the callback of `driver`. A call with an argument that belongs to no probe counts for the
    /// probe attached last.
    void Attach(IFrameGrabberInterface& driver);

    int GetCount() const { return m_nFrames.load(); }
    /// Waits until `count` frames have come in all.
    bool WaitForCount(int count, DWORD ms);
    /// Waits for up to `ms` for a frame beyond `count`.
    bool WaitForMore(int count, DWORD ms) { return WaitForCount(count + 1, ms); }

    /// Records the next frames, at most `most`.
    void StartRecording(int most);
    /// Ends recording and lets go of the images that were held.
    std::vector<T_FRAME_RECORD> StopRecording();
    /// Image buffers, beyond the first, that came up while size and type stayed the same. Buffers that come
    /// back count once.
    int GetNewBuffers() const { return m_nNewBuffers.load(); }

    /// From this many new buffers on the count is not exact.
    static constexpr int kMostBuffers = 16;

private:
    CFrameProbe() = default;
    static int OnNewImageT(void* argument);
    void OnNewImage(bool rightArgument);
    T_FRAME_RECORD Look(bool rightArgument);
    void LookAtBuffer(const cv::Mat& image, bool sameShape);

    std::atomic<IFrameGrabberInterface*> m_pDriver{nullptr};
    std::atomic<int> m_nFrames{0};
    std::atomic<int> m_nNewBuffers{0};
    std::atomic<int> m_nToRecord{0};
    CEvent m_evtFrame;
    std::mutex m_mutex; // guards what follows
    std::vector<T_FRAME_RECORD> m_records;
    std::vector<cv::Mat> m_kept; // one header per buffer seen: memory in use cannot come back as new memory
};

} // namespace alidade
