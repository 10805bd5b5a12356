#include "host/SimulatedSettings.h"

#include "acquisition/InitVision.h"
#include "drivers/scene/SceneTruth.h"
#include "foundation/bus/IPClient.h"
#include "foundation/platform/Text.h"
#include "host/machine/MachineSimulator.h"
#include "stage/StageInterface.h"
#include "tests/bus/data/OwnInstance.h"
#include "view/transforms/ViewTransforms.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

TEST(SimulatedSettings, AViewReadsAndMovesTheWholeMachine)
{
    const COwnInstance instance;
    static CIPClient client(nullptr, nullptr, "Vision"); // InitVision remembers it
    ASSERT_EQ(InitVision(&client, nullptr, nullptr, L"none"), 1);
    CString error;
    CMachineSimulator machine;
    ASSERT_EQ(machine.Start(T_MACHINE_SETTINGS(), client.GetBus(), nullptr, error), 1) << ToNarrow(error);
    CProfileSection settings;
    WriteMachineStageSettings(settings);
    CStageInterface stage;
    stage.Init(settings);
    for (int i = 0; i < STAGE_CHANNELS; ++i) {
        EXPECT_TRUE(stage.GetChannel(i).IsReadable()) << i;
        EXPECT_TRUE(i == STAGE_LENS || stage.GetChannel(i).IsMovable()) << i;
    }
    EXPECT_EQ(stage.MoveStage({1.5, -0.5}, 0, 0, HIPCOMMAND()), 1);
    EXPECT_EQ(stage.MoveStageZ(0.25, 0, 0, HIPCOMMAND()), 1);
    EXPECT_EQ(stage.MoveSlit({800, 400}, 0, HIPCOMMAND()), 1);
    EXPECT_EQ(stage.MoveSlitAngle(3, 0, HIPCOMMAND()), 1);
    EXPECT_NEAR(stage.GetStagePosition().x, 1.5, 0.005);
    EXPECT_NEAR(stage.GetStagePosition().y, -0.5, 0.005);
    EXPECT_NEAR(stage.GetStageZ(), 0.25, 0.005);
    EXPECT_NEAR(stage.GetSlitPulse().y, 400, 1);
    EXPECT_NEAR(stage.GetSlitAngle(), 3, 0.01);
}

TEST(SimulatedSettings, AViewKnowsWhereTheSceneLies)
{
    CProfileSection grabber;
    grabber.SetItemValue(L"Scene.Width", 640);
    grabber.SetItemValue(L"Scene.Height", 480);
    grabber.SetItemValue(L"Scene.MmPerPixel", L"0.02, 0.004");
    grabber.SetItemValue(L"Scene.Rotation", L"0, 30");
    grabber.SetItemValue(L"Scene.Mirror", L"XY, Y");
    grabber.SetItemValue(L"Scene.CenterX", L"0, 0.1");
    T_SCENE_SETTINGS settings;
    CString message;
    ASSERT_EQ(ReadSceneSettings(grabber, settings, message), 1);
    const CSceneTruth truth(settings, {}, L"");

    CProfileSection camera;
    FillSceneCalibration(grabber, false, camera);
    CViewTransforms view;
    view.SyncSettings(0, camera);
    for (const int lens : {0, 1, 9}) {
        const cv::Point2d true10 = truth.GetStageFromImage(lens, {}).Trans({10, 100});
        const TPoint2<double> seen = view.StageFromImage({10, 100}, lens);
        EXPECT_NEAR(seen.x, true10.x, 1e-9) << lens;
        EXPECT_NEAR(seen.y, true10.y, 1e-9) << lens;
        EXPECT_NEAR(view.GetLaserCenter(lens).x, truth.GetLaserCenter(lens).x - 320, 1e-9) << lens;
        EXPECT_NEAR(view.GetLaserCenter(lens).y, truth.GetLaserCenter(lens).y - 240, 1e-9) << lens;
    }
}

TEST(SimulatedSettings, WhatWasCalibratedStaysAndWhatIsNotTrueIsNotFilledIn)
{
    CProfileSection camera;
    camera.GetSubSection(L"Lens_0").GetSubSection(L"CTCameraToStage").SetItemValue(L"Scale", 0.5);
    camera.GetSubSection(L"Lens_1").SetItemValue(L"CenterOffset.x", 7.0);
    FillSceneCalibration(CProfileSection(), false, camera);
    CViewTransforms view;
    view.SyncSettings(0, camera);
    EXPECT_EQ(view.GetStageFromImage(0).GetScale(), 0.5);
    EXPECT_EQ(view.GetLaserCenter(1).x, 7.0);
    EXPECT_EQ(view.GetStageFromImage(1).GetScale(), 0.0025);

    for (const wchar_t* key : {L"Image.FlipX", L"Image.FlipY", L"Image.Rotate", L"Image.RotateArbitraty"}) {
        CProfileSection turned, none;
        turned.SetItemValue(key, L"1");
        FillSceneCalibration(turned, false, none);
        EXPECT_EQ(none.FindSubSection(L"Lens_0"), nullptr) << ToNarrow(key);
    }
    CProfileSection wrong, none;
    wrong.SetItemValue(L"Scene.Width", -1);
    FillSceneCalibration(wrong, false, none);
    FillSceneCalibration(CProfileSection(), true, none);
    EXPECT_EQ(none.FindSubSection(L"Lens_0"), nullptr);
}

} // namespace
} // namespace alidade
