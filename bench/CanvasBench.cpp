// Canvases at scale: building 100 000 notes through the canvas factory (time and heap bytes per note, target
// at most 2 KiB each, attributes included) and cloning a 20 by 20 table.

#include "bench/HeapBytes.hpp"

#include "canvas/Note.hpp"
#include "canvas/SharedCanvas.hpp"
#include "canvas/Table.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>

namespace {

using BenchSupport::heapBytesInUse;

constexpr int notesOnCanvas = 100000;
double g_bytesPerNote = 0;

void buildCanvasOfNotes(benchmark::State& state) {
    auto const factory = Datamodel::SharedCanvas::elementFactory();
    for (auto _ : state) {
        auto canvas = std::make_unique<Datamodel::SharedCanvas>();
        long long const before = heapBytesInUse();
        for (int i = 0; i < notesOnCanvas; ++i) {
            Tessel::Element* note = factory->create("tavola_note");
            note->initName();
            canvas->addAttribute(note);
        }
        g_bytesPerNote = static_cast<double>(heapBytesInUse() - before) / notesOnCanvas;
        state.PauseTiming();
        canvas.reset();
        state.ResumeTiming();
    }
    state.counters["ns_per_note"] =
        benchmark::Counter(static_cast<double>(notesOnCanvas),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["bytes_per_note"] = g_bytesPerNote;
}
BENCHMARK(buildCanvasOfNotes)->Unit(benchmark::kMillisecond)->Iterations(3);

void cloneTable20By20(benchmark::State& state) {
    Datamodel::Table table(Fathom::SizeT<int>(20, 20));
    table.createCells();
    auto const factory = Datamodel::SharedCanvas::elementFactory();
    for (auto _ : state) {
        std::unique_ptr<Tessel::Element> clone(table.cloneElement(factory));
        benchmark::DoNotOptimize(clone.get());
        state.PauseTiming();
        clone.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(cloneTable20By20)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::printf("\nheap per note on a canvas of %d notes = %.0f bytes, sizeof(Note) = %zu (target at most "
                "2048: %s)\n",
                notesOnCanvas, g_bytesPerNote, sizeof(Datamodel::Note),
                g_bytesPerNote <= 2048 ? "met" : "MISSED");
    benchmark::Shutdown();
    return 0;
}
