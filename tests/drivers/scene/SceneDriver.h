#pragma once

#include "SceneHarness.h"
#include "alidade/driver/Driver.h"
#include "drivers/scene/SceneTruthExport.h"
#include "foundation/platform/Module.h"
#include "tests/support/LogLines.h"
#include "tests/support/WaitUntil.h"

#include <nlohmann/json.hpp>

namespace alidade {

/// The plug-in's driver as a client sees it, with the frames that it delivered.
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
    std::vector<DWORD> Ticks() const
    {
        CS lock(&m_lock);
        return m_ticks;
    }
    /// The numbers of the exposures that were delivered.
    std::vector<int> Frames() const
    {
        std::vector<int> frames;
        for (const DWORD tick : Ticks()) {
            frames.push_back(Truth(tick)["frame"]);
        }
        return frames;
    }
    cv::Mat LastFrame() const
    {
        CS lock(&m_lock);
        return m_last.clone();
    }

    CLogLines m_log;
    std::unique_ptr<IFrameGrabberInterface> m_driver;
    CString m_message;
    bool m_isOpen = false;

private:
    int OnFrame()
    {
        CS lock(&m_lock);
        m_ticks.push_back(m_driver->m_dwLastGrab);
        m_driver->m_image.copyTo(m_last);
        return 1;
    }

    mutable CCriticalSection m_lock;
    std::vector<DWORD> m_ticks;
    cv::Mat m_last;
};

} // namespace alidade
