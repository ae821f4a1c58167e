// The canvas operators' pass over a stored canvas, which runs each time a canvas opens: the canvas
// initialisation (connectors checked against every item, depths, anchors) and the presentation operator
// (every slide's content found by guid), on canvases of 10 000 and 100 000 items. The baseline is one plain
// walk over the same tree that looks at every node's depth: a pass that is linear in the size of the canvas
// costs the same multiple of the walk at both sizes, where a quadratic one would cost ten times more of it
// on the bigger canvas.

#include "bench/BenchReporting.hpp"
#include "tests/support/OperatorSites.hpp"

#include "operators/InitCanvasServerOperator.hpp"
#include "operators/PresentationServerOperator.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

using TestSupport::OperatorSites;
using TestSupport::StoredTree;

/// A stored canvas of `items` notes, with a connector between two notes and a slide showing a note for every
/// tenth of them.
void fillCanvas(StoredTree& tree, int items) {
    std::vector<QByteArray> guids;
    for (int i = 0; i < items; ++i) {
        auto note = tree.add(tree.root(), "note-" + QByteArray::number(i), "tavola_note");
        tree.set<float>(*note, "depth", static_cast<float>(i % 100));
        guids.push_back(note->guid());
    }
    auto connectors = tree.add(tree.root(), "connectors", "tavola_connector_container");
    auto presentations = tree.add(tree.root(), "presentations", "tavola_presentation_container");
    auto presentation = tree.add(*presentations, "presentation", "tavola_presentation");
    for (int i = 0; i < items / 10; ++i) {
        auto connector = tree.add(*connectors, "connector-" + QByteArray::number(i), "tavola_connector");
        tree.set<QString>(*connector, "src", QStringLiteral("note-%1").arg(i));
        tree.set<QString>(*connector, "dst", QStringLiteral("note-%1").arg(items - 1 - i));
        auto slide = tree.add(*presentation, "slide-" + QByteArray::number(i), "tavola_presentation_slide");
        tree.set<QString>(*slide, "content-id", QString::fromLatin1(guids[static_cast<std::size_t>(i) * 10]));
    }
}

void repairCanvas(benchmark::State& state, int items) {
    OperatorSites sites;
    sites.openStored([&](StoredTree& tree) { fillCanvas(tree, items); });
    auto const init = sites.serverOperator<Datamodel::InitCanvasServerOperator>();
    auto const presentation = sites.serverOperator<Datamodel::PresentationServerDocumentOperator>();
    if (presentation->contentMaps().size() != static_cast<std::size_t>(items / 10)) {
        state.SkipWithError("every slide must find its content");
    }
    for (auto _ : state) {
        init->rootNodeUpdated();
        presentation->rootNodeUpdated();
    }
}

std::size_t countDepths(Tessel::ServerNode const& node) {
    std::size_t count = node.childAttribute("depth") ? 1 : 0;
    for (auto const& child : node.childNodes()) {
        count += countDepths(*child.second);
    }
    return count;
}

void walkCanvas(benchmark::State& state, int items) {
    OperatorSites sites;
    sites.openStored([&](StoredTree& tree) { fillCanvas(tree, items); });
    for (auto _ : state) {
        benchmark::DoNotOptimize(countDepths(*sites.serverDocument()->rootNode()));
    }
}

void walkCanvasOf10000Items(benchmark::State& state) {
    walkCanvas(state, 10000);
}
BENCHMARK(walkCanvasOf10000Items)->Unit(benchmark::kMillisecond)->Repetitions(3);

void walkCanvasOf100000Items(benchmark::State& state) {
    walkCanvas(state, 100000);
}
BENCHMARK(walkCanvasOf100000Items)->Unit(benchmark::kMillisecond)->Repetitions(3);

void repairCanvasOf10000Items(benchmark::State& state) {
    repairCanvas(state, 10000);
}
BENCHMARK(repairCanvasOf10000Items)->Unit(benchmark::kMillisecond)->Repetitions(3);

void repairCanvasOf100000Items(benchmark::State& state) {
    repairCanvas(state, 100000);
}
BENCHMARK(repairCanvasOf100000Items)->Unit(benchmark::kMillisecond)->Repetitions(3);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    BenchReporting::RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\ncanvas operators' pass, CPU time: %.1f ms for 10 000 items, %.1f ms for 100 000\n",
                reporter.time("repairCanvasOf10000Items"), reporter.time("repairCanvasOf100000Items"));
    // The same bound at both sizes: the pass grows with the canvas as a walk of it does.
    BenchReporting::printRatio(reporter, "repairCanvasOf10000Items", "walkCanvasOf10000Items", 20.0);
    BenchReporting::printRatio(reporter, "repairCanvasOf100000Items", "walkCanvasOf100000Items", 20.0);
    benchmark::Shutdown();
    return 0;
}
