#include "SceneHarness.h"
#include "tests/support/TempFolder.h"

namespace alidade {
namespace {

TEST(SceneSettings, ValuesOutOfRangeAreRefusedByNameAndChangeNothing)
{
    const std::pair<const wchar_t*, const wchar_t*> kBad[] = {
        {L"Scene.Width", L"8193"},
        {L"Scene.Width", L"100.5"},
        {L"Scene.Height", L"0"},
        {L"Scene.FrameRate", L"0"},
        {L"Scene.FrameRate", L"1001"},
        {L"Scene.Delay", L"-1"},
        {L"Scene.Color", L"Blue"},
        {L"Scene.Mirror", L"Z"},
        {L"Scene.Mirror", L" , "},
        {L"Scene.MmPerPixel", L"0"},
        {L"Scene.MmPerPixel", L"0.01, x"},
        {L"Scene.Lens", L"10"},
        {L"Scene.Rotation", L"1 2 3 4 5 6 7 8 9 10 11"},
        {L"Scene.Street", L"1.5"},
        {L"Scene.Street", L"0"},
        {L"Scene.Slit", L"Open"},
        {L"Scene.DropProbability", L"1.1"},
        {L"Scene.UnplugFor", L"0"},
        {L"Scene.WorkPiece", L"Bread"},
        {L"Scene.Noise", L"1e9"},
        {L"Scene.X", L"1e300"},
    };
    for (const auto& [key, value] : kBad) {
        T_SCENE_SETTINGS settings;
        settings.nWidth = 77;
        CString message;
        EXPECT_EQ(ReadSceneSettings(SceneSection({{key, value}}), settings, message), 0)
            << ToNarrow(key) << "=" << ToNarrow(value);
        EXPECT_EQ(message.find(Format(L"Scene: %s = ", key)), 0u) << ToNarrow(message);
        EXPECT_EQ(settings.nWidth, 77);
    }
}

TEST(SceneSettings, TheLastValueOfAListCountsForTheLensesLeft)
{
    const T_SCENE_SETTINGS settings = SceneSettings({{L"Scene.MmPerPixel", L"0.02,0.01 0.005"},
                                                     {L"Scene.Mirror", L"none, xy"},
                                                     {L"Scene.Rotation", L"-2.5"}});
    EXPECT_EQ(settings.lenses[0].dMmPerPixel, 0.02);
    EXPECT_EQ(settings.lenses[1].dMmPerPixel, 0.01);
    EXPECT_EQ(settings.lenses[9].dMmPerPixel, 0.005);
    EXPECT_FALSE(settings.lenses[0].bMirrorY);
    EXPECT_TRUE(settings.lenses[9].bMirrorX && settings.lenses[9].bMirrorY);
    EXPECT_EQ(settings.lenses[9].dRotation, -2.5);
}

TEST(SceneSettings, AWorkPieceThatCannotBeMadeIsRefusedWithAReason)
{
    const CTempFolder folder;
    folder.Write("empty.png", "");
    folder.Write("text.png", "this is no picture");
    const CString empty = FromPath(folder / "empty.png"), text = FromPath(folder / "text.png");
    const CString missing = FromPath(folder / "missing.png"), itself = FromPath(folder.Path());
    for (const CString& path : {empty, text, missing, itself}) {
        CString message;
        EXPECT_EQ(
            MakeWorkPiece(SceneSettings({{L"Scene.WorkPiece", L"Picture"}, {L"Scene.Picture", path.c_str()}}),
                          message),
            nullptr);
        EXPECT_NE(message.find(path), message.npos) << ToNarrow(message);
    }
    CString message;
    EXPECT_EQ(
        MakeWorkPiece(SceneSettings({{L"Scene.WaferDiameter", L"1000"}, {L"Scene.DieX", L"0.5"}}), message),
        nullptr);
    EXPECT_NE(message.find(L"20000 dies"), message.npos) << ToNarrow(message);
}

TEST(SceneRenderer, AStageFarAwayAndALensFarTooStrongShowTheBackground)
{
    for (const wchar_t* mmPerPixel : {L"0.000001", L"0.005", L"1"}) {
        T_SCENE scene({{L"Scene.Width", L"64"}, {L"Scene.Height", L"48"}, {L"Scene.MmPerPixel", mmPerPixel}});
        for (const double away : {1e5, 1e9, -1e9, 1e300}) {
            const cv::Mat image = scene.Render(StateAt({away, -away}));
            EXPECT_EQ(cv::countNonZero(image != IWorkPiece::kBackground), 0);
        }
    }
}

} // namespace
} // namespace alidade
