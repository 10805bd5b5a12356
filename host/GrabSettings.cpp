#include "host/GrabSettings.h"

#include "acquisition/FrameGrabber.h"
#include "acquisition/GrabberSettings.h"
#include "foundation/config/Profile.h"

namespace alidade {
namespace {

constexpr const wchar_t* kCameraSettings = L"CameraSettings";
constexpr const wchar_t* kDefaultUnit = L"Default";

int LoadSection(const T_HOST_OPTIONS& options, CSimpleLog* log, CProfileSection& settings,
                T_HOST_FAILURE& failure)
{
    const CString file = FromPath(ToPath(options.strProfile));
    CProfile profile(file.c_str());
    profile.SetLog(log);
    if (!profile.Load()) {
        return Refuse(failure, kExitFailed, L"the settings file " + file + L" cannot be read");
    }
    const wchar_t* unit = options.strSection.empty() ? kDefaultUnit : options.strSection.c_str();
    const CProfileSection* cameras = profile.FindSection(kCameraSettings);
    const CProfileSection* section = cameras != nullptr ? cameras->FindSubSection(unit) : nullptr;
    if (section == nullptr) {
        return Refuse(failure, kExitUsage,
                      Format(L"%s has no section %s/%s", file.c_str(), kCameraSettings, unit));
    }
    settings = *section;
    return 1;
}

/// "Replay." of "Replay.Source"; empty without a dot.
CString PrefixOf(const CString& key)
{
    const std::size_t dot = key.find(L'.');
    return dot == key.npos ? CString() : key.substr(0, dot + 1);
}

} // namespace

int BuildGrabSettings(const T_HOST_OPTIONS& options, CSimpleLog* log, CProfileSection& settings,
                      T_HOST_FAILURE& failure)
{
    settings.Init();
    if (!options.strProfile.empty() && !LoadSection(options, log, settings, failure)) {
        return 0;
    }
    for (const auto& [key, value] : options.settings) {
        settings.SetItemValue(key.c_str(), value.c_str());
    }
    return 1;
}

int CheckSettingKeys(const T_HOST_OPTIONS& options, T_HOST_FAILURE& failure)
{
    TList<CMFCPropertyGridProperty, int, int> properties;
    CFrameGrabber::GetFrameGrabberProperties(options.strGrabber.c_str(), properties);
    AppendProperties(GetGrabberSettingTable(), properties);
    for (const auto& [key, value] : options.settings) {
        const CString prefix = PrefixOf(key);
        bool known = false;
        CString others; // that begin alike
        for (const CMFCPropertyGridProperty* property : properties) {
            known = known || property->GetName() == key;
            if (!prefix.empty() && PrefixOf(property->GetName()) == prefix) {
                others += (others.empty() ? L"" : L", ") + property->GetName();
            }
        }
        if (!known && !others.empty()) {
            return Refuse(failure, kExitUsage,
                          Format(L"%s has no setting %s; it has %s", options.strGrabber.c_str(), key.c_str(),
                                 others.c_str()));
        }
    }
    return 1;
}

} // namespace alidade
