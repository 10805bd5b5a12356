#include "benchmarks/Harness.h"

#include "foundation/containers/List.h"

#include <algorithm>
#include <memory>
#include <random>

namespace alidade::bench {
namespace {

constexpr int kTexts = 1000000;
constexpr int kLength = 16;
constexpr int kPasses = 5;

std::vector<std::unique_ptr<CString>> RandomTexts(std::mt19937& random)
{
    static constexpr std::wstring_view kAlphabet =
        L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::uniform_int_distribution<std::size_t> pick(0, kAlphabet.size() - 1);
    std::vector<std::unique_ptr<CString>> texts(kTexts);
    for (auto& text : texts) {
        text = std::make_unique<CString>(kLength, L' ');
        std::generate(text->begin(), text->end(), [&] { return kAlphabet[pick(random)]; });
    }
    return texts;
}

} // namespace

void BenchContainers(CSuite& suite)
{
    const std::string name = "TList::Sort, 1000000 texts of 16";
    if (!suite.IsWanted(name)) {
        return;
    }
    std::mt19937 random(7);
    auto texts = RandomTexts(random);
    std::vector<double> ours;
    std::vector<double> bare;
    std::vector<double> ratios;
    for (int pass = 0; pass < kPasses; ++pass) {
        std::shuffle(texts.begin(), texts.end(), random);
        TList<CString> list;
        std::vector<CString*> pointers;
        for (const auto& text : texts) {
            list.Insert(text.get());
            pointers.push_back(text.get());
        }
        const auto sortList = [&] { list.Sort(); };
        const auto sortPointers = [&] {
            std::sort(pointers.begin(), pointers.end(),
                      [](const CString* a, const CString* b) { return *a < *b; });
        };
        const bool oursFirst = pass % 2 == 0;
        if (oursFirst) {
            ours.push_back(MeasureOnce(sortList, 1));
        }
        bare.push_back(MeasureOnce(sortPointers, 1));
        if (!oursFirst) {
            ours.push_back(MeasureOnce(sortList, 1));
        }
        ratios.push_back(ours.back() / bare.back());
        list.RemoveAll(); // the texts are not the list's
    }
    suite.Add({name, Median(ours), Median(bare), Median(ratios), 0.65, false});
}

} // namespace alidade::bench
