// The camera follows a machine that comes, goes and comes back.

#include "SceneDriver.h"
#include "foundation/bus/IPDataWriter.h"

#include <array>

namespace alidade {
namespace {

/// A machine that publishes what a test tells it to.
class CMachine {
public:
    explicit CMachine(bool withTruth = false) : m_position(Family()), m_axis(Family())
    {
        std::vector<T_IP_DATA_ITEM> items;
        for (const char* path :
             {"MotorPosition.dMachineStageX", "MotorPosition.dMachineStageY", "MotorPosition.dMachineStageZ",
              "MotorPosition.dSlitPulseX", "MotorPosition.dSlitPulseY", "MotorPosition.dSlitT"}) {
            items.push_back({path, IPDATA_DOUBLE, 0});
        }
        items.push_back({"MotorPosition.iSlitOn", IPDATA_INT, 0});
        items.push_back({"MotorPosition.iLaserOn", IPDATA_INT, 0});
        if (withTruth) {
            items.push_back({"MotorPosition.dTrueX", IPDATA_DOUBLE, 0});
        }
        CString text;
        EXPECT_TRUE(m_position.Create("MotorPosition", items, text)) << ToNarrow(text);
        const T_IP_DATA_ITEM lens[] = {{"AxisParameter.iCurrentLens", IPDATA_INT, 0}};
        EXPECT_TRUE(m_axis.Create("AxisParameter", lens, text)) << ToNarrow(text);
    }
    void Set(const char* path, double value) { m_position.SetDouble(m_position.FindItem(path), value); }
    void SetLens(int lens) { m_axis.SetInt(0, lens); }

    /// Of blocks that no other process has.
    static const wchar_t* Family()
    {
        static const CString family = Format(L"SceneTest%lld", static_cast<long long>(GetTickNanoseconds()));
        return family.c_str();
    }

private:
    CIPDataWriter m_position;
    CIPDataWriter m_axis;
};

CProfileSection Following(SettingList list = {})
{
    CProfileSection section = SceneSection(list);
    section.SetItemValue(L"Scene.Machine", CMachine::Family());
    section.SetItemValue(L"Scene.Width", 160);
    section.SetItemValue(L"Scene.Height", 120);
    section.SetItemValue(L"Scene.FrameRate", 200);
    section.SetItemValue(L"Scene.Delay", 0);
    section.SetItemValue(L"Scene.X", L"-5");
    return section;
}

/// Polls until a frame shows the stage at X.
::testing::AssertionResult Shows(const CSceneUnderTest& camera, double x)
{
    double last = 0;
    const bool ok = WaitUntil([&] {
        const std::vector<DWORD> ticks = camera.Ticks();
        const auto truth = ticks.empty() ? nlohmann::json() : camera.Truth(ticks.back());
        last = truth.is_null() ? 0.0 : truth["x"].get<double>();
        return last == x;
    });
    return ok ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "shows " << last;
}

TEST(SceneMachine, IsPickedUpWhenItComesAndAgainWhenItComesBack)
{
    CSceneUnderTest camera(Following());
    ASSERT_TRUE(camera.m_isOpen) << ToNarrow(camera.m_message);
    camera.m_driver->StartCapture();
    EXPECT_TRUE(Shows(camera, -5)); // as the settings say
    {
        CMachine machine;
        machine.Set("MotorPosition.dMachineStageX", 12.5);
        EXPECT_TRUE(Shows(camera, 12.5));
        machine.Set("MotorPosition.dMachineStageX", 13);
        EXPECT_TRUE(Shows(camera, 13));
    }
    EXPECT_TRUE(camera.m_log.WaitFor("MotorPosition is gone"));
    EXPECT_TRUE(Shows(camera, 13));
    CMachine another;
    another.Set("MotorPosition.dMachineStageX", 21);
    EXPECT_TRUE(Shows(camera, 21));
    EXPECT_EQ(camera.m_log.Count("MotorPosition is read"), 2);
}

TEST(SceneMachine, DecidesOnLensZAndLights)
{
    CMachine machine;
    machine.SetLens(3);
    machine.Set("MotorPosition.dMachineStageY", 7);
    machine.Set("MotorPosition.dMachineStageZ", -0.5);
    machine.Set("MotorPosition.dSlitPulseX", 200);
    machine.Set("MotorPosition.dSlitPulseY", 100);
    machine.Set("MotorPosition.dSlitT", 45);
    machine.Set("MotorPosition.iSlitOn", 1);
    machine.Set("MotorPosition.iLaserOn", 1);
    CSceneUnderTest camera(Following({{L"Scene.Laser", L"Off"}}));
    camera.m_driver->StartCapture();
    ASSERT_TRUE(camera.WaitFor(1));
    camera.m_driver->StopCapture();
    const auto truth = camera.Truth(camera.Ticks().back());
    EXPECT_EQ(truth["lens"], 3);
    EXPECT_EQ(truth["y"], 7.0);
    EXPECT_EQ(truth["z"], -0.5);
    EXPECT_EQ(truth["slit"]["on"], true);
    EXPECT_EQ(truth["slit"]["angle"], 45.0);
    EXPECT_EQ(truth["laser"]["on"], false); // forced by the setting
}

TEST(SceneMachine, IsSeenWhereItReallyStands)
{
    CMachine machine(true);
    machine.Set("MotorPosition.dMachineStageX", 4);
    machine.Set("MotorPosition.dTrueX", 4.003);
    CSceneUnderTest camera(Following());
    camera.m_driver->StartCapture();
    EXPECT_TRUE(Shows(camera, 4.003));
}

/// The machine and the clock are moved by the camera's own thread: after the first exposure, then whenever a
/// frame is delivered, with the next one exposed already.
TEST(SceneMachine, AFrameShowsThePositionOfItsExposureAndComesTheDelayLater)
{
    constexpr DWORD kPeriod = 100;
    constexpr std::size_t kFrames = 5;
    CManualTicks ticks;
    CMachine machine;
    CProfileSection section = Following();
    section.SetItemValue(L"Scene.FrameRate", 10);
    section.SetItemValue(L"Scene.Delay", static_cast<int>(kPeriod));
    const auto moveOn = [&](std::size_t to) {
        machine.Set("MotorPosition.dMachineStageX", static_cast<double>(to));
        ticks.Advance(to <= kFrames ? kPeriod : 0);
    };
    CSceneUnderTest camera(section);
    camera.m_log.m_onLine = [&](const CStringA& line) {
        if (line.find("AxisParameter is read") != line.npos) { // the last that the first exposure does
            moveOn(1);
        }
    };
    camera.m_onFrame = [&](std::size_t count, DWORD) { moveOn(count + 1); };
    const DWORD start = ticks.Now();
    camera.m_driver->StartCapture();
    ASSERT_TRUE(camera.WaitFor(kFrames));
    for (std::size_t i = 0; i < kFrames; ++i) {
        SCOPED_TRACE(i);
        const auto truth = camera.Truth(camera.Ticks()[i]);
        const DWORD exposed = start + static_cast<DWORD>(i) * kPeriod;
        EXPECT_EQ(truth["x"], static_cast<double>(i));
        EXPECT_EQ(truth["exposureTick"], exposed);
        EXPECT_EQ(camera.Ticks()[i], exposed + kPeriod);
    }
}

} // namespace
} // namespace alidade
