// Variables out of documents of any bytes; the first byte chooses how they are read.
#include "fuzz/Fuzz.h"

#include "foundation/bus/text/VariableJson.h"
#include "foundation/bus/wire/VariableCbor.h"

using namespace alidade;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::uint8_t mode = size != 0 ? data[0] : 0;
    const std::span<const std::uint8_t> document(data + (size != 0), size - (size != 0));

    if ((mode & 1) != 0) {
        CCborReader reader(document);
        FUZZ_CHECK(reader.Skip() == reader.IsOk());
        FUZZ_CHECK(reader.GetOffset() <= document.size());
    }

    T_CBOR_LIMITS limits;
    limits.depth = (mode & 2) != 0 ? 100000 : 64;
    auto owned = std::make_shared<std::vector<std::uint8_t>>(document.begin(), document.end());
    const std::span<const std::uint8_t> bytes(*owned);
    CIPVariable variable;
    variable.SetValue(4711);
    CString error;
    if (!DecodeVariable(bytes, variable, error, limits, (mode & 4) != 0 ? owned : nullptr)) {
        FUZZ_CHECK(!error.empty() && variable.GetInt() == 4711);
        return 0;
    }
    owned.reset();

    // What was read comes back the same, as the same bytes.
    std::vector<std::uint8_t> again;
    FUZZ_CHECK(EncodeVariable(variable, again) == again.size());
    CIPVariable back;
    FUZZ_CHECK(DecodeVariable(again, back, error, limits) && back == variable);
    std::vector<std::uint8_t> third;
    EncodeVariable(back, third);
    FUZZ_CHECK(third == again);

    VariableToJson(variable);
    return 0;
}
