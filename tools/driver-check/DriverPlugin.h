#pragma once

#include "alidade/driver/Driver.h"
#include "foundation/platform/Module.h"

#include <filesystem>
#include <string>
#include <vector>

namespace alidade {

/// A driver's exports: those of a plug-in file, or the built-in driver's. Nothing here catches exceptions.
class CDriverPlugin {
public:
    /// A plug-in that is not loaded yet.
    explicit CDriverPlugin(std::filesystem::path path) : m_path(std::move(path)) {}
    /// The driver "Dummy".
    static CDriverPlugin BuiltIn();

    bool IsBuiltIn() const { return m_path.empty(); }
    /// Loads the library and looks up its exports.
    /// @param error  receives the system's text on failure
    bool Load(CString& error);
    /// No driver object may be alive.
    void Unload();
    /// Required exports that are missing, separated by ", ".
    std::string GetMissingExports() const;

    // Null when the plug-in does not export it.
    GetFrameGrabberNameFunction pfnGetName = nullptr;
    GetFrameGrabberFunction pfnGetFrameGrabber = nullptr;
    GetFrameGrabberPropertiesFunction pfnGetProperties = nullptr;
    GetFrameGrabberLayoutVersionFunction pfnGetLayoutVersion = nullptr;

private:
    std::filesystem::path m_path; // empty: built in
    HMODULE m_hModule = nullptr;
};

} // namespace alidade
