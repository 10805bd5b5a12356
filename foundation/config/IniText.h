#pragma once

#include "foundation/platform/Types.h"

#include <string_view>

namespace alidade {

/// Deepest nesting of section names that a settings file may hold.
inline constexpr std::size_t kMaxSectionDepth = 64;
/// Most settings, with the names in all section headings, that a settings file may hold: what is beyond it
/// counts as damage, so that a file of noise does not take all memory.
inline constexpr std::size_t kMaxSettings = 250000;

/// One line of an INI text. The views lie in the text.
struct T_INI_LINE {
    enum eKIND { BLANK, COMMENT, SECTION, ENTRY, BAD };

    eKIND kind = BLANK;
    std::string_view text;  // without the line's end
    std::string_view end;   // the line's end, empty for a last line without one
    std::string_view name;  // the section's path or the key, trimmed, as written
    std::string_view value; // trimmed, as written; empty, it lies where a value would begin
};

/// Goes through the lines of an INI text. Lines end with LF, CR LF or CR. Byte-order marks at the beginning
/// of a line, which files that were joined have inside, are passed over.
class CIniLines {
public:
    explicit CIniLines(std::string_view text) : m_rest(text) {}
    bool Next(T_INI_LINE& line);

private:
    std::string_view m_rest;
};

/// What can be read of an INI text.
struct T_INI_SCAN {
    std::string text;             // the good lines as they stood
    std::size_t firstBadLine = 0; // its number, 0 for none
    std::size_t badLines = 0;
};

/// Leaves out what cannot be read: lines of no known form, malformed UTF-8, nulls, and the settings under a
/// section heading that cannot be read, for they would pass into the section before it.
T_INI_SCAN ScanIni(std::string_view bytes);

} // namespace alidade
