#include "foundation/bus/data/BlockFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace alidade {
namespace {

// A lock of the open file, not of the process: it holds against this process too, does not go when another
// handle on the file is closed, and can be asked for without being taken.
int AskLock(std::intptr_t file, int command, struct flock& lock)
{
    lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_len = 1;
    return ::fcntl(static_cast<int>(file), command, &lock);
}

} // namespace

bool LockBlockFile(std::intptr_t file)
{
    struct flock lock;
    return AskLock(file, F_OFD_SETLK, lock) == 0;
}

bool IsBlockFileLocked(std::intptr_t file)
{
    struct flock lock;
    return AskLock(file, F_OFD_GETLK, lock) == 0 && lock.l_type != F_UNLCK;
}

bool IsBlockFileRemoved(std::intptr_t file)
{
    struct stat status = {};
    return ::fstat(static_cast<int>(file), &status) != 0 || status.st_nlink == 0;
}

bool IsBlockFileOwn(std::intptr_t file)
{
    struct stat status = {};
    return ::fstat(static_cast<int>(file), &status) == 0 && status.st_uid == ::geteuid();
}

int SizeBlockFile(std::intptr_t file, std::uint64_t size)
{
    // Reserved here, so that memory that cannot be had is an error now and no bus error when it is touched.
    int code = 0;
    do {
        code = ::posix_fallocate(static_cast<int>(file), 0, static_cast<off_t>(size));
    } while (code == EINTR);
    return code;
}

} // namespace alidade
