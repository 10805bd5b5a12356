#pragma once

#include <array>
#include <cstdint>

namespace alidade {

/// The intervals between frames, however many: a histogram of fixed size whose classes are 1 percent wide.
/// Nothing is allocated, so it may be fed on a capture thread. Value type.
class CIntervalStatistics {
public:
    void Add(std::int64_t nanoseconds);

    std::uint64_t GetCount() const { return m_nCount; }
    /// Milliseconds, within 1 percent; 0 without intervals.
    double GetMedian() const;
    double GetLongest() const { return static_cast<double>(m_nLongest) / 1e6; }
    /// Intervals in which a frame is missing: longer than one and a half times the median, and by at least
    /// 5 ms, which a busy machine takes anyway.
    std::uint64_t CountGaps() const;

private:
    static constexpr int kClasses = 2600; // up to some 40 hours

    static int ClassOf(double milliseconds);
    static double MiddleOf(int index);

    std::array<std::uint64_t, kClasses> m_counts{};
    std::uint64_t m_nCount = 0;
    std::int64_t m_nLongest = 0;
};

} // namespace alidade
