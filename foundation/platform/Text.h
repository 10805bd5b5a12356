#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <cstdarg>
#include <filesystem>
#include <string_view>

namespace alidade {

/// Wide text of UTF-8. A malformed byte becomes U+FFFD. Reentrant.
ALIDADE_FOUNDATION_API CString ToWide(std::string_view utf8);
/// UTF-8 of wide text. A lone surrogate becomes U+FFFD. Reentrant.
ALIDADE_FOUNDATION_API CStringA ToNarrow(std::wstring_view text);

/// UTF-16 code units of wide text, for files and wire layouts that hold 16-bit characters.
ALIDADE_FOUNDATION_API std::u16string ToUtf16(std::wstring_view text);
/// Wide text of UTF-16 code units. A lone surrogate becomes U+FFFD.
ALIDADE_FOUNDATION_API CString FromUtf16(std::u16string_view text);

/// True when `text` is well-formed UTF-8 (no overlong forms, no surrogates).
ALIDADE_FOUNDATION_API bool IsValidUtf8(std::string_view text);

/// A file system path of the system's own text. Back-slashes separate folders on every platform.
ALIDADE_FOUNDATION_API std::filesystem::path ToPath(std::wstring_view path);
/// The text of a path, with the platform's own separators.
ALIDADE_FOUNDATION_API CString FromPath(const std::filesystem::path& path);

/// printf-style formatting. In a wide format %s takes wide text and %S narrow text; in a narrow
/// format the other way about. An argument that does not fit its conversion is undefined, as in printf.
ALIDADE_FOUNDATION_API CString Format(const wchar_t* format, ...);
ALIDADE_FOUNDATION_API CStringA Format(const char* format, ...);
ALIDADE_FOUNDATION_API CString FormatV(const wchar_t* format, va_list args);
ALIDADE_FOUNDATION_API CStringA FormatV(const char* format, va_list args);

/// Three-way comparison that ignores case: below 0, 0 or above 0.
ALIDADE_FOUNDATION_API int CompareNoCase(std::wstring_view a, std::wstring_view b);
ALIDADE_FOUNDATION_API int CompareNoCase(std::string_view a, std::string_view b);

/// `text` without white space at either end.
ALIDADE_FOUNDATION_API std::wstring_view Trim(std::wstring_view text);
ALIDADE_FOUNDATION_API std::string_view Trim(std::string_view text);

} // namespace alidade
