#include "host/SimulatedSettings.h"

#include "drivers/scene/SceneTruth.h"
#include "stage/StageSettings.h"
#include "widgets/PropertyGridGroup.h"

namespace alidade {
namespace {

bool IsPreProcessed(const CProfileSection& grabber)
{
    return grabber.GetItemValueBoolean(L"Image.FlipX", 0) || grabber.GetItemValueBoolean(L"Image.FlipY", 0) ||
           grabber.GetItemValue(L"Image.Rotate", 0) != 0 ||
           grabber.GetItemValueBoolean(L"Image.RotateArbitraty", 0);
}

void WriteTransform(const T_SCENE_TRANSFORM& from, CProfileSection& section)
{
    section.SetItemValue(L"Scale", from.dScale);
    section.SetItemValue(L"m00", from.m(0, 0));
    section.SetItemValue(L"m01", from.m(0, 1));
    section.SetItemValue(L"m10", from.m(1, 0));
    section.SetItemValue(L"m11", from.m(1, 1));
    section.SetItemValue(L"ShiftX", from.shift.x);
    section.SetItemValue(L"ShiftY", from.shift.y);
    section.SetItemValue(L"OffsetX", from.offset.x);
    section.SetItemValue(L"OffsetY", from.offset.y);
}

} // namespace

void WriteMachineStageSettings(CProfileSection& section)
{
    // The simulated machine is as those that the table's defaults are for, and its slit moves.
    for (const T_STAGE_GROUP& group : GetStageSettingTable()) {
        CProfileSection& own = section.GetSubSection(group.name);
        for (const T_STAGE_SETTING& row : group.rows) {
            if (CString(row.name) != kPropertySeparator) {
                own.SetItemValue(row.name, row.defaultValue);
            }
        }
    }
    section.GetSubSection(L"Slit").SetItemValue(L"CanMoveSlit", L"TRUE");
}

void FillSceneCalibration(const CProfileSection& grabber, bool clipped, CProfileSection& camera)
{
    T_SCENE_SETTINGS settings;
    CString message;
    if (clipped || IsPreProcessed(grabber) || !ReadSceneSettings(grabber, settings, message)) {
        return;
    }
    const CSceneTruth truth(settings, {}, L"");
    const cv::Point2d middle(settings.nWidth / 2, settings.nHeight / 2);
    for (int lens = 0; lens < T_SCENE_SETTINGS::kLenses; ++lens) {
        CProfileSection& own = camera.GetSubSection((L"Lens_" + std::to_wstring(lens)).c_str());
        if (own.FindSubSection(L"CTCameraToStage") == nullptr) {
            WriteTransform(truth.GetStageFromImage(lens, {}), own.GetSubSection(L"CTCameraToStage"));
        }
        const cv::Point2d laser = truth.GetLaserCenter(lens) - middle;
        if (!own.HasItem(L"CenterOffset.x") && !own.HasItem(L"CenterOffset.y")) {
            own.SetItemValue(L"CenterOffset.x", laser.x);
            own.SetItemValue(L"CenterOffset.y", laser.y);
        }
    }
}

} // namespace alidade
