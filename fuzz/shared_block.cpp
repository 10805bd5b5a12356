// Shared blocks: whatever lies in the memory when a block is opened, and whatever is written there
// afterwards, reading keeps within it.
#include "fuzz/Fuzz.h"

#include "foundation/bus/data/BlockReader.h"
#include "foundation/platform/Text.h"

using namespace alidade;

namespace {

void ReadEverything(const CBlockReader& reader)
{
    std::vector<std::uint64_t> words;
    reader.ReadAll(words);
    const auto& items = reader.GetDirectory().GetItems();
    for (int i = 0; i < static_cast<int>(items.size()); ++i) {
        const T_IP_DATA_ITEM& item = items[static_cast<std::size_t>(i)];
        FUZZ_CHECK(reader.GetDirectory().Find(item.path) == i);
        if (item.type != IPDATA_STRING) {
            continue;
        }
        try {
            const CStringA text = ReadBlockText(reader.GetBlock(), reader.GetItem(i));
            FUZZ_CHECK(text.size() <= item.capacity && IsValidUtf8(text));
        } catch (const CIPException&) {
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 8) {
        return 0;
    }
    std::vector<std::uint64_t> memory(size / 8);
    std::memcpy(memory.data(), data, memory.size() * 8);
    CBlockReader reader;
    CString text;
    if (!reader.OpenMemory(reinterpret_cast<const std::byte*>(memory.data()), memory.size() * 8, text)) {
        FUZZ_CHECK(!text.empty() && !reader.IsOpen());
        return 0;
    }
    ReadEverything(reader);
    // The writer scribbles: first over the header, then over everything.
    std::uint64_t random = size;
    for (const std::size_t end : {sizeof(T_BLOCK_HEADER) / 8, memory.size()}) {
        for (std::size_t i = 0; i < end; ++i) {
            random = random * 6364136223846793005 + (data[i] | 1);
            memory[i] = random ^ (random >> 29);
        }
        ReadEverything(reader);
    }
    return 0;
}
