#pragma once

#include "foundation/Export.h"
#include "foundation/bus/wire/CborTypes.h"
#include "foundation/platform/Types.h"

#include <span>
#include <string_view>
#include <vector>

namespace alidade {

/// Reads CBOR items one after the other out of bytes that nobody has checked. It takes every well-formed
/// encoding: integers and floats of any width, strings, arrays and maps of indefinite length; tags are passed
/// over.
///
/// The first error stays: from then on every reading operation fails and changes nothing. Nothing is
/// allocated for bytes that are only announced, and nothing recurses. Reentrant.
class ALIDADE_FOUNDATION_API CCborReader {
public:
    /// An array or map that is being read.
    struct T_SEQUENCE {
        std::uint64_t left = 0; // items (of a map: pairs), not used when indefinite
        bool indefinite = false;
    };

    /// @param data    not owned; outlives the reader and the views that it gives
    /// @param owner   keeps `data` alive, and unchanged, for long byte strings that are shared with it
    /// (ReadShared);
    ///                null: they are copied
    explicit CCborReader(std::span<const std::uint8_t> data, const T_CBOR_LIMITS& limits = {},
                         std::shared_ptr<const void> owner = nullptr);

    bool IsOk() const { return m_error.empty(); }
    /// What is wrong, where: one sentence; empty when nothing is.
    const CString& GetError() const { return m_error; }
    /// Enters an error of the caller's at the present place, unless there is one. Always false.
    bool Fail(const CString& text);
    /// Adds to the error's text, for a caller who knows more of the place.
    void AddToError(const CString& text) { m_error += text; }
    const T_CBOR_LIMITS& GetLimits() const { return m_limits; }
    const std::shared_ptr<const void>& GetOwner() const { return m_owner; }
    /// Of the next item, tags included.
    std::size_t GetOffset() const { return m_at; }
    std::size_t GetRemaining() const { return m_data.size() - m_at; }

    /// Kind of the next item, which stays.
    eCBOR_KIND Peek();
    /// @name Taking the next item
    /// False, with an error, when it is of another kind or malformed; the target is untouched then.
    ///@{
    bool ReadUnsigned(std::uint64_t& value, std::uint64_t most = UINT64_MAX);
    /// A float without a fraction counts too.
    bool ReadInt(std::int64_t& value, std::int64_t least = INT64_MIN, std::int64_t most = INT64_MAX);
    /// Any number; an integer that no double holds is rounded.
    bool ReadDouble(double& value);
    bool ReadBool(bool& value);
    bool ReadText(CStringA& value);
    /// @param view   the text: within the data, or within `store` when it comes in pieces
    bool ReadText(std::string_view& view, CStringA& store);
    bool ReadBytes(std::vector<std::uint8_t>& value);
    bool ReadBytes(std::span<const std::uint8_t>& view, std::vector<std::uint8_t>& store);
    /// A byte string of one piece, kept alive by the owner of the data. False without an error when it is
    /// shorter than kCborSharedBytes, comes in pieces, or there is no owner: then read it otherwise.
    bool ReadShared(std::shared_ptr<const void>& data, std::size_t& size);
    bool BeginArray(T_SEQUENCE& sequence);
    bool BeginMap(T_SEQUENCE& sequence);
    /// True when a further item (of a map: pair) of the sequence follows; false at its end, which is taken,
    /// and after an error.
    bool HasMore(T_SEQUENCE& sequence);
    /// Takes null or undefined; false, without an error, when the next item is another.
    bool SkipNull();
    /// Passes over the next item whole, of any kind.
    bool Skip();
    ///@}
    /// False, with an error, when bytes follow.
    bool Finish();

private:
    bool LoadHead();
    bool Take(eCBOR_KIND kind, const wchar_t* due);
    bool FailAt(std::size_t at, const CString& text);
    template <class Target>
    bool ReadPieces(unsigned major, std::span<const std::uint8_t>& view, Target& store);
    std::span<const std::uint8_t> TakeBytes();

    const std::span<const std::uint8_t> m_data;
    const T_CBOR_LIMITS m_limits;
    const std::shared_ptr<const void> m_owner;
    CString m_error;
    std::size_t m_at = 0;

    // The head of the item at m_at, once it was looked at.
    bool m_loaded = false;
    eCBOR_KIND m_kind = eCBOR_KIND::End;
    bool m_indefinite = false;
    std::uint64_t m_argument = 0; // integer, length, count, 0 or 1
    double m_float = 0.0;
    std::size_t m_next = 0; // behind the head
};

} // namespace alidade
