#include "host/OutputCheck.h"

#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"
#include "foundation/platform/Ticks.h"

#include <fstream>

namespace alidade {

namespace fs = std::filesystem;

int CheckFolder(const fs::path& folder, CString& error)
{
    std::error_code failed;
    fs::create_directories(folder, failed);
    if (std::error_code unknown; !fs::is_directory(folder, unknown)) {
        error = Format(L"the folder %s cannot be made: %s", FromPath(folder).c_str(),
                       ToWide(failed ? failed.message() : "it is a file").c_str());
        return 0;
    }
    const fs::path probe = folder / (".alidade-host-" + std::to_string(GetTickNanoseconds()));
    CString reason;
    if (!ReplaceFileWith(probe, "", &reason)) {
        error = Format(L"the folder %s cannot be written to: %s", FromPath(folder).c_str(), reason.c_str());
        return 0;
    }
    fs::remove(probe, failed);
    return 1;
}

int CheckFile(const fs::path& file, CString& error)
{
    std::error_code failed;
    if (fs::is_directory(file, failed) || !file.has_filename()) {
        error = Format(L"%s is a folder, not a file", FromPath(file).c_str());
        return 0;
    }
    if (fs::exists(file, failed)) {
        // Opening to append changes nothing. A device is refused: replacing it would remove it.
        if (!fs::is_regular_file(file, failed) || !std::ofstream(file, std::ios::app)) {
            error = Format(L"the file %s cannot be written to", FromPath(file).c_str());
            return 0;
        }
    }
    return CheckFolder(file.has_parent_path() ? file.parent_path() : fs::path("."), error);
}

} // namespace alidade
