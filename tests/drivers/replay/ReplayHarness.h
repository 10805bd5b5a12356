#pragma once

#include "alidade/driver/Driver.h"
#include "foundation/platform/Event.h"
#include "foundation/platform/Module.h"
#include "foundation/platform/Text.h"
#include "tests/support/LogLines.h"
#include "tests/support/TempFolder.h"

#include <functional>
#include <memory>
#include <opencv2/imgcodecs.hpp>
#include <vector>

namespace alidade {

/// The plug-in's file, loaded once and reached through its exports only.
inline HMODULE ReplayModule()
{
    static const HMODULE module = LoadModule(ALIDADE_REPLAY_PLUGIN);
    return module;
}

inline std::unique_ptr<IFrameGrabberInterface> MakeReplay()
{
    const auto make = GetModuleFunction<GetFrameGrabberFunction>(ReplayModule(), "GetFrameGrabber");
    return std::unique_ptr<IFrameGrabberInterface>(make != nullptr ? make() : nullptr);
}

/// Settings for a source, without a pause between frames.
inline CProfileSection ReplaySettings(const std::filesystem::path& source, bool loop = false)
{
    CProfileSection settings;
    settings.SetItemValue(L"Replay.Source", FromPath(source).c_str());
    settings.SetItemValue(L"Replay.FrameRate", 0);
    settings.SetItemValueBoolean(L"Replay.Loop", loop);
    return settings;
}

/// A picture that carries its number in every pixel (and the two numbers above it in green and red).
inline cv::Mat NumberedPicture(int number, int type = CV_8UC1, cv::Size size = {32, 24})
{
    const double unit = CV_MAT_DEPTH(type) == CV_16U ? 256 : 1;
    return cv::Mat(size, type, cv::Scalar(number * unit, (number + 1) * unit, (number + 2) * unit, 7 * unit));
}

inline void WritePicture(const std::filesystem::path& path, const cv::Mat& picture)
{
    ASSERT_TRUE(cv::imwrite(path.string(), picture)) << path;
}

/// What a client sees of a driver: the number in the first pixel of every frame.
class CFrameCollector {
public:
    explicit CFrameCollector(IFrameGrabberInterface& driver) : m_driver(driver)
    {
        driver.SetNewImageCallback(
            [](void* collector) { return static_cast<CFrameCollector*>(collector)->OnFrame(); }, this);
    }

    /// Waits until at least `count` frames have come.
    bool WaitFor(std::size_t count)
    {
        const CDeadline deadline(20000);
        while (Count() < count) {
            if (!m_event.Wait(deadline.Remaining()) && deadline.IsOver()) {
                return false;
            }
        }
        return true;
    }
    std::size_t Count() const
    {
        CS lock(&m_lock);
        return m_numbers.size();
    }
    /// The numbers of the frames so far.
    std::vector<int> Numbers() const
    {
        CS lock(&m_lock);
        return m_numbers;
    }
    cv::Mat LastFrame() const
    {
        CS lock(&m_lock);
        return m_last.clone();
    }
    std::vector<DWORD> Ticks() const
    {
        CS lock(&m_lock);
        return m_ticks;
    }
    /// From now on a frame is one too many.
    void ForbidFrames(bool forbid = true) { m_forbidden = forbid; }
    int CountForbidden() const { return m_nForbidden; }

    /// Called on the driver's thread for every frame, before it is counted; set it before capture starts.
    std::function<void(int index)> m_onFrame;

private:
    int OnFrame()
    {
        if (m_forbidden) {
            ++m_nForbidden;
        }
        if (m_onFrame) {
            m_onFrame(static_cast<int>(Count()));
        }
        CS lock(&m_lock);
        const cv::Mat& image = m_driver.m_image;
        m_numbers.push_back(image.depth() == CV_16U ? image.ptr<std::uint16_t>()[0] / 256 : image.ptr()[0]);
        m_ticks.push_back(m_driver.m_dwLastGrab);
        image.copyTo(m_last);
        m_event.SetEvent();
        return 1;
    }

    IFrameGrabberInterface& m_driver;
    mutable CCriticalSection m_lock;
    CEvent m_event;
    std::vector<int> m_numbers;
    std::vector<DWORD> m_ticks;
    cv::Mat m_last;
    std::atomic<bool> m_forbidden{false};
    std::atomic<int> m_nForbidden{0};
};

} // namespace alidade
