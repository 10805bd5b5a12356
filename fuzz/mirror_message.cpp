// Messages of a mirrored block: what is taken for one is exactly one.
#include "fuzz/Fuzz.h"

#include "foundation/bus/data/MirrorWire.h"

using namespace alidade;

namespace {

const CBlockDirectory& GetDirectory()
{
    static const CBlockDirectory s_directory = [] {
        CBlockDirectory directory;
        CString text;
        const std::vector<T_IP_DATA_ITEM> items = {
            {"int", IPDATA_INT, 0}, {"text", IPDATA_STRING, 12}, {"double", IPDATA_DOUBLE, 0}};
        FUZZ_CHECK(directory.Plan(items, text));
        return directory;
    }();
    return s_directory;
}

std::string ReadAndWriteAgain(std::string_view bytes)
{
    CArchiveU archive(bytes.data(), bytes.size());
    const T_MIRROR_HEAD head = DecodeMirrorHead(archive);
    if (head.kind == MIRROR_DEFINITION) {
        const std::vector<T_IP_DATA_ITEM> items = DecodeMirrorDefinition(archive);
        CBlockDirectory directory;
        CString text;
        FUZZ_CHECK(directory.Plan(items, text) || !text.empty());
        return EncodeMirrorDefinition(head, items);
    }
    if (head.kind == MIRROR_VALUES) {
        std::vector<std::uint64_t> words;
        const std::uint64_t write = DecodeMirrorValues(archive, GetDirectory(), words);
        return EncodeMirrorValues(head, write, GetDirectory(), words);
    }
    return EncodeMirrorHead(head);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    try {
        FUZZ_CHECK(ReadAndWriteAgain(bytes) == bytes);
    } catch (const CArchiveException&) {
    }
    return 0;
}
