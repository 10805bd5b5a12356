#pragma once

#include "foundation/bus/data/BlockDirectory.h"
#include "foundation/utility/Archive.h"

#include <span>

namespace alidade {

/// @name The messages of a mirrored block
/// A head, then what its kind asks for; docs/shared-data.md lists the fields. What is read comes from
/// strangers: reading raises CArchiveException for anything that is not exactly such a message.
///@{

enum eMIRROR_MESSAGE : std::uint16_t {
    MIRROR_DEFINITION = 1,
    MIRROR_VALUES = 2,
    MIRROR_GONE = 3, // the block's writer has gone
    MIRROR_ASK = 4,  // a replica wants the definition
};

struct T_MIRROR_HEAD {
    eMIRROR_MESSAGE kind = MIRROR_ASK;
    std::uint64_t source = 0; // of the mirror that sends, by chance
    std::uint32_t run = 0;    // counts the blocks that this mirror has opened
    bool operator==(const T_MIRROR_HEAD&) const = default;
};

/// A message that is a head alone.
ALIDADE_FOUNDATION_API std::string EncodeMirrorHead(const T_MIRROR_HEAD& head);
ALIDADE_FOUNDATION_API std::string EncodeMirrorDefinition(const T_MIRROR_HEAD& head,
                                                          std::span<const T_IP_DATA_ITEM> items);
/// @param words  of a block with that directory, as CBlockReader::ReadAll gives them
/// @throws CIPException  when a text among them is none
ALIDADE_FOUNDATION_API std::string EncodeMirrorValues(const T_MIRROR_HEAD& head, std::uint64_t write,
                                                      const CBlockDirectory& directory,
                                                      std::span<const std::uint64_t> words);

ALIDADE_FOUNDATION_API T_MIRROR_HEAD DecodeMirrorHead(CArchiveU& message);
/// What follows the head.
ALIDADE_FOUNDATION_API std::vector<T_IP_DATA_ITEM> DecodeMirrorDefinition(CArchiveU& message);
/// What follows the head: the words of a block with that directory.
/// @return the number of the write
ALIDADE_FOUNDATION_API std::uint64_t DecodeMirrorValues(CArchiveU& message, const CBlockDirectory& directory,
                                                        std::vector<std::uint64_t>& words);

///@}

} // namespace alidade
