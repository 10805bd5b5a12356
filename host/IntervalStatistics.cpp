#include "host/IntervalStatistics.h"

#include <algorithm>
#include <cmath>

namespace alidade {
namespace {

constexpr double kWidth = 0.01;             // of a class, in the natural logarithm
constexpr double kLeastMilliseconds = 1e-3; // shorter ones count as this
constexpr double kGapFactor = 1.5;
constexpr double kGapLeastMilliseconds = 5;

} // namespace

int CIntervalStatistics::ClassOf(double milliseconds)
{
    const double ratio = std::max(milliseconds / kLeastMilliseconds, 1.0);
    return std::min(static_cast<int>(std::log(ratio) / kWidth), kClasses - 1);
}

double CIntervalStatistics::MiddleOf(int index)
{
    return kLeastMilliseconds * std::exp((index + 0.5) * kWidth);
}

void CIntervalStatistics::Add(std::int64_t nanoseconds)
{
    ++m_counts[static_cast<std::size_t>(ClassOf(static_cast<double>(nanoseconds) / 1e6))];
    ++m_nCount;
    m_nLongest = std::max(m_nLongest, nanoseconds);
}

double CIntervalStatistics::GetMedian() const
{
    std::uint64_t below = 0;
    for (int i = 0; i < kClasses; ++i) {
        below += m_counts[static_cast<std::size_t>(i)];
        if (below > 0 && below * 2 >= m_nCount) {
            return MiddleOf(i);
        }
    }
    return 0;
}

std::uint64_t CIntervalStatistics::CountGaps() const
{
    const double median = GetMedian();
    const int first = ClassOf(std::max(median * kGapFactor, median + kGapLeastMilliseconds)) + 1;
    std::uint64_t gaps = 0;
    for (int i = first; i < kClasses; ++i) {
        gaps += m_counts[static_cast<std::size_t>(i)];
    }
    return gaps;
}

} // namespace alidade
