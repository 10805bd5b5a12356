#include "PictureFiles.h"
#include "VideoFile.h"

#include "foundation/platform/Text.h"
#include "foundation/utility/Strings.h"

#include <algorithm>
#include <functional>

namespace alidade {
namespace {

namespace fs = std::filesystem;

constexpr int kIgnoreCase = 1;

/// The regular files of a folder that `take` takes, in the order of their names.
std::vector<fs::path> ListFiles(const fs::path& folder, const std::function<bool(const fs::path& name)>& take,
                                std::error_code& error)
{
    std::vector<std::pair<CString, fs::path>> found;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code unknown;
        const fs::path name = entry->path().filename();
        // Never a pipe or a device, which could hold up the reader for ever.
        if (entry->is_regular_file(unknown) && take(name)) {
            found.emplace_back(FromPath(name), entry->path());
        }
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<fs::path> files;
    for (auto& entry : found) {
        files.push_back(std::move(entry.second));
    }
    return files;
}

bool IsWildcard(const CString& name)
{
    return name.find_first_of(L"*?") != name.npos;
}

std::unique_ptr<IPictureSource> OpenFolder(const fs::path& folder, const CString& pattern,
                                           const T_REPLAY_SETTINGS& settings, CString& message)
{
    std::error_code error;
    TList<CString, int, int> captures;
    auto files = ListFiles(
        folder,
        [&](const fs::path& path) {
            const CString name = FromPath(path);
            captures.DeleteAll();
            return pattern.empty() ? IsPictureName(path) && name.front() != L'.'
                                   : FilterString(name.c_str(), pattern.c_str(), captures, kIgnoreCase) != 0;
        },
        error);
    const CString folderName = FromPath(folder);
    if (error) {
        message = Format(L"Replay: the folder %s cannot be read: %s", folderName.c_str(),
                         ToWide(error.message()).c_str());
        return nullptr;
    }
    if (files.empty()) {
        message = pattern.empty()
                      ? Format(L"Replay: there is no picture in the folder %s", folderName.c_str())
                      : Format(L"Replay: no file in %s matches %s", folderName.c_str(), pattern.c_str());
        return nullptr;
    }
    return std::make_unique<CPictureFiles>(std::move(files), settings.eColor);
}

std::unique_ptr<IPictureSource> OpenFile(const fs::path& path, const T_REPLAY_SETTINGS& settings,
                                         CString& message)
{
    if (IsPictureName(path)) {
        return std::make_unique<CPictureFiles>(std::vector<fs::path>{path}, settings.eColor);
    }
    auto video = std::make_unique<CVideoFile>(path, settings.eColor);
    if (!video->IsOpen()) {
        message = Format(L"Replay: %s cannot be read as a picture or a video", FromPath(path).c_str());
        return nullptr;
    }
    return video;
}

} // namespace

std::unique_ptr<IPictureSource> OpenPictureSource(const T_REPLAY_SETTINGS& settings, CString& message)
{
    std::error_code error;
    // Absolute, so that a later change of the process's current folder does not matter.
    const fs::path path = fs::absolute(ToPath(settings.strSource), error);
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status)) {
        return OpenFolder(path, CString(), settings, message);
    }
    if (fs::is_regular_file(status)) {
        return OpenFile(path, settings, message);
    }
    const CString name = FromPath(path.filename());
    if (!fs::exists(status) && IsWildcard(name)) {
        return OpenFolder(path.parent_path(), name, settings, message);
    }
    const wchar_t* source = settings.strSource.c_str();
    if (fs::exists(status)) {
        message = Format(L"Replay: %s is neither a file nor a folder", source);
    } else if (status.type() == fs::file_type::not_found) {
        message = Format(L"Replay: %s does not exist", source);
    } else {
        message = Format(L"Replay: %s cannot be read: %s", source, ToWide(error.message()).c_str());
    }
    return nullptr;
}

} // namespace alidade
