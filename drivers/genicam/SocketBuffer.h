#pragma once

#include "foundation/platform/Types.h"

namespace alidade {

/// Bytes of receive buffer for frames of `payload` bytes: four frames, at least 8 MiB and at most 256 MiB.
int ChooseSocketBuffer(std::size_t payload);
/// Of `asked` bytes what the system grants to a program without privileges; 0 when that is not known.
int GetGrantedSocketBuffer(int asked);
/// True when this process may open packet sockets, which do not use the system's UDP buffers.
bool MayOpenPacketSockets();

} // namespace alidade
