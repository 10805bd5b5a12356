#pragma once

#include "GenICamStatistics.h"
#include "alidade/driver/Driver.h"
#include "foundation/config/SimpleLog.h"
#include "tests/support/WaitUntil.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace alidade {

/// Keeps the lines written to it.
class CLineLog : public CSimpleLog {
public:
    int Count(const std::string& part) const;
    std::string All() const;

protected:
    int Write(DWORD level, const CStringA& text) override;

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

/// A driver made by the plug-in's exports, with a callback that counts frames.
class CDriverUnderTest {
public:
    using Settings = std::map<std::wstring, std::wstring>;

    CDriverUnderTest();
    ~CDriverUnderTest();

    static void* Symbol(const char* name);

    IFrameGrabberInterface& operator*() { return *m_driver; }
    IFrameGrabberInterface* operator->() { return m_driver.get(); }
    void Destroy() { m_driver.reset(); }

    int Init(const Settings& settings);
    /// Text of the last Init, UTF-8.
    const std::string& Message() const { return m_message; }

    /// Called for each frame on the driver's thread, under the image lock.
    void OnFrame(std::function<void(const cv::Mat&)> handler);
    unsigned Frames() const;
    /// True as soon as this many frames have come since the driver was made; false after 60 seconds.
    bool WaitForFrames(unsigned count);
    /// True as soon as this many more have come.
    bool WaitForMoreFrames(unsigned count) { return WaitForFrames(Frames() + count); }

    T_GENICAM_STATISTICS Statistics() const;
    CLineLog& Log() { return m_log; }

private:
    static int NewImage(void* self);

    CLineLog m_log;
    std::unique_ptr<IFrameGrabberInterface> m_driver;
    IFrameGrabberInterface* const m_pFrameSource; // for the callback: m_driver is null while it is destroyed
    std::string m_message;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::function<void(const cv::Mat&)> m_handler;
    unsigned m_nFrames = 0;
};

/// True when all pixels are of one frame of the simulated camera: a diagonal ramp that moves by one from
/// frame to frame.
bool IsOneRamp(const cv::Mat& image);

} // namespace alidade
