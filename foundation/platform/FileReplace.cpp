#include "foundation/platform/FileReplace.h"

#include "foundation/platform/SystemError.h"
#include "foundation/platform/Text.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fstream>
#include <system_error>
#include <utility>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace alidade {
namespace {

namespace fs = std::filesystem;

int Fail(CString* error, CString text)
{
    if (error != nullptr) {
        *error = std::move(text);
    }
    return 0;
}

/// For the codes of the C library, which differ from the system's own on Windows.
CString ErrnoText(int code)
{
    return ToWide(std::generic_category().message(code));
}

/// The file that the links at `path` lead to, which need not exist yet.
fs::path FollowLinks(fs::path path)
{
    std::error_code failed;
    for (int links = 0; links < 40 && fs::is_symlink(fs::symlink_status(path, failed)); ++links) {
        const fs::path next = fs::read_symlink(path, failed);
        if (failed) {
            break;
        }
        path = path.parent_path() / next;
    }
    return path;
}

// Below: the steps of a replacement. Each returns 0 or the system's error code.

#ifdef _WIN32

int LastErrorUnless(bool ok)
{
    return ok ? 0 : static_cast<int>(::GetLastError());
}

class CNewFile {
public:
    ~CNewFile() { Close(); }

    int Create(const fs::path& path, const fs::path&)
    {
        m_file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                               nullptr);
        return LastErrorUnless(m_file != INVALID_HANDLE_VALUE);
    }
    int Write(std::string_view bytes)
    {
        while (!bytes.empty()) {
            ::DWORD written = 0;
            const auto part = static_cast<::DWORD>(std::min<std::size_t>(bytes.size(), 1u << 24));
            if (!::WriteFile(m_file, bytes.data(), part, &written, nullptr)) {
                return LastErrorUnless(false);
            }
            bytes.remove_prefix(written);
        }
        return LastErrorUnless(::FlushFileBuffers(m_file) != 0);
    }
    int Close()
    {
        const HANDLE file = std::exchange(m_file, INVALID_HANDLE_VALUE);
        return LastErrorUnless(file == INVALID_HANDLE_VALUE || ::CloseHandle(file) != 0);
    }

private:
    HANDLE m_file = INVALID_HANDLE_VALUE;
};

bool IsNameTaken(int code)
{
    return code == ERROR_FILE_EXISTS || code == ERROR_ALREADY_EXISTS;
}

int RenameOver(const fs::path& from, const fs::path& to)
{
    return LastErrorUnless(
        ::MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0);
}

unsigned long ProcessNumber()
{
    return ::GetCurrentProcessId();
}

/// A file that may not be written stays as it is: the rename refuses it.
int CheckTarget(const fs::path&)
{
    return 0;
}

bool IsDevice(const fs::path&)
{
    return false;
}

int WriteToDevice(const fs::path&, std::string_view)
{
    return 0;
}

#else

int WriteAll(int file, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

class CNewFile {
public:
    ~CNewFile() { Close(); }

    int Create(const fs::path& path, const fs::path& target)
    {
        struct stat old = {};
        const bool exists = ::stat(target.c_str(), &old) == 0;
        m_file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, exists ? 0600 : 0666);
        if (m_file < 0) {
            return errno;
        }
        if (exists) {
            // The owner first: a change of owner clears bits of the mode. Only the system's administrator
            // may.
            [[maybe_unused]] const int ignored = ::fchown(m_file, old.st_uid, old.st_gid);
            if (::fchmod(m_file, old.st_mode & 07777) != 0) {
                const int code = errno;
                ::unlink(path.c_str());
                return code;
            }
        }
        return 0;
    }
    int Write(std::string_view bytes)
    {
        const int code = WriteAll(m_file, bytes);
        return code != 0 ? code : ::fsync(m_file) == 0 ? 0 : errno;
    }
    int Close()
    {
        const int file = std::exchange(m_file, -1);
        return file < 0 || ::close(file) == 0 ? 0 : errno;
    }

private:
    int m_file = -1;
};

bool IsNameTaken(int code)
{
    return code == EEXIST;
}

int RenameOver(const fs::path& from, const fs::path& to)
{
    if (::rename(from.c_str(), to.c_str()) != 0) {
        return errno;
    }
    // The new name reaches the disk with the folder. The data is safe by now, so a failure is no loss.
    const fs::path folder = to.has_parent_path() ? to.parent_path() : fs::path(".");
    const int handle = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle >= 0) {
        ::fsync(handle);
        ::close(handle);
    }
    return 0;
}

unsigned long ProcessNumber()
{
    return static_cast<unsigned long>(::getpid());
}

/// A file that may not be written stays as it is, although its folder would let us replace it.
int CheckTarget(const fs::path& target)
{
    struct stat old = {};
    if (::stat(target.c_str(), &old) != 0) {
        return errno == ENOENT ? 0 : errno;
    }
    return S_ISDIR(old.st_mode) ? EISDIR : ::access(target.c_str(), W_OK) == 0 ? 0 : errno;
}

bool IsDevice(const fs::path& path)
{
    struct stat old = {};
    return ::stat(path.c_str(), &old) == 0 && !S_ISREG(old.st_mode) && !S_ISDIR(old.st_mode);
}

int WriteToDevice(const fs::path& path, std::string_view bytes)
{
    // Without O_NONBLOCK the opening of a pipe that nobody reads would wait.
    const int file = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        return errno;
    }
    ::fcntl(file, F_SETFL, O_WRONLY);
    const int code = WriteAll(file, bytes);
    ::close(file);
    return code;
}

#endif

/// Creates a file beside the target under a name that nobody else uses.
int CreateBeside(CNewFile& file, const fs::path& target, fs::path& name)
{
    static std::atomic<unsigned> s_counter{0};
    int code = 0;
    // A crash of an earlier process with this one's number may have left a file of the same name.
    for (int attempt = 0; attempt < 100; ++attempt) {
        name = target;
        name += ".tmp" + std::to_string(ProcessNumber()) + "-" + std::to_string(s_counter.fetch_add(1));
        code = file.Create(name, target);
        if (!IsNameTaken(code)) {
            break;
        }
    }
    return code;
}

} // namespace

int ReplaceFileWith(const fs::path& path, std::string_view bytes, CString* error)
{
    if (IsDevice(path)) {
        const int code = WriteToDevice(path, bytes);
        return code == 0 ? 1 : Fail(error, SystemErrorText(code));
    }
    const fs::path target = FollowLinks(path);
    if (const int code = CheckTarget(target)) {
        return Fail(error, SystemErrorText(code));
    }
    CNewFile file;
    fs::path temporary;
    int code = CreateBeside(file, target, temporary);
    if (code != 0) {
        return Fail(error, SystemErrorText(code));
    }
    code = file.Write(bytes);
    const int closed = file.Close();
    if (code == 0) {
        code = closed;
    }
    if (code == 0) {
        code = RenameOver(temporary, target);
    }
    if (code != 0) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        return Fail(error, SystemErrorText(code));
    }
    return 1;
}

int ReadWholeFile(const fs::path& path, std::string& bytes, CString* error, std::uint64_t most)
{
    std::error_code failed;
    if (fs::is_directory(path, failed)) {
        return Fail(error, ErrnoText(EISDIR));
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return Fail(error, ErrnoText(errno != 0 ? errno : EIO));
    }
    std::string content;
    std::string block(1 << 16, '\0');
    while (file.read(block.data(), static_cast<std::streamsize>(block.size())) || file.gcount() > 0) {
        content.append(block, 0, static_cast<std::size_t>(file.gcount()));
        if (content.size() > most) {
            return Fail(error, ErrnoText(EFBIG));
        }
    }
    if (file.bad()) {
        return Fail(error, ErrnoText(errno != 0 ? errno : EIO));
    }
    bytes = std::move(content);
    return 1;
}

} // namespace alidade
