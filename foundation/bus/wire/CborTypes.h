#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace alidade {

/// Kinds of items of a CBOR document.
enum class eCBOR_KIND : std::uint8_t {
    End, // nothing follows, or an error was met
    Unsigned,
    Negative,
    Bytes,
    Text,
    Array,
    Map,
    Bool,
    Null, // or undefined
    Float,
    Other, // a simple value without a meaning here
    Break  // the end of an array, map or string of indefinite length
};

/// What a reader takes from a peer that is not trusted.
struct T_CBOR_LIMITS {
    std::size_t depth = 64;                     // levels of nested variables or arrays, the outermost counted
    std::size_t nodes = 1000000;                // of one variable
    std::size_t bytes = std::size_t{256} << 20; // of the whole document
};

/// From this size on a byte string may be shared with its source or with the received bytes; below it,
/// copying costs less than keeping count.
constexpr std::size_t kCborSharedBytes = 16384;

/// A byte string that a writer has left out of its bytes: it belongs between them at that place.
struct T_CBOR_BLOCK {
    std::size_t at = 0; // its place in the writer's bytes
    std::shared_ptr<const void> data;
    std::size_t size = 0;
};

} // namespace alidade
