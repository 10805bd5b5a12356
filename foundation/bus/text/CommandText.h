#pragma once

#include "foundation/Export.h"
#include "foundation/bus/IPVariable.h"

#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace alidade {

/// A command as text: what a command line or a script writes. All texts are UTF-8; all operations are
/// reentrant.
struct T_COMMAND_TEXT {
    CStringA unit; // may be empty: any
    CStringA group;
    CStringA name;
    std::vector<CStringA> arguments; // as written, for ParseCommandArguments
};

/// Reads an image file into a variable of matrix type. False, with one sentence, when it cannot.
using COMMAND_IMAGE_LOADER = std::function<bool(const CString& path, CIPVariable& image, CString& error)>;

/// Splits `UNIT GROUP NAME key=value ...` at white space. Double quotes keep a word together and may stand
/// around a whole word or behind "key="; in them \" is a quote and \\ a back-slash, and any other back-slash
/// is itself. An empty unit is written "".
/// @return false, with one sentence, for less than three words, an empty name, or a quote that is not closed;
///         `command` is untouched then
ALIDADE_FOUNDATION_API bool SplitCommandLine(std::string_view line, T_COMMAND_TEXT& command, CString& error);

/// Adds arguments `key=value` to a variable. What a value becomes shows in its form:
///
///   3, -3         int; unsigned above the range of int, and double above that of unsigned
///   2.5, 1e-3     double
///   "3", lens     text; in quotes as above
///   @file         the image that `loader` reads; quotes may stand around the file's name
///   hex:0A0B      raw block
///
/// Dots in a key make nested children: A.B=3.
/// @param loader  may be empty: images are then refused
/// @return false, with one sentence, for anything malformed or a key given twice; `variable` is untouched
/// then
ALIDADE_FOUNDATION_API bool ParseCommandArguments(std::span<const CStringA> arguments, CIPVariable& variable,
                                                  const COMMAND_IMAGE_LOADER& loader, CString& error);

} // namespace alidade
