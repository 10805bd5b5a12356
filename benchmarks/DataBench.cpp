#include "benchmarks/Harness.h"

#include "foundation/bus/IPDataWriter.h"
#include "foundation/bus/data/BlockMemory.h"
#include "foundation/platform/Ticks.h"

#include <atomic>
#include <cstdio>

namespace alidade::bench {
namespace {

constexpr int kItems = 64;
constexpr int kRounds = 100;

volatile double s_sum = 0.0;

} // namespace

void BenchData(CSuite& suite)
{
    const std::string name = "CIPDataItemIterator::GetDouble, 64 items";
    if (!suite.IsWanted(name)) {
        return;
    }
    const CStringA blockName = "bench" + std::to_string(GetTickNanoseconds());
    std::vector<T_IP_DATA_ITEM> items;
    for (int i = 0; i < kItems; ++i) {
        items.push_back({"position[" + std::to_string(i) + "]", IPDATA_DOUBLE, 0});
    }
    CIPDataWriter writer(L"Bench");
    CIPData data(L"Bench");
    CBlockMemory memory;
    CString text;
    if (writer.Create(blockName.c_str(), items, text) == 0 || data.Open(blockName.c_str(), text) == 0 ||
        !memory.Create("alidade-" + blockName, kItems * sizeof(double), text)) {
        std::fprintf(stderr, "alidade-bench: %ls\n", text.c_str());
        return;
    }
    auto* values = reinterpret_cast<double*>(memory.GetData());
    std::vector<CIPDataItemIterator> iterators;
    for (int i = 0; i < kItems; ++i) {
        writer.SetDouble(i, i);
        values[i] = i;
        iterators.push_back(data.GetDataItem(items[static_cast<std::size_t>(i)].path.c_str()));
    }

    suite.Compare(
        name, 10.0,
        [&] {
            double sum = 0.0;
            for (int round = 0; round < kRounds; ++round) {
                for (const CIPDataItemIterator& item : iterators) {
                    sum += item.GetDouble();
                }
            }
            s_sum = sum;
        },
        [&] {
            double sum = 0.0;
            for (int round = 0; round < kRounds; ++round) {
                for (int i = 0; i < kItems; ++i) {
                    sum += std::atomic_ref<double>(values[i]).load(std::memory_order_relaxed);
                }
            }
            s_sum = sum;
        });
}

} // namespace alidade::bench
