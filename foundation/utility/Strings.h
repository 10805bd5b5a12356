#pragma once

#include "foundation/Export.h"
#include "foundation/containers/List.h"
#include "foundation/platform/Types.h"

#include <exception>
#include <vector>

namespace alidade {

/// Splits at one character. Empty pieces count; an empty text gives no piece. The list or vector is cleared
/// first.
ALIDADE_FOUNDATION_API void SplitString(const wchar_t* text, wchar_t separator,
                                        TList<CString, int, int>& pieces);
ALIDADE_FOUNDATION_API void SplitString(const wchar_t* text, wchar_t separator, std::vector<CString>& pieces);

/// Matches a whole text against a wildcard pattern: "*" stands for any run of characters, "?" for one, and
/// `|` separates alternatives. What each "*" and "?" of the alternative that matched stands for is appended
/// to `captures`. Time is bounded by the product of the two lengths.
/// @param flags  1: ignore case
/// @return 1 when it matches
ALIDADE_FOUNDATION_API int FilterString(const wchar_t* text, const wchar_t* pattern,
                                        TList<CString, int, int>& captures, int flags = 0);

/// A number as text: the shortest decimal form that reads back the same.
ALIDADE_FOUNDATION_API CString DtoA(int value);
ALIDADE_FOUNDATION_API CString DtoA(double value);

/// Turns escape sequences (\r \n \t \a \b \f \v \0 \\ \" \' \xHH \uHHHH) into their characters. An unknown
/// sequence stays as it is.
/// @param stop       ends the text where it stands outside a sequence; 0: only the end of the text
/// @param separator  characters that are passed over where they stand outside a sequence; null: none
/// @return number of characters of `text` that were read, the stop character not counted
ALIDADE_FOUNDATION_API int TranslateEscapeCharacters(const wchar_t* text, CString& out, wchar_t stop = 0,
                                                     const wchar_t* separator = nullptr);

/// Appends a hex dump of bytes to `lines`, `perLine` to a line: "00000010  41 42 ..  |AB..|".
/// @param showText  non-zero: printable characters beside the bytes
ALIDADE_FOUNDATION_API void MakeDataToHexForm(TList<CString, int, int>& lines, const void* data,
                                              std::size_t size, int perLine = 16, int showText = 1);

/// The text of a caught exception.
ALIDADE_FOUNDATION_API CString GetErrorMessage(const std::exception& exception);
/// The text of whatever is being handled; call in a catch block.
ALIDADE_FOUNDATION_API CString GetCurrentErrorMessage();

} // namespace alidade
