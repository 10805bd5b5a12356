#include "foundation/bus/data/BlockName.h"

#include "foundation/platform/Text.h"

#include <cstdlib>

namespace alidade {

CStringA EncodeNamePart(std::string_view name)
{
    constexpr std::size_t kMost = 64; // four parts keep below the 255 bytes of a file name
    constexpr std::size_t kHashed = 17;
    CStringA encoded;
    std::uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        hash = (hash ^ byte) * 0x100000001b3;
        const bool plain =
            (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
        encoded += plain ? CStringA(1, c) : Format("%%%02X", static_cast<unsigned>(byte));
    }
    if (encoded.size() > kMost) {
        encoded.resize(kMost - kHashed);
        encoded += Format("~%08X%08X", static_cast<unsigned>(hash >> 32), static_cast<unsigned>(hash));
    }
    return encoded;
}

CStringA MakeBlockMapName(std::string_view instance, std::wstring_view family, std::string_view blockName)
{
    return "alidade-" + EncodeNamePart(instance) + "-" + EncodeNamePart(ToNarrow(family)) + "-" +
           EncodeNamePart(blockName);
}

CStringA GetBlockInstance()
{
    const char* instance = std::getenv("ALIDADE_INSTANCE");
    return instance != nullptr ? instance : "";
}

} // namespace alidade
