#include "foundation/bus/transport/LocalTransport.h"
#include "foundation/bus/transport/NatsTransport.h"
#include "foundation/platform/Text.h"

namespace alidade {
namespace {

constexpr std::string_view kLocal = "local:";

bool IsLocal(std::string_view address)
{
    return address.starts_with(kLocal);
}

CStringA GetLocalName(std::string_view address)
{
    return CStringA(address.substr(kLocal.size()));
}

} // namespace

bool CheckBusAddress(const char* address, CString& error)
{
    const std::string_view text = address != nullptr ? address : "";
    if (IsLocal(text)) {
        return CLocalTransport::CheckName(GetLocalName(text), error);
    }
    if (text.starts_with("nats://") || text.starts_with("tls://")) {
        T_NATS_ADDRESS nats;
        return ParseNatsAddress(text, nats, error) != 0;
    }
    error = L"\"" + ToWide(text) +
            L"\" is no address of a bus: local:NAME, nats://HOST:PORT or tls://HOST:PORT are";
    return false;
}

std::unique_ptr<IIPTransport> JoinTransport(const char* address, bool joinOnly, IIPTransportHost& host,
                                            CString& error)
{
    if (!CheckBusAddress(address, error)) {
        return nullptr;
    }
    try {
        if (IsLocal(address)) {
            return CLocalTransport::Join(GetLocalName(address), joinOnly, host, error);
        }
        T_NATS_ADDRESS nats;
        ParseNatsAddress(address, nats, error);
        return CNatsTransport::Join(nats, host, error);
    } catch (const std::exception& failure) {
        error = L"Cannot join the bus: " + ToWide(failure.what());
    }
    return nullptr;
}

} // namespace alidade
