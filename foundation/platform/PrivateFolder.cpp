#include "foundation/platform/PrivateFolder.h"

#include "foundation/platform/SystemError.h"
#include "foundation/platform/Text.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace alidade {
namespace {

CString Describe(const wchar_t* what, const std::filesystem::path& path, const CString& why)
{
    return CString(what) + L" " + FromPath(path) + L": " + why;
}

/// Tries until it works or the time is over; real time, for another process holds the lock.
template <typename T>
bool TryFor(DWORD ms, T attempt)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!attempt()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace

#ifdef _WIN32

std::filesystem::path GetUserRuntimeFolder()
{
    // The folder for temporary files is below the user's own, which others cannot look into.
    std::error_code ignored;
    return std::filesystem::temp_directory_path(ignored) / L"alidade";
}

int MakePrivateFolder(const std::filesystem::path& folder, CString& error)
{
    std::error_code failed;
    std::filesystem::create_directory(folder, failed);
    std::error_code ignored;
    if (!std::filesystem::is_directory(folder, ignored)) {
        error = failed ? Describe(L"Cannot make the folder", folder, ToWide(failed.message()))
                       : Describe(L"Cannot use", folder, L"it is not a folder");
        return 0;
    }
    return 1;
}

std::uint64_t GetThisProcessNumber()
{
    return ::GetCurrentProcessId();
}

CFileLock::~CFileLock()
{
    if (m_handle != -1) {
        ::CloseHandle(reinterpret_cast<HANDLE>(m_handle));
    }
}

int CFileLock::Lock(const std::filesystem::path& path, DWORD ms, CString& error)
{
    // Opened for itself alone: the open file is the lock.
    const bool locked = TryFor(ms, [&] {
        const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                          FILE_ATTRIBUTE_NORMAL, nullptr);
        m_handle = reinterpret_cast<std::intptr_t>(file);
        return file != INVALID_HANDLE_VALUE || ::GetLastError() != ERROR_SHARING_VIOLATION;
    });
    if (!locked || m_handle == -1) {
        error = Describe(L"Cannot lock", path, SystemErrorText(static_cast<int>(::GetLastError())));
        return 0;
    }
    return 1;
}

#else

std::filesystem::path GetUserRuntimeFolder()
{
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code failed;
    if (runtime != nullptr && *runtime == '/' && std::filesystem::is_directory(runtime, failed)) {
        return std::filesystem::path(runtime) / "alidade";
    }
    return "/tmp/alidade-" + std::to_string(::geteuid());
}

int MakePrivateFolder(const std::filesystem::path& folder, CString& error)
{
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        error = Describe(L"Cannot make the folder", folder, SystemErrorText(errno));
        return 0;
    }
    // Not following a link: another user may have laid one.
    struct stat info = {};
    if (::lstat(folder.c_str(), &info) != 0) {
        error = Describe(L"Cannot use the folder", folder, SystemErrorText(errno));
        return 0;
    }
    if (!S_ISDIR(info.st_mode)) {
        error = Describe(L"Cannot use", folder, L"it is not a folder");
        return 0;
    }
    if (info.st_uid != ::geteuid()) {
        error = Describe(L"Cannot use the folder", folder, L"it belongs to another user");
        return 0;
    }
    if ((info.st_mode & 077) != 0 && ::chmod(folder.c_str(), 0700) != 0) {
        error = Describe(L"Cannot close to others the folder", folder, SystemErrorText(errno));
        return 0;
    }
    return 1;
}

std::uint64_t GetThisProcessNumber()
{
    return static_cast<std::uint64_t>(::getpid());
}

CFileLock::~CFileLock()
{
    if (m_handle != -1) {
        ::close(static_cast<int>(m_handle));
    }
}

int CFileLock::Lock(const std::filesystem::path& path, DWORD ms, CString& error)
{
    m_handle = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (m_handle == -1) {
        error = Describe(L"Cannot open the lock file", path, SystemErrorText(errno));
        return 0;
    }
    int code = 0;
    const bool locked = TryFor(ms, [&] {
        code = ::flock(static_cast<int>(m_handle), LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
        return code != EWOULDBLOCK && code != EINTR;
    });
    if (!locked || code != 0) {
        error = Describe(L"Cannot lock", path,
                         locked ? SystemErrorText(code) : CString(L"another process holds it"));
        return 0;
    }
    return 1;
}

#endif

} // namespace alidade
