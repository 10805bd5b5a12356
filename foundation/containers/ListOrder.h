#pragma once

#include "foundation/platform/Types.h"

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

namespace alidade {

/// The order by which Sort compares the objects of a list. Specialise it for a type whose order is not
/// operator<. Less must not throw.
///
/// A specialisation may add a static Key(const T&), whose values have an order such that
/// Key(a) < Key(b) implies Less(a, b). Sort then reaches for the objects only where two keys are equal.
template <class T>
struct TListOrder {
    static bool Less(const T& a, const T& b) { return a < b; }
};

/// The first bytes of a text, as numbers that compare as the bytes do.
struct T_TEXT_KEY {
    static constexpr std::size_t kBytes = 16;

    std::uint64_t high = 0;
    std::uint64_t low = 0;

    T_TEXT_KEY() = default;
    explicit T_TEXT_KEY(const unsigned char* bytes) : high(BigEndian(bytes)), low(BigEndian(bytes + 8)) {}
    auto operator<=>(const T_TEXT_KEY&) const = default;

private:
    /// Spelt out, so that compilers make one load of it.
    static std::uint64_t BigEndian(const unsigned char* p)
    {
        return std::uint64_t{p[0]} << 56 | std::uint64_t{p[1]} << 48 | std::uint64_t{p[2]} << 40 |
               std::uint64_t{p[3]} << 32 | std::uint64_t{p[4]} << 24 | std::uint64_t{p[5]} << 16 |
               std::uint64_t{p[6]} << 8 | std::uint64_t{p[7]};
    }
};

inline T_TEXT_KEY TextSortKey(std::string_view text)
{
    unsigned char bytes[T_TEXT_KEY::kBytes] = {};
    std::memcpy(bytes, text.data(), std::min(text.size(), T_TEXT_KEY::kBytes));
    return T_TEXT_KEY(bytes);
}

/// Key of the text's units in the manner of UTF-8, whose bytes compare as the units do. A unit that is no
/// character may be out of its reach; the key ends there.
inline T_TEXT_KEY TextSortKey(std::wstring_view text)
{
    constexpr std::int64_t kMost = 0x1FFFFF;
    static constexpr int kLead[] = {0, 0xC0, 0xE0, 0xF0};

    unsigned char bytes[T_TEXT_KEY::kBytes + 3] = {}; // the last character may stick out
    text = text.substr(0, T_TEXT_KEY::kBytes);
    std::uint32_t all = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        all |= static_cast<std::uint32_t>(text[i]);
        bytes[i] = static_cast<unsigned char>(text[i]);
    }
    if (all < 0x80) {
        return T_TEXT_KEY(bytes);
    }
    std::fill(std::begin(bytes), std::end(bytes), static_cast<unsigned char>(0));
    std::size_t at = 0;
    for (std::size_t i = 0; i < text.size() && at < T_TEXT_KEY::kBytes; ++i) {
        const std::int64_t unit = text[i];
        if (unit < 0) {
            break;
        }
        const std::int64_t c = std::min(unit, kMost);
        int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        bytes[at++] = static_cast<unsigned char>(kLead[more] | c >> (6 * more));
        while (more-- > 0) {
            bytes[at++] = static_cast<unsigned char>(0x80 | (c >> (6 * more) & 0x3F));
        }
        if (c == kMost) {
            break;
        }
    }
    return T_TEXT_KEY(bytes);
}

template <>
struct TListOrder<CString> {
    static bool Less(const CString& a, const CString& b) { return a < b; }
    static T_TEXT_KEY Key(const CString& text) { return TextSortKey(text); }
};

template <>
struct TListOrder<CStringA> {
    static bool Less(const CStringA& a, const CStringA& b) { return a < b; }
    static T_TEXT_KEY Key(const CStringA& text) { return TextSortKey(text); }
};

} // namespace alidade
