// Canvases at scale: building 100 000 notes through the canvas factory (time and heap bytes per note, target
// at most 2 KiB each, attributes included) and cloning a 20 by 20 table.

#include "canvas/Note.hpp"
#include "canvas/SharedCanvas.hpp"
#include "canvas/Table.hpp"

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

namespace {

// Heap bytes in use, as the allocator hands them out (sizes rounded up to its classes).
std::atomic<long long> g_heapBytes{0};

void* allocate(std::size_t size) {
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (!memory) {
        throw std::bad_alloc();
    }
    g_heapBytes += static_cast<long long>(malloc_usable_size(memory));
    return memory;
}

void release(void* memory) {
    if (memory) {
        g_heapBytes -= static_cast<long long>(malloc_usable_size(memory));
        std::free(memory);
    }
}

constexpr int notesOnCanvas = 100000;
double g_bytesPerNote = 0;

void buildCanvasOfNotes(benchmark::State& state) {
    auto const factory = Datamodel::SharedCanvas::elementFactory();
    for (auto _ : state) {
        auto canvas = std::make_unique<Datamodel::SharedCanvas>();
        long long const before = g_heapBytes.load();
        for (int i = 0; i < notesOnCanvas; ++i) {
            Tessel::Element* note = factory->create("tavola_note");
            note->initName();
            canvas->addAttribute(note);
        }
        g_bytesPerNote = static_cast<double>(g_heapBytes.load() - before) / notesOnCanvas;
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

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    try {
        return allocate(size);
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, std::nothrow_t const& tag) noexcept {
    return operator new(size, tag);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::nothrow_t const&) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::nothrow_t const&) noexcept {
    release(memory);
}

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
