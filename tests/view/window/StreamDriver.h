#pragma once

#include "foundation/platform/Thread.h"
#include "tests/support/FrameGrabberTestAccess.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace alidade {

/// A driver that delivers prepared frames in turn on a thread of its own, at an even rate or without pause.
class CStreamDriver : public CHandDriver {
public:
    /// @param period  0: as fast as they are taken
    CStreamDriver(std::vector<cv::Mat> frames, std::chrono::nanoseconds period)
        : CHandDriver(frames.front().size()), m_frames(std::move(frames)), m_period(period)
    {
    }
    ~CStreamDriver() override { Stop(); }

    int StartCapture() override
    {
        CHandDriver::StartCapture();
        if (!m_thread.joinable()) {
            m_stop = false;
            m_thread = std::thread([this] { Run(); });
        }
        return 1;
    }
    int StopCapture() override
    {
        CHandDriver::StopCapture();
        Stop();
        return 1;
    }
    int CloseFrameGrabber() override
    {
        Stop();
        return CHandDriver::CloseFrameGrabber();
    }

    /// The cable is out: nothing is delivered, and nobody is told. Thread-safe.
    void SetUnplugged(bool unplugged) { m_unplugged = unplugged; }
    /// Thread-safe.
    std::uint64_t CountDelivered() const { return m_delivered; }

    /// Called on the driver's thread before frame `index` is delivered; set before StartCapture.
    std::function<void(std::size_t index)> m_onFrame;

private:
    void Stop()
    {
        {
            std::lock_guard lock(m_lock);
            m_stop = true;
        }
        m_wake.notify_all();
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    void Run()
    {
        NameThisThread("test camera");
        auto due = std::chrono::steady_clock::now();
        for (std::size_t index = 0;; index = (index + 1) % m_frames.size(), due += m_period) {
            {
                std::unique_lock lock(m_lock);
                if (m_wake.wait_until(lock, due, [this] { return m_stop; })) {
                    return;
                }
            }
            if (!m_unplugged) {
                if (m_onFrame) {
                    m_onFrame(index);
                }
                Deliver(m_frames[index]);
                ++m_delivered;
            }
        }
    }

    const std::vector<cv::Mat> m_frames;
    const std::chrono::nanoseconds m_period;
    std::atomic<bool> m_unplugged{false};
    std::atomic<std::uint64_t> m_delivered{0};
    std::mutex m_lock; // guards m_stop
    std::condition_variable m_wake;
    bool m_stop = false;
    std::thread m_thread;
};

} // namespace alidade
