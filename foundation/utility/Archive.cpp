#include "foundation/utility/Archive.h"

#include "foundation/platform/Text.h"

#include <cstring>

namespace alidade {
namespace {

// The length of a text: one byte, or this mark and 16 bits, or both marks and 32 bits, or all and 64 bits.
constexpr BYTE kMark8 = 0xFF;
constexpr WORD kMark16 = 0xFFFF;
constexpr DWORD kMark32 = 0xFFFFFFFF;
constexpr WORD kWide = 0xFFFE; // in place of a 16-bit length: a text of 16-bit units follows

/// What the bytes 0x80 to 0x9F stand for in Windows-1252; its five unused ones stand for themselves.
constexpr char16_t kWindows1252[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                       0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                       0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                       0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

CString FromNarrow(std::string_view bytes)
{
    if (IsValidUtf8(bytes)) {
        return ToWide(bytes);
    }
    CString text;
    text.reserve(bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += static_cast<wchar_t>(byte >= 0x80 && byte < 0xA0 ? kWindows1252[byte - 0x80] : byte);
    }
    return text;
}

} // namespace

CArchiveException::~CArchiveException() = default;

CArchiveU::CArchiveU(const void* data, std::size_t size)
    : m_bStoring(false), m_unread(static_cast<const char*>(data), data != nullptr ? size : 0)
{
}

void CArchiveU::WriteBytes(const void* data, std::size_t size)
{
    if (!m_bStoring) {
        throw CArchiveException("archive: opened for reading");
    }
    m_written.append(static_cast<const char*>(data), size);
}

void CArchiveU::ReadBytes(void* data, std::size_t size)
{
    const std::string_view bytes = Take(size, 1);
    if (size > 0) {
        std::memcpy(data, bytes.data(), size);
    }
}

void CArchiveU::WriteInteger(std::uint64_t value, std::size_t size)
{
    char bytes[8];
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>(value >> (8 * i));
    }
    WriteBytes(bytes, size);
}

std::uint64_t CArchiveU::ReadInteger(std::size_t size)
{
    std::uint64_t value = 0;
    const std::string_view bytes = Take(size, 1);
    for (std::size_t i = 0; i < size; ++i) {
        value |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    }
    return value;
}

std::string_view CArchiveU::Take(std::uint64_t count, std::size_t unit)
{
    if (m_bStoring) {
        throw CArchiveException("archive: opened for writing");
    }
    if (count > m_unread.size() / unit) {
        throw CArchiveException("archive: ends " + std::to_string(m_unread.size()) +
                                " bytes on, but an item of " + std::to_string(count) + " x " +
                                std::to_string(unit) + " bytes was to follow");
    }
    const std::string_view bytes = m_unread.substr(0, static_cast<std::size_t>(count) * unit);
    m_unread.remove_prefix(bytes.size());
    return bytes;
}

void CArchiveU::WriteString(std::wstring_view text)
{
    const std::u16string units = ToUtf16(text);
    const std::uint64_t length = units.size();
    Write(kMark8);
    Write(kWide);
    if (length < kMark8) {
        Write(static_cast<BYTE>(length));
    } else {
        Write(kMark8);
        if (length < kWide) {
            Write(static_cast<WORD>(length));
        } else {
            Write(kMark16);
            if (length < kMark32) {
                Write(static_cast<DWORD>(length));
            } else {
                Write(kMark32);
                Write(length);
            }
        }
    }
    for (const char16_t unit : units) {
        Write(static_cast<WORD>(unit));
    }
}

CString CArchiveU::ReadString()
{
    bool wide = false;
    std::uint64_t length = Read<BYTE>();
    if (length == kMark8) {
        length = Read<WORD>();
        if (length == kWide) {
            wide = true;
            length = Read<BYTE>();
            length = length == kMark8 ? Read<WORD>() : length;
            if (length == kWide) {
                throw CArchiveException("archive: a text is marked as wide twice");
            }
            // A length below the mark is a length, in whichever of the two sizes it came.
        }
        if (length == kMark16) {
            length = Read<DWORD>();
            length = length == kMark32 ? Read<std::uint64_t>() : length;
        }
    }
    if (!wide) {
        return FromNarrow(Take(length, 1));
    }
    const std::string_view bytes = Take(length, 2);
    std::u16string units(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                         static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
    }
    return FromUtf16(units);
}

} // namespace alidade
