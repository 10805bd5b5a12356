#pragma once

#include "foundation/config/ProfileSection.h"

#include <string_view>

namespace alidade {

/// The text that a new file begins with: a comment and a blank line.
std::string IniHeading(const CString& comment);

/// Brings an INI text (of good lines, see ScanIni) to hold the settings of `root`, and nothing else, by the
/// fewest changes: a line whose setting has not changed stays byte for byte, and so do comments, blank lines
/// and order. New settings go behind the one that precedes them in the section, new sections behind the one
/// that precedes them in the tree. A comment goes only with the section that it stands in.
std::string MergeIni(std::string_view text, const CProfileSection& root);

} // namespace alidade
