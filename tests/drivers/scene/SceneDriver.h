#pragma once

#include "SceneHarness.h"
#include "alidade/driver/Driver.h"
#include "drivers/scene/SceneTruthExport.h"
#include "foundation/platform/Module.h"
#include "tests/support/LogLines.h"
#include "tests/support/WaitUntil.h"

#include <functional>
#include <nlohmann/json.hpp>

namespace alidade {

/// A log that also calls back, on the thread that writes the line.
class CSceneLog : public CLogLines {
public:
    std::function<void(const CStringA&)> m_onLine;

protected:
    int Write(DWORD level, const CStringA& text) override
    {
        CLogLines::Write(level, text);
        if (m_onLine) {
            m_onLine(text);
        }
        return 1;
    }
};

/// The plug-in's driver as a client sees it, with the frames that it delivered.
///
/// On the manual clock, move the clock from the camera's own thread (m_onFrame, m_log.m_onLine; set before
/// StartCapture): moved from another, it may go on just before the camera begins to wait, and the camera then
/// waits for a tick that never comes.
class CSceneUnderTest {
public:
    explicit CSceneUnderTest(SettingList list) : CSceneUnderTest(SceneSection(list)) {}
    explicit CSceneUnderTest(const CProfileSection& section)
        : m_driver(GetModuleFunction<GetFrameGrabberFunction>(Module(), "GetFrameGrabber")())
    {
        m_driver->SetLog(&m_log);
        m_driver->SetNewImageCallback(
            [](void* self) { return static_cast<CSceneUnderTest*>(self)->OnFrame(); }, this);
        m_isOpen = m_driver->InitFrameGrabber(section, m_message) != 0;
    }
    ~CSceneUnderTest() { m_driver->CloseFrameGrabber(); }

    static HMODULE Module()
    {
        static const HMODULE module = LoadModule(ALIDADE_SCENE_PLUGIN);
        return module;
    }

    /// The truth of a moment as the export gives it; null for an unknown one.
    nlohmann::json Truth(DWORD tick) const
    {
        const auto get = GetModuleFunction<GetSceneTruthFunction>(Module(), "GetSceneTruth");
        std::string text(static_cast<std::size_t>(get(m_driver.get(), tick, nullptr, 0)), '\0');
        get(m_driver.get(), tick, text.data(), static_cast<int>(text.size()));
        return text.empty() ? nlohmann::json() : nlohmann::json::parse(text.c_str());
    }

    /// Polls until `count` frames have come.
    bool WaitFor(std::size_t count) const
    {
        return WaitUntil([&] { return Ticks().size() >= count; });
    }
    /// The same, and the clock goes on by 1 ms whenever no frame has come for long enough in real time.
    bool WaitFor(std::size_t count, CManualTicks& ticks) const
    {
        constexpr std::int64_t kPatience = 2'000'000; // ns
        std::int64_t moved = GetTickNanoseconds();
        return WaitUntil([&] {
            if (GetTickNanoseconds() - moved > kPatience) {
                ticks.Advance(1);
                moved = GetTickNanoseconds();
            }
            return Ticks().size() >= count;
        });
    }
    std::vector<DWORD> Ticks() const
    {
        CS lock(&m_lock);
        return m_ticks;
    }
    cv::Mat LastFrame() const
    {
        CS lock(&m_lock);
        return m_last.clone();
    }

    CSceneLog m_log;
    std::function<void(std::size_t count, DWORD tick)> m_onFrame; // on the camera's thread
    std::unique_ptr<IFrameGrabberInterface> m_driver;
    CString m_message;
    bool m_isOpen = false;

private:
    int OnFrame()
    {
        const DWORD tick = m_driver->m_dwLastGrab;
        std::size_t count = 0;
        {
            CS lock(&m_lock);
            m_ticks.push_back(tick);
            m_driver->m_image.copyTo(m_last);
            count = m_ticks.size();
        }
        if (m_onFrame) {
            m_onFrame(count, tick);
        }
        return 1;
    }

    mutable CCriticalSection m_lock;
    std::vector<DWORD> m_ticks;
    cv::Mat m_last;
};

} // namespace alidade
