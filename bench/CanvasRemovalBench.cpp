// Taking notes off a canvas of 100 000: destroying the whole canvas and deleting 10 000 of its notes one by
// one, each against building the canvas in the same run. Both must cost no more than building: removal is
// linear in the size of the tree.

#include "bench/BenchReporting.hpp"
#include "canvas/Note.hpp"
#include "canvas/SharedCanvas.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr int notesOnCanvas = 100000;
constexpr int notesDeleted = 10000;

std::unique_ptr<Datamodel::SharedCanvas> canvasOfNotes(std::vector<Tessel::Element*>* notes = nullptr) {
    auto const factory = Datamodel::SharedCanvas::elementFactory();
    auto canvas = std::make_unique<Datamodel::SharedCanvas>();
    for (int i = 0; i < notesOnCanvas; ++i) {
        Tessel::Element* note = factory->create("tavola_note");
        note->initName();
        canvas->addAttribute(note);
        if (notes) {
            notes->push_back(note);
        }
    }
    return canvas;
}

// Runs `work` with the clock stopped: set-up and clean-up of a measured step.
template <typename Work>
void untimed(benchmark::State& state, Work&& work) {
    state.PauseTiming();
    work();
    state.ResumeTiming();
}

void buildCanvasOfNotes(benchmark::State& state) {
    for (auto _ : state) {
        auto canvas = canvasOfNotes();
        benchmark::DoNotOptimize(canvas.get());
        untimed(state, [&] { canvas.reset(); });
    }
}
BENCHMARK(buildCanvasOfNotes)->Unit(benchmark::kMillisecond)->Iterations(3);

void destroyCanvasOfNotes(benchmark::State& state) {
    for (auto _ : state) {
        std::unique_ptr<Datamodel::SharedCanvas> canvas;
        untimed(state, [&] { canvas = canvasOfNotes(); });
        canvas.reset();
    }
}
BENCHMARK(destroyCanvasOfNotes)->Unit(benchmark::kMillisecond)->Iterations(3);

// Every tenth note, front to back, so that the deletions spread over the whole list.
void deleteNotesOneByOne(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<Tessel::Element*> notes;
        std::unique_ptr<Datamodel::SharedCanvas> canvas;
        std::size_t childrenBefore = 0;
        untimed(state, [&] {
            canvas = canvasOfNotes(&notes);
            childrenBefore = canvas->attributes().size();
        });
        for (int i = 0; i < notesDeleted; ++i) {
            delete notes[static_cast<std::size_t>(i) * (notesOnCanvas / notesDeleted)];
        }
        untimed(state, [&] {
            if (canvas->attributes().size() != childrenBefore - notesDeleted) {
                state.SkipWithError("every deleted note must leave the canvas");
            }
            canvas.reset();
        });
    }
}
BENCHMARK(deleteNotesOneByOne)->Unit(benchmark::kMillisecond)->Iterations(3);

void printFigure(BenchReporting::RecordingReporter const& reporter, char const* name) {
    std::printf("%-22s %10.1f ms\n", name, reporter.time(name));
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    BenchReporting::RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\ncanvas of %d notes, CPU time per run:\n", notesOnCanvas);
    for (char const* name : {"buildCanvasOfNotes", "destroyCanvasOfNotes", "deleteNotesOneByOne"}) {
        printFigure(reporter, name);
    }
    BenchReporting::printRatio(reporter, "destroyCanvasOfNotes", "buildCanvasOfNotes", 1.0);
    BenchReporting::printRatio(reporter, "deleteNotesOneByOne", "buildCanvasOfNotes", 1.0);
    benchmark::Shutdown();
    return 0;
}
