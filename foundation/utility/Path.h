#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <filesystem>

namespace alidade {

/// Splits a path behind its last separator ("/" or "\"): the folder keeps no trailing separator unless it
/// is a root.
ALIDADE_FOUNDATION_API void SplitPath(const wchar_t* path, CString& folder, CString& fileName);
/// As above, with the extension apart; it keeps its dot. A name that begins with its only dot has none.
ALIDADE_FOUNDATION_API void SplitPath(const wchar_t* path, CString& folder, CString& name,
                                      CString& extension);

/// Makes `path` absolute, against `base` when it is relative (null or empty: the current folder), with "."
/// and ".." resolved. The file need not exist. 1, or 0 for an empty path.
ALIDADE_FOUNDATION_API int GetAbsolutePath(const wchar_t* base, const wchar_t* path, CString& out);

/// Creates a folder and its parents. 1, also when it exists; 0 when it cannot be had.
ALIDADE_FOUNDATION_API int CreateSubDirectories(const wchar_t* path);

/// The next free file name in `folder` for a template whose run of "?" stands for digits, as in
/// "image_????.png", counting from `first`. The full path; empty when all numbers are taken or the template
/// has no "?". The name is not reserved: another process may take it first.
ALIDADE_FOUNDATION_API CString GetUniqueFileName(const wchar_t* folder, const wchar_t* fileTemplate,
                                                 int first = 0);

/// Changes the process's current folder for the life of the object. A folder that cannot be entered leaves
/// the current one.
class ALIDADE_FOUNDATION_API CPushDirectory {
public:
    explicit CPushDirectory(const wchar_t* path);
    ~CPushDirectory();
    CPushDirectory(const CPushDirectory&) = delete;
    CPushDirectory& operator=(const CPushDirectory&) = delete;
    bool IsChanged() const { return m_changed; }

private:
    std::filesystem::path m_old;
    bool m_changed = false;
};

} // namespace alidade
