// The driver in time: delay, lost frames, an unplugged camera.

#include "SceneDriver.h"
#include "drivers/scene/ExposureClock.h"
#include "tests/support/TempFolder.h"

namespace alidade {
namespace {

const SettingList kSmall = {{L"Scene.Width", L"160"}, {L"Scene.Height", L"120"}};

CProfileSection Small(SettingList list)
{
    CProfileSection section = SceneSection(list);
    for (const auto& [key, value] : kSmall) {
        section.SetItemValue(key, value);
    }
    return section;
}

TEST(SceneExposureClock, KeepsItsRateOnAverageAndItsRasterAcrossWhatIsLeftOut)
{
    constexpr double kPeriod = 1000.0 / 30;
    for (const DWORD start : {0u, 0xFFFFFF00u}) { // the tick comes round on the way
        CExposureClock clock(30);
        clock.Start(start);
        EXPECT_EQ(clock.Remaining(start), 0u);
        DWORD now = start;
        for (int i = 1; i <= 3000; ++i) {
            clock.Advance(now);
            now += clock.Remaining(now);
            ASSERT_NEAR(now - start, i * kPeriod + 0.5, 0.51); // the first tick that is not before it
        }
        now += 1010; // 30.3 periods, in which nothing was exposed
        EXPECT_EQ(clock.Remaining(now), 0u);
        clock.Advance(now);
        now += clock.Remaining(now);
        EXPECT_NEAR(now - start, 3031 * kPeriod + 0.5, 0.51);
    }
}

TEST(SceneDriver, NoFrameComesBeforeItsDelayIsOver)
{
    CManualTicks ticks;
    CSceneUnderTest camera(Small({{L"Scene.FrameRate", L"50"}, {L"Scene.Delay", L"70"}}));
    ASSERT_TRUE(camera.m_isOpen) << ToNarrow(camera.m_message);
    camera.m_driver->StartCapture();
    ASSERT_TRUE(camera.WaitFor(3, ticks));
    camera.m_driver->StopCapture();
    for (const DWORD tick : camera.Ticks()) {
        EXPECT_GE(tick - camera.Truth(tick)["exposureTick"].get<DWORD>(), 70u);
    }
}

TEST(SceneDriver, LostFramesAreThoseThatTheSeedDecidesOn)
{
    const SettingList losses = {{L"Scene.DropEvery", L"5"}, {L"Scene.DropProbability", L"0.3"}};
    const CSceneTruth truth(SceneSettings(losses), {}, L""), again(SceneSettings(losses), {}, L"");
    const CSceneTruth other(SceneSettings({{L"Scene.DropProbability", L"0.3"}, {L"Scene.Seed", L"2"}}), {},
                            L"");
    int lost = 0, different = 0;
    for (std::uint64_t frame = 0; frame < 10000; ++frame) {
        lost += truth.IsLost(frame) ? 1 : 0;
        different += truth.IsLost(frame) != other.IsLost(frame) ? 1 : 0;
        EXPECT_TRUE(frame % 5 != 4 || truth.IsLost(frame));
        ASSERT_EQ(truth.IsLost(frame), again.IsLost(frame));
    }
    EXPECT_NEAR(lost, 10000 * (1 - 0.8 * 0.7), 150);
    EXPECT_GT(different, 3000);

    CProfileSection section = Small(losses);
    section.SetItemValue(L"Scene.FrameRate", 200);
    std::vector<std::uint64_t> frames;
    CSceneUnderTest camera(section);
    camera.m_onFrame = [&](std::size_t, DWORD tick) { frames.push_back(camera.Truth(tick)["frame"]); };
    camera.m_driver->StartCapture();
    ASSERT_TRUE(camera.WaitFor(40));
    camera.m_driver->StopCapture();
    for (const std::uint64_t frame : frames) {
        EXPECT_FALSE(truth.IsLost(frame)) << frame;
    }
    EXPECT_GT(frames.back(), 55u); // more than a third was lost
}

TEST(SceneDriver, AnUnpluggedCameraComesBackInTimeWithItsSettings)
{
    for (const DWORD missing : {0u, 1u}) { // ms of the time that it is away
        CManualTicks ticks;
        CSceneUnderTest camera(Small({{L"Scene.FrameRate", L"10"},
                                      {L"Scene.Delay", L"0"},
                                      {L"Scene.Gain", L"2"},
                                      {L"Scene.X", L"50"},
                                      {L"Scene.UnplugAfter", L"3"},
                                      {L"Scene.UnplugFor", L"5000"}}));
        camera.m_onFrame = [&](std::size_t count, DWORD) { ticks.Advance(count < 3 ? 100 : 0); };
        camera.m_log.m_onLine = [&](const CStringA& line) {
            ticks.Advance(line.find("unplugged") != line.npos ? 5000 - missing : 0);
        };
        camera.m_driver->StartCapture();
        ASSERT_TRUE(WaitUntil([&] { return camera.m_log.Count("unplugged") == 1; }));
        ASSERT_TRUE(missing == 0 ? camera.WaitFor(4) : camera.WaitFor(4, ticks));
        EXPECT_EQ(camera.Ticks()[1] - camera.Ticks()[0], 100u);
        EXPECT_EQ(camera.Ticks()[2] - camera.Ticks()[1], 100u);
        EXPECT_GE(camera.Ticks()[3] - camera.Ticks()[2], 5000u);
        EXPECT_EQ(camera.m_log.Count("unplugged"), 1);
        EXPECT_EQ(camera.m_log.Count("the camera is back, and its settings are applied"), 1);
        EXPECT_EQ(camera.LastFrame().at<std::uint8_t>(0, 0), 2 * IWorkPiece::kBackground);
    }
}

TEST(SceneDriver, TheTruthOfAFrameIsThatOfItsPixels)
{
    const CTempFolder folder;
    const CString file = FromPath(folder / "truth.json");
    CSceneUnderTest camera({{L"Scene.X", L"1.2345"},
                            {L"Scene.Y", L"0.77"},
                            {L"Scene.Lens", L"1"},
                            {L"Scene.FrameRate", L"100"},
                            {L"Scene.TruthFile", file.c_str()}});
    ASSERT_TRUE(camera.m_isOpen) << ToNarrow(camera.m_message);
    EXPECT_EQ(camera.Truth(0), nlohmann::json::parse(folder.Read("truth.json")));
    camera.m_driver->StartCapture();
    ASSERT_TRUE(camera.WaitFor(1));
    camera.m_driver->StopCapture();
    const cv::Mat image = camera.LastFrame();
    const auto truth = camera.Truth(camera.Ticks().back());
    int seen = 0;
    for (const auto& mark : truth["marks"]) {
        const cv::Point2d at(mark["pixel"][0], mark["pixel"][1]);
        if (mark["kind"] == "dot" && cv::Rect2d(100, 100, 1400, 1000).contains(at)) {
            const int reach = static_cast<int>(mark["width"].get<double>() / 2 / 0.0025) + 5;
            EXPECT_LT(cv::norm(CentroidAround(image, at, reach) - at), 0.03);
            ++seen;
        }
    }
    EXPECT_GT(seen, 0);
    EXPECT_TRUE(camera.Truth(12345).is_null());
}

TEST(SceneDriver, OpeningFailsWithAReasonAndLeavesNoTruthBehind)
{
    const CTempFolder folder;
    const CString nowhere = FromPath(folder / "no" / "such" / "truth.json");
    for (const SettingList& list :
         {SettingList{{L"Scene.Delay", L"-3"}},
          SettingList{{L"Scene.WorkPiece", L"Picture"}, {L"Scene.Picture", L"/no/such.png"}},
          SettingList{{L"Scene.TruthFile", nowhere.c_str()}}}) {
        CSceneUnderTest camera(list);
        EXPECT_FALSE(camera.m_isOpen);
        EXPECT_EQ(camera.m_message.find(L"Scene: "), 0u);
        EXPECT_EQ(camera.m_log.Count(ToNarrow(camera.m_message)), 1);
        EXPECT_TRUE(camera.Truth(0).is_null());
        EXPECT_EQ(camera.m_driver->StartCapture(), 0);
    }
}

} // namespace
} // namespace alidade
