#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#ifndef INFINITE
/// A wait without limit, in milliseconds. A macro, because the platform's own headers may define it too.
#define INFINITE 0xFFFFFFFF
#endif

namespace alidade {

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;

/// A colour, 0x00BBGGRR.
using COLORREF = std::uint32_t;

/// Wide text. The width of wchar_t is the platform's: never copy one into a file or on the wire.
using CString = std::wstring;
/// Narrow text, UTF-8.
using CStringA = std::string;

} // namespace alidade
