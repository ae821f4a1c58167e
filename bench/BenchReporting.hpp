#pragma once

// What the benchmark programs share to print ratios against a baseline measured in the same run.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace BenchReporting {

/// The middle of `values` (the upper one of the two middles of an even count); 0 for none.
inline double median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Remembers each benchmark's CPU time per iteration while printing as the console does. CPU time, because
/// the ratios must not depend on what else the machine runs; a benchmark that times itself
/// (`UseManualTime`) or asks for the clock (`UseRealTime`) is remembered by that time.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(std::vector<Run> const& runs) override {
        // With repetitions the median stands for the benchmark; a single run stands for itself.
        for (Run const& run : runs) {
            bool const single = run.run_type == Run::RT_Iteration;
            if (single || run.aggregate_name == "median") {
                // A benchmark that times itself, or asks for the clock, means that time and not the CPU's.
                m_nanoseconds[run.run_name.function_name] =
                    run.run_name.time_type.empty() ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    /// The time per iteration in the benchmark's own unit; 0 when it didn't run.
    double time(std::string const& name) const {
        auto const found = m_nanoseconds.find(name);
        return found == m_nanoseconds.end() ? 0.0 : found->second;
    }

private:
    std::map<std::string, double> m_nanoseconds;
};

/// Prints measured / baseline and whether it meets `target`.
inline void printRatio(RecordingReporter const& reporter, char const* measured, char const* baseline,
                       double target) {
    double const base = reporter.time(baseline);
    if (base <= 0 || reporter.time(measured) <= 0) {
        std::printf("ratio %-32s / %-26s: not measured in this run\n", measured, baseline);
        return;
    }
    double const ratio = reporter.time(measured) / base;
    std::printf("ratio %-32s / %-26s = %5.2fx  (target at most %.0fx: %s)\n", measured, baseline, ratio,
                target, ratio <= target ? "met" : "MISSED");
}

} // namespace BenchReporting
