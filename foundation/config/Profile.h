#pragma once

#include "foundation/Export.h"
#include "foundation/config/ProfileSection.h"
#include "foundation/utility/Archive.h"

#include <memory>

namespace alidade {

/// A settings file in memory: sections by name, in the INI form.
///
/// On disk a sub-section's name is its path, as in [CameraSettings/Cam1/Lens_0]. Comments, order and
/// what other programs wrote survive a save. Characters that the form cannot hold as they stand (line
/// breaks, leading and trailing blanks, "=" in a key, "]" or "/" in a section name ...) are written as
/// decimal character references such as &#10; and read back. See docs/settings-file.md.
///
/// A damaged file is read as far as it is good: bad lines are passed over, the first one's number is
/// logged, and the file is copied aside (".bad" behind its name) before the first save over it.
/// Saving goes through a temporary file, so that a failed save leaves the old file whole. Bound to one
/// thread.
class ALIDADE_FOUNDATION_API CProfile {
public:
    /// Bound to `path` (may be null); nothing is read yet.
    /// @param comment  heads a file that is new; may be null
    explicit CProfile(const wchar_t* path = nullptr,
                      CArchiveU::eENCODING encoding = CArchiveU::ENCODING_DEFAULT,
                      const wchar_t* comment = nullptr);
    ~CProfile();
    CProfile(const CProfile&) = delete;
    CProfile& operator=(const CProfile&) = delete;

    /// Replaces the content by a file's; a null path means the bound file. A file of another encoding with a
    /// byte-order mark is recognised whatever `encoding` says. A file that is not there is not logged.
    /// @return 1, also for a damaged file; 0 when the file cannot be read, with the content unchanged
    int Load(const wchar_t* path = nullptr, CArchiveU::eENCODING encoding = CArchiveU::ENCODING_DEFAULT);
    /// Writes the content; a null path means the bound file. A file that holds it already is not touched, and
    /// missing folders are made. ENCODING_DEFAULT is the constructor's encoding, and keeps the byte-order
    /// mark of a UTF-8 file that was loaded.
    /// @return 1, or 0 with the old file whole and a line in the log
    int Save(const wchar_t* path = nullptr, CArchiveU::eENCODING encoding = CArchiveU::ENCODING_DEFAULT);

    /// The top-level section, created when absent. A name with "/" in it is one name, not a path.
    CProfileSection& GetSection(const wchar_t* name);
    const CProfileSection* FindSection(const wchar_t* name) const;
    int DeleteSection(const wchar_t* name);
    /// All top-level sections, as sub-sections of one without a name.
    const CProfileSection& GetRoot() const;

    const wchar_t* GetProfileValue(const wchar_t* section, const wchar_t* key,
                                   const wchar_t* defaultValue) const;
    int SetProfileValue(const wchar_t* section, const wchar_t* key, const wchar_t* value,
                        const wchar_t* comment = nullptr);

    const CString& GetPath() const;
    /// Where Load and Save report; null: nowhere.
    void SetLog(CSimpleLog* log);
    /// Number of the first line that could not be read by the last Load, 0 when all were good.
    int GetFirstBadLine() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};

} // namespace alidade
