// normalizeDepth over many siblings: its cost must grow as n log n. Measured at 10 000 and 100 000 siblings
// in reverse depth order (the sort does real work) and printed as a ratio against n log n.

#include "framework/CanvasLocation.hpp"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>

namespace {

class Mark : public Datamodel::CanvasLocation {};

// Depths fall as the tree order rises, and pairs sit a quarter unit apart, so the pass both sorts and
// rewrites.
void fillSiblings(Tessel::Element& root, int count) {
    for (int i = 0; i < count; ++i) {
        auto* mark = new Mark();
        mark->initName();
        mark->depth = static_cast<float>(count - i) * 0.25f + 1.0f;
        root.addAttribute(mark);
    }
}

std::map<int, double> g_nanoseconds;

void normalizeDepthOfSiblings(benchmark::State& state) {
    int const count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        Tessel::Element root;
        fillSiblings(root, count);
        state.ResumeTiming();
        Datamodel::CanvasLocation::normalizeDepth(root);
        state.PauseTiming();
        // the tree is destroyed outside the measurement
        root.~Element();
        new (&root) Tessel::Element();
        state.ResumeTiming();
    }
    state.SetComplexityN(count);
}
BENCHMARK(normalizeDepthOfSiblings)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->Iterations(5);

class RecordingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(std::vector<Run> const& runs) override {
        for (Run const& run : runs) {
            if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median") {
                g_nanoseconds[static_cast<int>(run.complexity_n)] = run.GetAdjustedCPUTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    if (g_nanoseconds.count(10000) && g_nanoseconds.count(100000)) {
        double const measured = g_nanoseconds[100000] / g_nanoseconds[10000];
        double const nLogN = (100000.0 * std::log(100000.0)) / (10000.0 * std::log(10000.0));
        std::printf(
            "\nratio normalizeDepth 100 000 / 10 000 siblings = %.2f (n log n predicts %.2f, n^2 %.0f): %s\n",
            measured, nLogN, 100.0, measured < 2.0 * nLogN ? "grows as n log n" : "GROWS FASTER");
    }
    benchmark::Shutdown();
    return 0;
}
