#include "host/IntervalStatistics.h"

#include <gtest/gtest.h>

namespace alidade {
namespace {

constexpr std::int64_t kMs = 1000000;

TEST(IntervalStatistics, WithoutIntervalsEverythingIsZero)
{
    const CIntervalStatistics none;
    EXPECT_EQ(none.GetMedian(), 0);
    EXPECT_EQ(none.GetLongest(), 0);
    EXPECT_EQ(none.CountGaps(), 0u);
}

TEST(IntervalStatistics, AMissingFrameIsAGapAndJitterIsNot)
{
    const struct {
        const char* what;
        std::int64_t usual; // microseconds, 100 times
        std::int64_t odd;   // microseconds, 3 times
        std::uint64_t gaps;
    } cases[] = {
        {"a lost frame at 30 a second", 33333, 66666, 3},
        {"jitter at 30 a second", 33333, 45000, 0},
        {"a lost frame at 1 a second", 1000000, 2000000, 3},
        {"a hold-up of 3 ms at 500 a second", 2000, 5000, 0},
        {"a hold-up of 20 ms at 500 a second", 2000, 20000, 3},
        {"shorter than all", 33333, 0, 0},
        {"longer than the histogram", 33333, 400LL * 3600 * 1000000, 3},
    };
    for (const auto& c : cases) {
        CIntervalStatistics statistics;
        for (int i = 0; i < 100; ++i) {
            statistics.Add(c.usual * 1000);
        }
        for (int i = 0; i < 3; ++i) {
            statistics.Add(c.odd * 1000);
        }
        EXPECT_EQ(statistics.CountGaps(), c.gaps) << c.what;
        EXPECT_NEAR(statistics.GetMedian(), static_cast<double>(c.usual) / 1000,
                    static_cast<double>(c.usual) * 1e-5)
            << c.what;
    }
}

TEST(IntervalStatistics, TheLongestIsExact)
{
    CIntervalStatistics statistics;
    statistics.Add(10 * kMs);
    statistics.Add(123456789);
    statistics.Add(20 * kMs);
    EXPECT_DOUBLE_EQ(statistics.GetLongest(), 123.456789);
    EXPECT_EQ(statistics.GetCount(), 3u);
}

} // namespace
} // namespace alidade
