// Attribute writes, the hottest path of a live document, against the plainest code that does the same job.
// Each comparison prints the ratio of the two times measured in this run and the target it must meet.
// Every loop ends with ClobberMemory, so that the plain struct, like the attribute, lives in memory between
// writes instead of in a register, as it would in a document.

#include "attributes/AttributeT.hpp"
#include "bench/BenchReporting.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <functional>
#include <string>

namespace {

// The plain equivalent of an attribute: a value and one listener.
struct PlainStore {
    float value = 0.0f;
    std::function<void()> listener;
};

void baselineStoreAndCall(benchmark::State& state) {
    int calls = 0;
    PlainStore store;
    store.listener = [&calls] { ++calls; };
    float next = 1.0f;
    for (auto _ : state) {
        next = next == 1.0f ? 2.0f : 1.0f;
        benchmark::DoNotOptimize(next);
        store.value = next;
        store.listener();
        benchmark::DoNotOptimize(store.value);
        benchmark::ClobberMemory();
    }
    benchmark::DoNotOptimize(calls);
}
BENCHMARK(baselineStoreAndCall);

void attributeWriteOfNewValue(benchmark::State& state) {
    int calls = 0;
    Basalt::AttributeT<float> attribute(nullptr, "width", 0.0f);
    attribute.addListener([&calls] { ++calls; }, Basalt::Attribute::ROLE_CHANGE);
    float next = 1.0f;
    for (auto _ : state) {
        next = next == 1.0f ? 2.0f : 1.0f;
        benchmark::DoNotOptimize(next);
        attribute = next;
        benchmark::DoNotOptimize(attribute.value());
        benchmark::ClobberMemory();
    }
    if (calls != static_cast<int>(state.iterations())) {
        state.SkipWithError("every new value must reach the listener once");
    }
}
BENCHMARK(attributeWriteOfNewValue);

bool plainCompareAndStore(PlainStore& store, float value) {
    if (store.value == value) {
        return false;
    }
    store.value = value;
    store.listener();
    return true;
}

void baselineCompareAndReturn(benchmark::State& state) {
    int calls = 0;
    PlainStore store;
    store.value = 5.0f;
    store.listener = [&calls] { ++calls; };
    float const same = 5.0f;
    for (auto _ : state) {
        float value = same;
        benchmark::DoNotOptimize(value);
        benchmark::DoNotOptimize(plainCompareAndStore(store, value));
        benchmark::ClobberMemory();
    }
    benchmark::DoNotOptimize(calls);
}
BENCHMARK(baselineCompareAndReturn);

void attributeWriteOfUnchangedValue(benchmark::State& state) {
    int calls = 0;
    Basalt::AttributeT<float> attribute(nullptr, "width", 0.0f);
    attribute.addListener([&calls] { ++calls; }, Basalt::Attribute::ROLE_CHANGE);
    attribute = 5.0f;
    float const same = 5.0f;
    for (auto _ : state) {
        float value = same;
        benchmark::DoNotOptimize(value);
        attribute = value;
        benchmark::DoNotOptimize(attribute.value());
        benchmark::ClobberMemory();
    }
    if (calls != 1) {
        state.SkipWithError(
            ("an unchanged value must not reach the listener: " + std::to_string(calls)).c_str());
    }
}
BENCHMARK(attributeWriteOfUnchangedValue);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    BenchReporting::RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\n");
    BenchReporting::printRatio(reporter, "attributeWriteOfNewValue", "baselineStoreAndCall", 3.0);
    BenchReporting::printRatio(reporter, "attributeWriteOfUnchangedValue", "baselineCompareAndReturn", 2.0);
    std::printf("\nsizes (the four layers are kept inline):\n");
    std::printf("  sizeof(AttributeT<float>)         = %zu bytes\n", sizeof(Basalt::AttributeT<float>));
    std::printf("  sizeof(AttributeT<bool>)          = %zu bytes\n", sizeof(Basalt::AttributeT<bool>));
    std::printf("  sizeof(AttributeT<QString>)       = %zu bytes\n", sizeof(Basalt::AttributeT<QString>));
    std::printf("  sizeof(AttributeLocation2f)       = %zu bytes (its two float components inside)\n",
                sizeof(Basalt::AttributeLocation2f));
    std::printf("  sizeof(AttributeT<SizeT<float>>)  = %zu bytes (its two float components inside)\n",
                sizeof(Basalt::AttributeT<Fathom::SizeT<float>>));
    benchmark::Shutdown();
    return 0;
}
