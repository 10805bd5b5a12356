#include "foundation/bus/data/BlockFile.h"

#include <windows.h>

namespace alidade {
namespace {

HANDLE HandleOf(std::intptr_t file)
{
    return reinterpret_cast<HANDLE>(file);
}

/// Locks a byte far behind the end, where nobody reads or writes.
bool Lock(std::intptr_t file, ::DWORD flags)
{
    OVERLAPPED place = {};
    place.OffsetHigh = 0x40000000;
    return ::LockFileEx(HandleOf(file), flags | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) != 0;
}

} // namespace

bool LockBlockFile(std::intptr_t file)
{
    // A reader that asks whether a writer is there holds the byte for a moment.
    for (int attempt = 0; attempt < 50; ++attempt) {
        if (Lock(file, LOCKFILE_EXCLUSIVE_LOCK)) {
            return true;
        }
        ::Sleep(1);
    }
    return false;
}

bool IsBlockFileLocked(std::intptr_t file)
{
    if (!Lock(file, 0)) {
        return true;
    }
    OVERLAPPED place = {};
    place.OffsetHigh = 0x40000000;
    ::UnlockFileEx(HandleOf(file), 0, 1, 0, &place);
    return false;
}

bool IsBlockFileRemoved(std::intptr_t file)
{
    FILE_STANDARD_INFO info = {};
    return ::GetFileInformationByHandleEx(HandleOf(file), FileStandardInfo, &info, sizeof(info)) == 0 ||
           info.DeletePending != 0;
}

/// Access rights of the folder decide here: the file lies in the user's own.
bool IsBlockFileOwn(std::intptr_t)
{
    return true;
}

int SizeBlockFile(std::intptr_t file, std::uint64_t size)
{
    FILE_END_OF_FILE_INFO end = {};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
    return ::SetFileInformationByHandle(HandleOf(file), FileEndOfFileInfo, &end, sizeof(end)) != 0
               ? 0
               : static_cast<int>(::GetLastError());
}

} // namespace alidade
