#pragma once

#include "foundation/bus/IPVariable.h"
#include "foundation/bus/wire/Cbor.h"

namespace alidade {

// A variable as a CBOR document; docs/bus-wire.md says how it looks. All operations are reentrant, and none
// recurses.

/// Appends the document of a variable. The same tree always gives the same bytes. The variable is only read,
/// so several threads may write one at a time.
/// @param blocks  null, or takes long raw blocks that are not copied (CCborWriter)
/// @return number of bytes of the document, blocks included
ALIDADE_FOUNDATION_API std::size_t EncodeVariable(const CIPVariable& variable, std::vector<std::uint8_t>& out,
                                                  std::vector<T_CBOR_BLOCK>* blocks = nullptr);

/// True when a reader with these limits would take the variable; otherwise `error` says why not. For a sender
/// that would rather fail than have its peer refuse.
ALIDADE_FOUNDATION_API bool CheckVariable(const CIPVariable& variable, CString& error,
                                          const T_CBOR_LIMITS& limits = {});

/// Reads a document that holds a variable and nothing else.
/// @param variable  untouched when the document is malformed
/// @param error     what is wrong, and in which byte and child: one sentence
/// @param owner     keeps `data` alive, and unchanged, for as long as it is asked to: raw blocks of
/// kCborSharedBytes and
///                  more are then shared with it instead of copied. Null: everything is copied
ALIDADE_FOUNDATION_API bool DecodeVariable(std::span<const std::uint8_t> data, CIPVariable& variable,
                                           CString& error, const T_CBOR_LIMITS& limits = {},
                                           std::shared_ptr<const void> owner = nullptr);

/// Writes or reads a variable as one item of a larger document. What ReadVariable meets stands in the
/// reader's error.
///@{
ALIDADE_FOUNDATION_API void WriteVariable(CCborWriter& writer, const CIPVariable& variable);
ALIDADE_FOUNDATION_API bool ReadVariable(CCborReader& reader, CIPVariable& variable);
///@}

} // namespace alidade
