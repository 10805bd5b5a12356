#include "DriverPlugin.h"

#include "acquisition/FrameGrabberDummy.h"

namespace alidade {

CDriverPlugin CDriverPlugin::BuiltIn()
{
    CDriverPlugin plugin{std::filesystem::path()};
    plugin.pfnGetName = [](char* name, int size) { CopyDriverName(name, size, "Dummy"); };
    plugin.pfnGetFrameGrabber = []() -> IFrameGrabberInterface* { return new CFrameGrabberDummy; };
    plugin.pfnGetProperties = CFrameGrabberDummy::AppendDriverProperties;
    plugin.pfnGetLayoutVersion = []() -> DWORD { return ALIDADE_DRIVER_LAYOUT_VERSION; };
    return plugin;
}

bool CDriverPlugin::Load(CString& error)
{
    m_hModule = LoadModule(std::filesystem::absolute(m_path), &error);
    if (m_hModule == nullptr) {
        return false;
    }
    pfnGetName = GetModuleFunction<GetFrameGrabberNameFunction>(m_hModule, "GetFrameGrabberName");
    pfnGetFrameGrabber = GetModuleFunction<GetFrameGrabberFunction>(m_hModule, "GetFrameGrabber");
    pfnGetProperties =
        GetModuleFunction<GetFrameGrabberPropertiesFunction>(m_hModule, "GetFrameGrabberProperties");
    pfnGetLayoutVersion =
        GetModuleFunction<GetFrameGrabberLayoutVersionFunction>(m_hModule, "GetFrameGrabberLayoutVersion");
    return true;
}

void CDriverPlugin::Unload()
{
    UnloadModule(std::exchange(m_hModule, nullptr));
}

std::string CDriverPlugin::GetMissingExports() const
{
    std::string missing;
    const auto add = [&](bool present, const char* name) {
        if (!present) {
            missing += (missing.empty() ? "" : ", ") + std::string(name);
        }
    };
    add(pfnGetName != nullptr, "GetFrameGrabberName");
    add(pfnGetFrameGrabber != nullptr, "GetFrameGrabber");
    add(pfnGetProperties != nullptr, "GetFrameGrabberProperties");
    return missing;
}

} // namespace alidade
