// Layouts as files, and what of it reaches the log.

#include "acquisition/InitVision.h"
#include "foundation/config/SimpleLog.h"
#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Text.h"
#include "foundation/utility/Strings.h"
#include "layout/CameraLayoutItem.h"
#include "layout/LayoutArchive.h"

#include <cerrno>
#include <exception>
#include <fstream>

namespace alidade {
namespace {

int Fail(const wchar_t* operation, const CString& text)
{
    if (CSimpleLog* const log = GetVisionLog()) {
        log->WriteErrorLog(L"CCameraLayoutItem::%s : %s", operation, text.c_str());
    }
    return 0;
}

std::filesystem::path PathOf(const wchar_t* path)
{
    return ToPath(path != nullptr ? path : L"");
}

/// The file's bytes, or of a file larger than any layout just enough for the reader to tell what it is.
int ReadLayoutFile(const std::filesystem::path& path, CStringA& bytes, CString& error)
{
    if (ReadWholeFile(path, bytes, &error, kMaxLayoutBytes) != 0) {
        return 1;
    }
    std::error_code failed;
    if (std::filesystem::file_size(path, failed) <= kMaxLayoutBytes || failed) {
        return 0;
    }
    bytes.resize(kMaxLayoutBytes + 1);
    std::ifstream file(path, std::ios::binary);
    return file.read(bytes.data(), static_cast<std::streamsize>(bytes.size())) ? 1 : 0;
}

/// Writes over the file in place: it stays the file that it is, and after a failure it has what was written.
int WriteLayoutFile(const std::filesystem::path& path, const CStringA& bytes, CString& error)
{
    std::error_code failed;
    if (const auto status = std::filesystem::status(path, failed);
        std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        return ReplaceFileWith(path, bytes, &error); // into a device it writes, not waiting for a reader
    }
    errno = 0;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        error = ToWide(std::generic_category().message(errno != 0 ? errno : EIO));
        return 0;
    }
    return 1;
}

} // namespace

int CCameraLayoutItem::Load(const wchar_t* path)
{
    try {
        CStringA bytes;
        CString error;
        if (ReadLayoutFile(PathOf(path), bytes, error) == 0) {
            return Fail(L"Load", error);
        }
        CArchiveU archive(bytes.data(), bytes.size());
        return LoadLayout(archive, *this) == LAYOUT_FILE_FOREIGN ? 0 : 1;
    } catch (const std::exception& exception) {
        return Fail(L"Load", GetErrorMessage(exception));
    }
}

int CCameraLayoutItem::Store(const wchar_t* path) const
{
    try {
        CArchiveU archive;
        StoreLayout(archive, *this);
        CString error;
        return WriteLayoutFile(PathOf(path), archive.GetData(), error) != 0 ? 1 : Fail(L"Store", error);
    } catch (const std::exception& exception) {
        return Fail(L"Store", GetErrorMessage(exception));
    }
}

} // namespace alidade
