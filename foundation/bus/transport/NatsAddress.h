#pragma once

#include "foundation/Export.h"
#include "foundation/platform/Types.h"

#include <string_view>
#include <vector>

namespace alidade {

/// "nats://[user:password@|token@]host[:port][,host[:port]]...[?option=value[&...]]", or "tls://...".
/// User, password, token and values may hold any character as %XX. Options: "ca" a file with trusted
/// certificates, "bus" the bus on that server.
struct T_NATS_ADDRESS {
    std::vector<CStringA> servers; // as "nats://host:port"
    CStringA user;
    CStringA password;
    CStringA token;
    CStringA caFile;
    CStringA bus = "alidade"; // letters, digits, dashes and underscores
    bool tls = false;
};

/// @param error  why not; never holds the password or token
/// @return 0 for anything else than such an address
ALIDADE_FOUNDATION_API int ParseNatsAddress(std::string_view text, T_NATS_ADDRESS& address, CString& error);

} // namespace alidade
