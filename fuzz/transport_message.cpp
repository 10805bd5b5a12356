// Messages between processes: whatever comes is refused with a reason or understood, and a request that was
// understood goes on as the same request.
#include "fuzz/Fuzz.h"

#include "foundation/bus/transport/TransportMessage.h"

using namespace alidade;

namespace {

/// The frame as the far side would receive it.
std::shared_ptr<std::vector<std::uint8_t>> Flatten(const T_TRANSPORT_FRAME& frame)
{
    auto bytes = std::make_shared<std::vector<std::uint8_t>>();
    frame.ForEachPiece(
        [&](const std::uint8_t* data, std::size_t size) { bytes->insert(bytes->end(), data, data + size); });
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto owned = std::make_shared<std::vector<std::uint8_t>>(data, data + size);
    T_TRANSPORT_MESSAGE message;
    CString error;
    if (!DecodeTransportMessage({owned->data(), owned->size(), owned}, message, error)) {
        FUZZ_CHECK(!error.empty());
        return 0;
    }
    if (message.kind != TRANSPORT_REQUEST) {
        return 0;
    }
    T_TRANSPORT_FRAME frame;
    FUZZ_CHECK(EncodeRequest(message.number, message.request, message.after, frame, error));
    const auto again = Flatten(frame);
    T_TRANSPORT_MESSAGE back;
    FUZZ_CHECK(DecodeTransportMessage({again->data(), again->size(), again}, back, error));
    FUZZ_CHECK(back.kind == message.kind && back.number == message.number && back.after == message.after);
    FUZZ_CHECK(back.request.task == message.request.task && back.request.unit == message.request.unit);
    FUZZ_CHECK(back.request.group == message.request.group && back.request.name == message.request.name);
    FUZZ_CHECK(back.request.parameter == message.request.parameter);
    return 0;
}
