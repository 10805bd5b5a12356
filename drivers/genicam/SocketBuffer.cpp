#include "SocketBuffer.h"

#include <algorithm>
#include <fstream>
#include <string>

namespace alidade {

// Both answers are read from files that other systems do not have: there they are "not known" and "no".

int ChooseSocketBuffer(std::size_t payload)
{
    constexpr std::size_t kFrames = 4, kLeast = 8u << 20, kMost = 256u << 20;
    return static_cast<int>(std::clamp(payload * kFrames, kLeast, kMost));
}

int GetGrantedSocketBuffer(int asked)
{
    std::ifstream file("/proc/sys/net/core/rmem_max");
    long long most = 0;
    return file >> most ? static_cast<int>(std::min<long long>(most, asked)) : 0;
}

bool MayOpenPacketSockets()
{
    constexpr unsigned kRawSockets = 13; // bit of the capability set
    std::ifstream file("/proc/self/status");
    for (std::string word; file >> word;) {
        unsigned long long capabilities = 0;
        if (word == "CapEff:" && file >> std::hex >> capabilities) {
            return (capabilities >> kRawSockets & 1) != 0;
        }
    }
    return false;
}

} // namespace alidade
