#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

namespace alidade {

/// The host's task, as far as paths go: relative ones count from its folder. Back-slashes are accepted on
/// every platform. Thread-safe.
class ALIDADE_FOUNDATION_API IIPTask {
public:
    /// @param folder  the task's folder; a relative one counts from the current folder at this moment
    explicit IIPTask(const wchar_t* folder);
    virtual ~IIPTask();

    /// The absolute path, without "." and ".."; the folder itself for null or an empty path.
    virtual CString GetAbsPath(const wchar_t* path) const;
    /// The path relative to the task's folder; unchanged where there is none, as on another drive.
    virtual CString GetRelPath(const wchar_t* path) const;

private:
    CString m_folder;
};

} // namespace alidade
