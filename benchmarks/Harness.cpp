#include "benchmarks/Harness.h"

#include "foundation/platform/FileReplace.h"
#include "foundation/platform/Ticks.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace alidade::bench {
namespace {

constexpr double kSampleMicroseconds = 2000.0; // one sample lasts at least this long
constexpr double kRowMicroseconds = 1.2e6;     // both sides together
constexpr int kLeastPairs = 9;
constexpr int kMostPairs = 401;

} // namespace

double Percentile(std::vector<double> values, double percent)
{
    if (values.empty()) {
        return std::nan("");
    }
    const auto at = static_cast<std::size_t>(percent / 100.0 * static_cast<double>(values.size() - 1) + 0.5);
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
    return values[at];
}

double Median(std::vector<double> values)
{
    return Percentile(std::move(values), 50.0);
}

double MeasureOnce(const std::function<void()>& operation, int times)
{
    const auto start = GetTickNanoseconds();
    for (int i = 0; i < times; ++i) {
        operation();
    }
    return static_cast<double>(GetTickNanoseconds() - start) / 1000.0 / times;
}

void CSuite::Compare(const std::string& name, std::optional<double> target, const std::function<void()>& ours,
                     const std::function<void()>& bare)
{
    if (!IsWanted(name)) {
        return;
    }
    ours(); // warm: buffers made, pages touched
    bare();
    const double each = std::max(MeasureOnce(ours, 3), MeasureOnce(bare, 3));
    const int times = std::max(1, static_cast<int>(std::ceil(kSampleMicroseconds / std::max(each, 0.001))));
    const int pairs =
        std::clamp(static_cast<int>(kRowMicroseconds / (2.0 * each * times)), kLeastPairs, kMostPairs);
    std::vector<double> oursTimes, bareTimes, ratios;
    for (int i = 0; i < pairs; ++i) {
        // Each side goes first in turn, so that neither always finds the other's cache.
        double a = 0.0;
        double b = 0.0;
        if (i % 2 == 0) {
            a = MeasureOnce(ours, times);
            b = MeasureOnce(bare, times);
        } else {
            b = MeasureOnce(bare, times);
            a = MeasureOnce(ours, times);
        }
        oursTimes.push_back(a);
        bareTimes.push_back(b);
        ratios.push_back(a / b);
    }
    Add({.name = name,
         .ours = Median(oursTimes),
         .bare = Median(bareTimes),
         .ratio = Median(ratios),
         .target = target.value_or(0),
         .isStated = !target});
}

void CSuite::Add(const T_ROW& row)
{
    if (IsWanted(row.name)) {
        m_rows.push_back(row);
        std::fprintf(stderr, "  %s\n", row.name.c_str());
    }
}

void CSuite::Print() const
{
    std::printf("%-62s %12s %12s %8s %10s\n", "name", "ours", "bare", "ratio", "target");
    for (const T_ROW& row : m_rows) {
        std::printf("%-62s %12.2f %12.2f %8.3f  ", row.name.c_str(), row.ours, row.bare, row.ratio);
        if (row.isStated) {
            std::printf("stated\n");
        } else {
            std::printf("%s %5.2f %s\n", row.atLeast ? ">=" : "<=", row.target, row.IsOk() ? "ok" : "MISSED");
        }
    }
}

bool CSuite::WriteJson(const std::string& path) const
{
    nlohmann::json rows = nlohmann::json::array();
    for (const T_ROW& row : m_rows) {
        rows.push_back({{"name", row.name},
                        {"ours", row.ours},
                        {"bare", row.bare},
                        {"ratio", row.ratio},
                        {"target", row.isStated ? nlohmann::json() : nlohmann::json(row.target)},
                        {"ok", row.IsOk()}});
    }
    return ReplaceFileWith(path, rows.dump(2) + "\n") != 0;
}

} // namespace alidade::bench
