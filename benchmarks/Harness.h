#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace alidade::bench {

/// One line of the table. Times are microseconds for one operation; rates are per second.
struct T_ROW {
    std::string name;
    double ours = 0.0;
    double bare = 0.0;
    double ratio = 0.0;
    double target = 0.0;
    bool atLeast = false;  // the ratio is to reach the target; otherwise it is to stay at or below it
    bool isStated = false; // there is no target: the figure is only stated
    bool IsOk() const { return isStated || (atLeast ? ratio >= target : ratio <= target); }
};

/// Collects the rows of one run.
class CSuite {
public:
    /// @param filter  only rows whose name contains it are measured; empty: all
    explicit CSuite(std::string filter) : m_filter(std::move(filter)) {}

    bool IsWanted(const std::string& name) const { return name.find(m_filter) != std::string::npos; }

    /// Runs the two operations in turn, some hundred milliseconds in all, and enters the medians of the
    /// times and of the ratios pair by pair, so that a machine whose speed drifts gives the same ratio.
    /// @param target  the ratio's upper limit; none: it is only stated
    void Compare(const std::string& name, std::optional<double> target, const std::function<void()>& ours,
                 const std::function<void()>& bare);
    /// Enters a row that was measured elsewhere.
    void Add(const T_ROW& row);

    /// Prints the table.
    void Print() const;
    /// Writes the rows as a JSON list; false when the file cannot be written.
    bool WriteJson(const std::string& path) const;
    bool IsEmpty() const { return m_rows.empty(); }

private:
    std::string m_filter;
    std::vector<T_ROW> m_rows;
};

double Median(std::vector<double> values);
double Percentile(std::vector<double> values, double percent);
/// Microseconds that `operation` takes, called `times` times.
double MeasureOnce(const std::function<void()>& operation, int times);

// One function a subject, each in a file of its own.
void BenchBus(CSuite& suite);
void BenchContainers(CSuite& suite);
void BenchData(CSuite& suite);
void BenchDisplay(CSuite& suite);
void BenchGrabber(CSuite& suite);
void BenchPreProcess(CSuite& suite);
void BenchFlood(CSuite& suite);
void BenchScene(CSuite& suite);
void BenchScreen(CSuite& suite);
void BenchTransport(CSuite& suite);
void BenchWire(CSuite& suite);

} // namespace alidade::bench
