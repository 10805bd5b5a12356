#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <filesystem>

namespace alidade {

/// The folder for what the processes of this user share while they run. Not made yet.
ALIDADE_FOUNDATION_API std::filesystem::path GetUserRuntimeFolder();

/// Makes a folder, unless it is there, that no other user can look into. Its parent exists.
/// @return 0 and the reason when it cannot be made, belongs to another user, or is something else
ALIDADE_FOUNDATION_API int MakePrivateFolder(const std::filesystem::path& folder, CString& error);

/// The number of this process, as the system's own tools show it.
ALIDADE_FOUNDATION_API std::uint64_t GetThisProcessNumber();

/// A lock between processes on a file, which is made; it goes with the object or the process.
class ALIDADE_FOUNDATION_API CFileLock {
public:
    CFileLock() = default;
    ~CFileLock();
    CFileLock(const CFileLock&) = delete;
    CFileLock& operator=(const CFileLock&) = delete;

    /// Waits up to `ms` milliseconds of real time for the lock; once only.
    /// @return 0 and the reason when it is not had
    int Lock(const std::filesystem::path& path, DWORD ms, CString& error);

private:
    std::intptr_t m_handle = -1;
};

} // namespace alidade
