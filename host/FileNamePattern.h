#pragma once

#include "foundation/platform/Types.h"

#include <filesystem>

namespace alidade {

/// File names with a running number, as "out/%04d.png". The number is the only conversion, stands in the
/// file's own name, and is put in by this class: a pattern never reaches printf. Value type.
class CFileNamePattern {
public:
    /// @param error  receives the reason of a refusal
    /// @return 1, or 0 with the pattern unchanged
    int Parse(const CString& pattern, CString& error);

    /// The file of a number.
    std::filesystem::path GetFile(std::uint32_t number) const;
    /// Where all the files lie; "." for the current folder.
    std::filesystem::path GetFolder() const;
    /// With its dot, in lower case.
    CString GetExtension() const;

private:
    CString m_strBefore; // with the folder
    CString m_strAfter;
    int m_nWidth = 0;
    bool m_bZeros = false;
};

} // namespace alidade
