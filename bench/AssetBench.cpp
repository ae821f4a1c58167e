// Assets: importing a file of 256 MiB into a storage, against hashing the same file with SHA-256 (what an
// import can't avoid); importing the same content again, which must cost one hash and no copy; and fetching
// the content from the server at a second client, against copying the file. Wall-clock times, since the
// work runs on the storage's worker thread and in file writes; each figure is the median of the runs.

#include "bench/BenchReporting.hpp"
#include "tests/support/LiveSites.hpp"

#include "platform/tessel/AssetStorage.hpp"
#include "platform/tessel/ClientAssets.hpp"

#include <benchmark/benchmark.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using ItemPtr = std::shared_ptr<Tessel::AssetStorage::Item>;

constexpr qint64 fileSize = qint64(256) << 20;
constexpr double importGoal = 1.5;

std::map<std::string, std::vector<double>> g_seconds;

/// The file of 256 MiB that every benchmark reads, made once.
class Source {
public:
    static Source& instance() {
        static Source source;
        return source;
    }
    QString const& path() const { return m_path; }
    QString directory(QString const& name) const { return m_directory.filePath(name); }

private:
    Source() : m_path(m_directory.filePath(QStringLiteral("source.bin"))) {
        QFile file(m_path);
        if (!file.open(QIODevice::WriteOnly)) {
            throw std::runtime_error("can't write the source file");
        }
        std::mt19937_64 random(1);
        QByteArray chunk(1 << 20, Qt::Uninitialized);
        for (qint64 written = 0; written < fileSize; written += chunk.size()) {
            auto* words = reinterpret_cast<std::uint64_t*>(chunk.data());
            std::generate(words, words + chunk.size() / 8, std::ref(random));
            file.write(chunk);
        }
    }
    QTemporaryDir m_directory;
    QString m_path;
};

template <typename Work>
void timed(benchmark::State& state, char const* name, Work&& work) {
    for (auto _ : state) {
        auto const start = Clock::now();
        work();
        double const seconds = std::chrono::duration<double>(Clock::now() - start).count();
        state.SetIterationTime(seconds);
        g_seconds[name].push_back(seconds);
    }
}

/// Waits for `future`, running the owner's work of the storage as it comes.
ItemPtr waitFor(TestSupport::ManualExecutor& owner, folly::Future<ItemPtr>&& future) {
    while (!future.isReady()) {
        owner.drain();
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    owner.drain();
    return std::move(future).get();
}

void hashFile(benchmark::State& state) {
    timed(state, "hash", [] {
        QFile file(Source::instance().path());
        file.open(QIODevice::ReadOnly);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        hash.addData(&file);
        benchmark::DoNotOptimize(hash.result());
    });
}

void copyFile(benchmark::State& state) {
    QString const target = Source::instance().directory(QStringLiteral("copy.bin"));
    timed(state, "copy", [&] {
        QFile::remove(target);
        QFile::copy(Source::instance().path(), target);
    });
    QFile::remove(target);
}

void importNewFile(benchmark::State& state) {
    TestSupport::ManualExecutor owner;
    QTemporaryDir directory;
    auto storage = Tessel::AssetStorage::create(directory.path(), folly::getKeepAliveToken(&owner));
    timed(state, "import", [&] {
        ItemPtr const item = waitFor(owner, storage->importFile(Source::instance().path(), QString(), 0));
        state.PauseTiming();
        storage->removeItem(item->publicHash());
        state.ResumeTiming();
    });
}

void importKnownFile(benchmark::State& state) {
    TestSupport::ManualExecutor owner;
    QTemporaryDir directory;
    auto storage = Tessel::AssetStorage::create(directory.path(), folly::getKeepAliveToken(&owner));
    waitFor(owner, storage->importFile(Source::instance().path(), QString(), 0));
    timed(state, "import again",
          [&] { waitFor(owner, storage->importFile(Source::instance().path(), QString(), 0)); });
    if (QDir(directory.path()).entryList(QDir::Files).size() != 1) {
        state.SkipWithError("a second import left a second file");
    }
}

void fetchAtSecondClient(benchmark::State& state) {
    TestSupport::LiveSites sites;
    sites.keepAssets(true);
    auto& a = sites.connect(QStringLiteral("a"));
    auto& b = sites.connect(QStringLiteral("b"));
    ItemPtr const item = waitFor(a.executor, a.storage->importFile(Source::instance().path(), QString(), 0));
    auto published = a.connection->assets().publish(item);
    sites.deliverUntil([&] { return published.isReady(); }, "the publication didn't end");
    QByteArray const hash = item->publicHash();
    timed(state, "fetch", [&] {
        b.connection->assets().fetch(hash, QString());
        sites.deliver();
        state.PauseTiming();
        if (!b.storage->findItem(hash)) {
            state.SkipWithError("the content didn't arrive");
        }
        b.storage->removeItem(hash);
        state.ResumeTiming();
    });
}

BENCHMARK(hashFile)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(copyFile)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(importNewFile)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(importKnownFile)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(fetchAtSecondClient)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

void printFigures() {
    double const hash = BenchReporting::median(g_seconds["hash"]);
    double const copy = BenchReporting::median(g_seconds["copy"]);
    double const import = BenchReporting::median(g_seconds["import"]);
    double const again = BenchReporting::median(g_seconds["import again"]);
    double const fetch = BenchReporting::median(g_seconds["fetch"]);
    double const mebibytes = static_cast<double>(fileSize >> 20);
    std::printf("\nfile of %.0f MiB: hash %.0f ms (%.0f MiB/s), copy %.0f ms\n", mebibytes, hash * 1e3,
                mebibytes / hash, copy * 1e3);
    if (hash > 0 && import > 0) {
        std::printf("import / hash                 = %5.2fx  (goal at most %.1fx: %s)\n", import / hash,
                    importGoal, import / hash <= importGoal ? "met" : "MISSED");
    }
    if (hash > 0 && again > 0) {
        std::printf("import of known content / hash = %5.2fx  (one hash and no copy)\n", again / hash);
    }
    if (copy > 0 && fetch > 0) {
        std::printf(
            "fetch at a second client / copy = %5.2fx  (%.0f MiB/s, the receiver hashing as it writes)\n",
            fetch / copy, mebibytes / fetch);
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    printFigures();
    benchmark::Shutdown();
    return 0;
}
