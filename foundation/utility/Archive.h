#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <bit>
#include <concepts>
#include <stdexcept>
#include <string_view>
#include <type_traits>

namespace alidade {

/// Raised when an archive ends before what is read from it, or holds what cannot be.
class ALIDADE_FOUNDATION_API CArchiveException : public std::runtime_error {
public:
    explicit CArchiveException(const std::string& text) : std::runtime_error(text) {}
    ~CArchiveException() override;
};

/// A little-endian binary archive in memory: one that is made empty is written, one that is made on bytes is
/// read. Reading past the end raises CArchiveException, and so does writing to an archive on bytes or reading
/// from one that is written. No length that an archive holds makes it allocate more than its own size asks
/// for. Reentrant.
class ALIDADE_FOUNDATION_API CArchiveU {
public:
    /// Text encodings of files, by number.
    enum eENCODING {
        ENCODING_DEFAULT = 0, // UTF-8 without a byte-order mark
        ENCODING_UTF8_BOM = 1,
        ENCODING_UTF16 = 2, // little-endian with a byte-order mark
    };

    /// For writing; the bytes are had from GetData.
    CArchiveU() = default;
    /// For reading. The bytes are not copied and must outlive the archive.
    CArchiveU(const void* data, std::size_t size);

    bool IsStoring() const { return m_bStoring; }
    const std::string& GetData() const { return m_written; }
    /// Bytes that are still to be read.
    std::size_t GetRemaining() const { return m_unread.size(); }

    /// An integer of 8 to 64 bits, or a double.
    template <class T>
    requires(std::integral<T> && !std::same_as<T, bool>) || std::same_as<T, double> void Write(T value)
    {
        if constexpr (std::same_as<T, double>) {
            WriteInteger(std::bit_cast<std::uint64_t>(value), sizeof(T));
        } else {
            WriteInteger(static_cast<std::uint64_t>(value), sizeof(T));
        }
    }
    template <class T>
    requires(std::integral<T> && !std::same_as<T, bool>) || std::same_as<T, double> T Read()
    {
        const std::uint64_t bits = ReadInteger(sizeof(T));
        if constexpr (std::same_as<T, double>) {
            return std::bit_cast<double>(bits);
        } else {
            return static_cast<T>(bits);
        }
    }

    void WriteBytes(const void* data, std::size_t size);
    void ReadBytes(void* data, std::size_t size);

    /// A text in its wide form: a mark, the length, UTF-16 code units.
    void WriteString(std::wstring_view text);
    /// A text in its wide form, or in its narrow one: UTF-8 when the bytes are that, else Windows-1252.
    CString ReadString();

private:
    void WriteInteger(std::uint64_t value, std::size_t size);
    std::uint64_t ReadInteger(std::size_t size);
    std::string_view Take(std::uint64_t count, std::size_t unit);

    bool m_bStoring = true;
    std::string m_written;
    std::string_view m_unread;
};

} // namespace alidade
