// Live documents: the round trip of one float change from a client through the server to another client,
// the changes per second two clients share, and the heap the server holds per note.
// Every site runs on a manual executor drained on this thread, so the figures are those of the code, every
// encoding and decoding included, without the hand-offs between threads that a deployment adds.

#include "bench/BenchReporting.hpp"
#include "bench/HeapBytes.hpp"
#include "tests/support/RawClient.hpp"

#include "canvas/Note.hpp"
#include "platform/cobalt/LittleEndian.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/Uuid.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Datamodel::Note;
using TestSupport::LiveSites;

constexpr double roundTripGoalMicroseconds = 50.0;
constexpr double changesPerSecondGoal = 200000.0;
constexpr int changesShared = 100000;
constexpr int changesPerDelivery = 1000;
constexpr int notesHeld = 10000;
// Encodings per timed sample of the baseline: one alone is too short for the clock.
constexpr int encodingsPerSample = 64;

std::vector<double> g_baselineMicroseconds;
std::vector<double> g_arrivalMicroseconds;
std::vector<double> g_exchangeMicroseconds;
std::vector<double> g_changesPerSecond;
std::vector<double> g_changesPerCpuSecond;
double g_serverBytesPerNote = 0;
double g_serverValuesPerNote = 0;

/// This thread's CPU time: every site runs on it, so this is what the sites cost, however busy the machine.
double threadCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double microsecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

void expect(bool holds, char const* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

/// Two clients in one canvas, both holding the same note.
struct TwoSites {
    LiveSites sites;
    LiveSites::Site& a = sites.join("a");
    LiveSites::Site& b = sites.join("b");
    Note* atA = new Note();
    Note* atB = nullptr;

    TwoSites() {
        Tessel::NodeTransaction transaction(*a.document);
        transaction.addNode(*atA, a.canvas());
        auto committed = transaction.commit();
        sites.deliver();
        expect(committed.hasValue(), "the server takes the note");
        atB = dynamic_cast<Note*>(b.document->findSharedElement(atA->guid()));
        expect(atB != nullptr, "the note reaches b");
    }
};

/// The message of one change of a note's depth, as a client sends it.
QByteArray depthChangeFrame(QByteArray const& guid, float depth) {
    Tessel::Wire::Operation operation;
    operation.kind = Tessel::Wire::OperationKind::SetValue;
    operation.nodeGuid = guid;
    operation.name = "depth";
    operation.typeCode = Kelp::TYPE_FLOAT32;
    Cobalt::appendLittleEndian(operation.bytes, depth);
    return TestSupport::transactionFrame({operation});
}

/// Reads a message as the server does, up to its operations.
std::size_t decodedOperations(QByteArray const& bytes) {
    Tessel::Wire::Frame frame;
    QString error;
    QByteArray id;
    std::int64_t transaction = 0;
    std::vector<Tessel::Wire::Operation> operations;
    bool const read = Tessel::Wire::decodeFrame(bytes, frame, error) &&
                      Tessel::Wire::PayloadReader(frame.payload).text(id).int64(transaction).ok() &&
                      Tessel::Wire::readOperations(frame.payload, operations);
    return read ? operations.size() : 0;
}

// The baseline of the round trip: the message of one change encoded and decoded once, with no link, server
// or document around it.
void baselineEncodeAndDecodeOneChange(benchmark::State& state) {
    QByteArray const guid = Tessel::generateUuid();
    float depth = 0.0f;
    for (auto _ : state) {
        Clock::time_point const start = Clock::now();
        for (int i = 0; i < encodingsPerSample; ++i) {
            depth += 1.0f;
            benchmark::DoNotOptimize(decodedOperations(depthChangeFrame(guid, depth)));
        }
        g_baselineMicroseconds.push_back(microsecondsSince(start) / encodingsPerSample);
    }
    state.counters["us_per_message"] = BenchReporting::median(g_baselineMicroseconds);
}
BENCHMARK(baselineEncodeAndDecodeOneChange)->Unit(benchmark::kMicrosecond);

// One write of a's depth until b holds it: a sends, the server applies and sends on, b applies. The clock
// stops when b has the value; a's acknowledgement is handled after, off the path to b, and counted in the
// whole exchange.
void roundTripOfOneFloatChange(benchmark::State& state) {
    TwoSites two;
    float depth = 0.0f;
    for (auto _ : state) {
        depth += 1.0f;
        Clock::time_point const start = Clock::now();
        two.atA->depth = depth;
        while (two.atB->depth.value() != depth &&
               two.sites.serverExecutor().drain() + two.b.executor.drain()) {
        }
        double const arrival = microsecondsSince(start);
        two.sites.deliver();
        g_exchangeMicroseconds.push_back(microsecondsSince(start));
        g_arrivalMicroseconds.push_back(arrival);
        state.SetIterationTime(arrival / 1e6);
        if (two.atB->depth.value() != depth) {
            state.SkipWithError("the change must reach b");
            return;
        }
    }
    state.counters["median_us"] = BenchReporting::median(g_arrivalMicroseconds);
}
BENCHMARK(roundTripOfOneFloatChange)->Unit(benchmark::kMicrosecond)->UseManualTime();

// a writes its note's depth `changesShared` times, delivered every `changesPerDelivery` writes; b must hear
// every one.
void changesSharedByTwoClients(benchmark::State& state) {
    for (auto _ : state) {
        TwoSites two;
        int heard = 0;
        two.atB->depth.addListener([&heard] { ++heard; }, Basalt::Attribute::ROLE_CHANGE);
        Clock::time_point const start = Clock::now();
        double const cpuStart = threadCpuSeconds();
        for (int written = 0; written < changesShared;) {
            for (int i = 0; i < changesPerDelivery; ++i) {
                two.atA->depth = static_cast<float>(++written);
            }
            two.sites.deliver();
        }
        double const seconds = microsecondsSince(start) / 1e6;
        double const cpuSeconds = threadCpuSeconds() - cpuStart;
        state.SetIterationTime(seconds);
        if (heard != changesShared) {
            state.SkipWithError("b must hear every change");
            return;
        }
        g_changesPerSecond.push_back(changesShared / seconds);
        g_changesPerCpuSecond.push_back(changesShared / cpuSeconds);
    }
    state.counters["changes_per_second"] = BenchReporting::median(g_changesPerSecond);
}
BENCHMARK(changesSharedByTwoClients)->Unit(benchmark::kMillisecond)->Iterations(1)->UseManualTime();

/// `notesHeld` notes with a few values each, added by `site` in one transaction and applied by the server.
void addNotes(LiveSites& sites, LiveSites::Site& site) {
    Tessel::NodeTransaction transaction(*site.document);
    for (int i = 0; i < notesHeld; ++i) {
        auto* note = new Note();
        note->text = QStringLiteral("note %1").arg(i);
        note->location = Fathom::Vector2T<float>(static_cast<float>(i % 100) * 250.0f, (i / 100) * 250.0f);
        note->size = Fathom::SizeT<float>(200.0f, 150.0f);
        note->backgroundColor = Cobalt::ColorPMA(0.2f, 0.4f, static_cast<float>(i % 10) / 10.0f, 1.0f);
        transaction.addNode(*note, site.canvas());
    }
    auto committed = transaction.commit();
    sites.deliver();
    expect(committed.hasValue(), "the server applies the notes");
}

/// The first frame of `frames` of this kind; throws when there is none.
QByteArray const& firstOfKind(std::vector<QByteArray> const& frames, Tessel::Wire::MessageKind kind) {
    auto const found = std::find_if(frames.begin(), frames.end(), [kind](QByteArray const& frame) {
        return frame.size() > 1 && static_cast<std::uint8_t>(frame[1]) == static_cast<std::uint8_t>(kind);
    });
    expect(found != frames.end(), "the server answered");
    return *found;
}

/// The additions of the notes under the root of the document that `answer` (a DocumentOpened frame)
/// describes, readdressed to `root`, read as the server reads a client's message.
std::vector<Tessel::Wire::Operation> noteAdditions(QByteArray const& answer, QByteArray const& root) {
    Tessel::Wire::Frame frame;
    QString error;
    expect(Tessel::Wire::decodeFrame(answer, frame, error), "the answer is a frame");
    QByteArray fields[5];
    std::vector<Tessel::Wire::Operation> operations;
    Tessel::Wire::PayloadReader reader(frame.payload);
    expect(reader.text(fields[0]).text(fields[1]).text(fields[2]).text(fields[3]).text(fields[4]).ok() &&
               Tessel::Wire::readOperations(frame.payload, operations),
           "the document arrives whole");
    auto const notRootChild = [&fields](Tessel::Wire::Operation const& operation) {
        return operation.kind != Tessel::Wire::OperationKind::AddNode || operation.parentGuid != fields[1];
    };
    operations.erase(std::remove_if(operations.begin(), operations.end(), notRootChild), operations.end());
    for (Tessel::Wire::Operation& operation : operations) {
        operation.parentGuid = root;
    }
    return operations;
}

/// The attributes a note holds on the server, on average over the notes of `document`.
double valuesPerNote(Tessel::ServerDocument const& document) {
    auto const& notes = document.rootNode()->childNodes();
    std::size_t values = 0;
    for (auto const& note : notes) {
        values += note.second->childAttributes().size();
    }
    return notes.empty() ? 0.0 : static_cast<double>(values) / static_cast<double>(notes.size());
}

// The server's heap per note: a client adds the notes to the live canvas; a late joiner receives them as the
// server holds them; the heap is counted around a second document of the same server reading and applying
// that same message, so that neither the client's own notes nor the messages on their way count.
void serverHeapPerNote(benchmark::State& state) {
    for (auto _ : state) {
        LiveSites sites;
        addNotes(sites, sites.join("a"));
        TestSupport::RawClient raw(sites);
        QByteArray const answer = firstOfKind(raw.received(), Tessel::Wire::MessageKind::DocumentOpened);
        raw.sendBytes(TestSupport::openCanvasFrame("measured"));
        auto const measured = sites.serverDocument("measured");
        Tessel::ServerDocumentConnection* const acting = measured->connections().front();
        int const nodesBefore = measured->nodeCount();
        long long const before = BenchSupport::heapBytesInUse();
        {
            QString error;
            auto const operations = noteAdditions(answer, measured->rootNode()->guid());
            expect(measured->applyTransaction(*acting, operations, error),
                   "the server applies the notes again");
        }
        long long const after = BenchSupport::heapBytesInUse();
        expect(measured->nodeCount() - nodesBefore == notesHeld, "every note is held once");
        g_serverBytesPerNote = static_cast<double>(after - before) / notesHeld;
        g_serverValuesPerNote = valuesPerNote(*measured);
    }
    state.counters["bytes_per_note"] = g_serverBytesPerNote;
}
BENCHMARK(serverHeapPerNote)->Unit(benchmark::kMillisecond)->Iterations(1);

char const* verdict(bool met) {
    return met ? "met" : "MISSED";
}

void printRoundTrip() {
    if (g_arrivalMicroseconds.empty()) {
        return;
    }
    double const arrival = BenchReporting::median(g_arrivalMicroseconds);
    std::printf("\nround trip of one float change a -> server -> b: median %.2f us (goal under %.0f us: %s); "
                "whole exchange, a's acknowledgement included: median %.2f us\n",
                arrival, roundTripGoalMicroseconds, verdict(arrival < roundTripGoalMicroseconds),
                BenchReporting::median(g_exchangeMicroseconds));
    if (!g_baselineMicroseconds.empty()) {
        double const baseline = BenchReporting::median(g_baselineMicroseconds);
        std::printf("round trip = %.1f times the %.3f us of encoding and decoding its message alone\n",
                    arrival / baseline, baseline);
    }
}

void printSharedChanges() {
    if (g_changesPerSecond.empty()) {
        return;
    }
    double const changesPerSecond = BenchReporting::median(g_changesPerSecond);
    std::printf(
        "changes shared by two clients: %.0f per second over %d changes delivered by %d (goal at least "
        "%.0f: %s); %.0f per second of CPU time\n",
        changesPerSecond, changesShared, changesPerDelivery, changesPerSecondGoal,
        verdict(changesPerSecond >= changesPerSecondGoal), BenchReporting::median(g_changesPerCpuSecond));
}

void printServerHeap() {
    if (g_serverValuesPerNote == 0) {
        return;
    }
    std::printf(
        "server heap per note of %d notes with text, location, size and background colour: %.0f bytes "
        "(%.1f attributes per note on the server)\n",
        notesHeld, g_serverBytesPerNote, g_serverValuesPerNote);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    printRoundTrip();
    printSharedChanges();
    printServerHeap();
    benchmark::Shutdown();
    return 0;
}
