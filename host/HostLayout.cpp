#include "host/HostLayout.h"

#include "host/DriverCall.h"
#include "host/GrabSettings.h"
#include "host/SimulatedSettings.h"
#include "layout/LayoutWalk.h"

namespace alidade {
namespace {

constexpr const wchar_t* kCameraSettings = L"CameraSettings";
constexpr const wchar_t* kStageSettings = L"StageSettings";
constexpr const wchar_t* kScene = L"Scene";

int LoadLayoutFile(const T_HOST_OPTIONS& options, CHostLog& log, CCameraLayoutItem& layout,
                   T_HOST_FAILURE& failure)
{
    const CString file = FromPath(ToPath(options.strLayout));
    const CString before = log.GetLastError();
    if (!layout.Load(file.c_str())) {
        const CString reason = log.GetLastError();
        return Refuse(failure, kExitFailed,
                      reason != before ? L"the layout " + file + L" cannot be read: " + reason
                                       : L"the file " + file + L" is no layout");
    }
    return 1;
}

int MakeOneView(const T_HOST_OPTIONS& options, const CProfile& profile, CCameraLayoutItem& layout,
                T_HOST_FAILURE& failure)
{
    layout.m_bPane = 0;
    layout.m_strFrameGrabber = options.strGrabber;
    layout.m_strCamera = ToWide(*options.strUnit);
    layout.SetName(layout.m_strCamera.c_str());
    const CString name = !options.strSection.empty() ? options.strSection : layout.m_strCamera;
    const CProfileSection* cameras = profile.FindSection(kCameraSettings);
    const CProfileSection* section = cameras != nullptr ? cameras->FindSubSection(name.c_str()) : nullptr;
    if (section != nullptr) {
        layout.m_settings = *section;
    } else if (!options.strSection.empty()) {
        return Refuse(
            failure, kExitUsage,
            Format(L"%s has no section %s/%s", profile.GetPath().c_str(), kCameraSettings, name.c_str()));
    }
    for (const auto& [key, value] : options.settings) {
        layout.m_settings.SetItemValue(key.c_str(), value.c_str());
    }
    return CallDriver(options.dwTimeout, L"describe itself",
                      [&] { return CheckSettingKeys(options, failure); });
}

} // namespace

int MakeHostLayout(const T_HOST_OPTIONS& options, const CProfile& profile, CHostLog& log,
                   CCameraLayoutItem& layout, T_HOST_FAILURE& failure)
{
    return options.strLayout.empty() ? MakeOneView(options, profile, layout, failure)
                                     : LoadLayoutFile(options, log, layout, failure);
}

void FillSimulatedSettings(const T_HOST_OPTIONS& options, const CCameraLayoutItem& layout, CProfile& profile)
{
    if (!options.bMachine) {
        return;
    }
    const auto fill = [&](const CCameraLayoutItem& node) {
        if (node.IsPane()) {
            return;
        }
        const wchar_t* unit = node.m_strCamera.empty() ? L"Default" : node.m_strCamera.c_str();
        CProfileSection& stages = profile.GetSection(kStageSettings);
        if (stages.FindSubSection(unit) == nullptr) {
            WriteMachineStageSettings(stages.GetSubSection(unit));
        }
        if (node.m_strFrameGrabber == kScene) {
            FillSceneCalibration(node.m_settings, options.clip.has_value(),
                                 profile.GetSection(kCameraSettings).GetSubSection(unit));
        }
    };
    WalkLayout(layout, fill, [](const CCameraLayoutItem&) {});
}

} // namespace alidade
