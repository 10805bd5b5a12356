// Readers beside a writer that never rests.
#include "tests/bus/data/OwnInstance.h"

#include <atomic>
#include <thread>

namespace alidade {
namespace {

TEST(SharedDataTogether, ReadersNeverSeeHalfOfAWrite)
{
    constexpr int kItems = 64;
    constexpr int kReads = 20000;
    const COwnInstance instance;
    CIPDataWriter writer(L"Tavro");
    CString text;
    std::vector<T_IP_DATA_ITEM> items = MakeNumbers(kItems);
    items.push_back({"text", IPDATA_STRING, 200});
    ASSERT_EQ(writer.Create("hammer", items, text), 1);
    writer.SetString(kItems, "0");

    std::atomic<int> reading{2};
    std::thread hammer([&] {
        for (int write = 1; reading.load() > 0; ++write) {
            writer.Begin();
            for (int i = 0; i < kItems; ++i) {
                writer.SetDouble(i, write);
            }
            writer.SetString(kItems, std::string(static_cast<std::size_t>(write % 150 + 1),
                                                 static_cast<char>('A' + write % 26))
                                         .c_str());
            writer.Commit();
        }
    });
    const auto read = [&](int* torn, int* backwards) {
        CIPData data(L"Tavro");
        CString error;
        std::vector<CIPDataItemIterator> iterators;
        std::vector<double> values(kItems);
        if (data.Open("hammer", error) != 0) {
            for (int i = 0; i < kItems; ++i) {
                iterators.push_back(data.GetDataItem(items[static_cast<std::size_t>(i)].path.c_str()));
            }
            const CIPDataItemIterator textItem = data.GetDataItem("text");
            std::uint64_t last = 0;
            for (int i = 0; i < kReads; ++i) {
                const std::uint64_t write = CIPData::ReadTogether(iterators, values);
                *torn += std::count(values.begin(), values.end(), values[0]) == kItems ? 0 : 1;
                *backwards += write < last ? 1 : 0;
                last = write;
                // One item read alone is no older than what was read before it.
                *backwards += iterators[static_cast<std::size_t>(i % kItems)].GetDouble() < values[0] ? 1 : 0;
                const CStringA line = textItem.GetString();
                *torn += line.find_first_not_of(line[0]) == line.npos ? 0 : 1;
            }
        } else {
            *torn = -1;
        }
        --reading;
    };
    int torn[2] = {};
    int backwards[2] = {};
    std::thread other(read, &torn[1], &backwards[1]);
    read(&torn[0], &backwards[0]);
    other.join();
    hammer.join();
    for (int reader = 0; reader < 2; ++reader) {
        EXPECT_EQ(torn[reader], 0);
        EXPECT_EQ(backwards[reader], 0);
    }
}

} // namespace
} // namespace alidade
