#pragma once

#include "foundation/config/ProfileSection.h"

#include <string_view>

namespace alidade {

/// Fills a section by the good lines of an INI text (see ScanIni): settings before the first heading become
/// its items, the sections of the text its sub-sections. Of settings of one key in one section the last one
/// counts. A setting's comment is the last run of comment lines before it.
/// @return false when the text cannot be taken, with the section unchanged
bool ReadIni(std::string_view text, CProfileSection& root);

/// The text of comment lines without their marks; lines are parted by "\n".
CString CommentText(std::string_view lines);

} // namespace alidade
