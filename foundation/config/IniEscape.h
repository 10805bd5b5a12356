#pragma once

#include "foundation/platform/Types.h"

#include <string_view>
#include <vector>

namespace alidade {

// Texts as the INI form holds them: UTF-8, with the characters that would not be read back as they stand
// given as decimal character references (&#10;). An ampersand is a plain character unless a reference
// follows.

/// @return UTF-8 text that stands behind the "=" of a line
CStringA EscapeValue(std::wstring_view value);
/// @return UTF-8 text that stands before the "=" of a line; an empty key is &#0;
CStringA EscapeKey(std::wstring_view key);
/// One name of a section's path; an empty name is &#0;
CStringA EscapeName(std::wstring_view name);

CString UnescapeValue(std::string_view text);
/// Of a key or of one name of a path.
CString UnescapeKey(std::string_view text);

/// The names of a section's path, as it stands between the brackets; none for an empty one.
std::vector<CString> SplitSectionPath(std::string_view path);
/// The form in which a path is written, whatever the form in which it was read.
CStringA NormalSectionPath(std::string_view path);

} // namespace alidade
