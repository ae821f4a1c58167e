// Load on a server process over loopback: `tavola serve` on 127.0.0.1, 100 clients in this process on one
// canvas, each writing the text of its own note at a fixed rate for 10 seconds. Printed: the changes per
// second that the server applied (acknowledged to their writers), and the time from a write at one client
// to its arrival at all the others, p50 and p99. Bounded in count and time; it stops by itself.
//
// The clients share this process's one thread, so what it measures includes delivering every change to 99
// clients here; the figure is an upper bound of the server's own latency.

#include "bench/BenchReporting.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/ServerProcess.hpp"

#include "canvas/Note.hpp"
#include "platform/tessel/ClientToServerConnection.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/QtExecutor.hpp"
#include "platform/tessel/WebSocketTransport.hpp"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <vector>

using TestSupport::waitFor;
using TestSupport::waitUntil;

namespace {

constexpr int kClients = 100;
constexpr int kWritesPerSecondPerClient = 10;
constexpr int kSeconds = 10;

struct Figures {
    double appliedPerSecond = 0;
    double p50Milliseconds = 0;
    double p99Milliseconds = 0;
    std::size_t writes = 0;
    std::size_t complete = 0;
};

Figures g_figures;

struct Client {
    std::shared_ptr<Tessel::ClientToServerConnection> connection;
    std::shared_ptr<Tessel::DocumentConnection> document;
    Datamodel::Note* note = nullptr;
    int sequence = 0;
};

void hundredClientsWriting(benchmark::State& state) {
    for (auto _ : state) {
        try {
            QTemporaryDir data;
            TestSupport::ServerProcess server;
            server.start(QStringLiteral(TAVOLA_EXECUTABLE), data.path());
            Tessel::QtExecutor executor;
            auto const registry = TestSupport::modelTypeRegistry();
            std::vector<Client> clients(kClients);
            for (int i = 0; i < kClients; ++i) {
                auto link = waitFor(
                    Tessel::WebSocketTransport::connect(server.url(), folly::getKeepAliveToken(&executor)),
                    "a socket");
                clients[i].connection =
                    waitFor(Tessel::ClientToServerConnection::connect(
                                link, {QStringLiteral("load"), QStringLiteral("u%1").arg(i), 0},
                                folly::getKeepAliveToken(&executor), registry),
                            "a greeting");
                clients[i].document = waitFor(
                    clients[i].connection->openDocument("canvas", Datamodel::SharedCanvas::documentType(),
                                                        Datamodel::SharedCanvas::elementFactory()),
                    "the canvas");
                auto* note = new Datamodel::Note();
                Tessel::NodeTransaction transaction(*clients[i].document);
                transaction.addNode(*note, *clients[i].document->documentRoot());
                waitFor(transaction.commit(), "a note");
                clients[i].note = note;
            }
            // Every client must see every note before the clock starts.
            bool const allSeen = waitUntil([&] {
                return std::all_of(clients.begin(), clients.end(), [&](Client const& reader) {
                    return std::all_of(clients.begin(), clients.end(), [&](Client const& writer) {
                        return reader.document->findSharedElement(writer.note->guid()) != nullptr;
                    });
                });
            });
            if (!allSeen) {
                throw std::runtime_error("a client misses a note");
            }

            // Per write: when it was made and how many others have seen it.
            QElapsedTimer clock;
            std::map<QString, std::pair<qint64, int>> writes;
            std::vector<double> latencies;
            for (int reader = 0; reader < kClients; ++reader) {
                for (int writer = 0; writer < kClients; ++writer) {
                    if (writer == reader) {
                        continue;
                    }
                    auto* seen = dynamic_cast<Datamodel::Note*>(
                        clients[reader].document->findSharedElement(clients[writer].note->guid()));
                    if (!seen) {
                        throw std::runtime_error("a client misses a note");
                    }
                    seen->text.addListener(
                        [seen, &writes, &latencies, &clock] {
                            auto const found = writes.find(seen->text.value());
                            if (found != writes.end() && ++found->second.second == kClients - 1) {
                                latencies.push_back(
                                    static_cast<double>(clock.nsecsElapsed() / 1000 - found->second.first) /
                                    1000.0);
                            }
                        },
                        Basalt::Attribute::ROLE_CHANGE);
                }
            }
            clock.start();
            std::vector<std::unique_ptr<QTimer>> timers;
            for (Client& client : clients) {
                auto timer = std::make_unique<QTimer>();
                QObject::connect(timer.get(), &QTimer::timeout, [&client, &writes, &clock] {
                    if (clock.elapsed() >= kSeconds * 1000) {
                        return;
                    }
                    QString const text =
                        QStringLiteral("%1:%2").arg(client.note->guid().constData()).arg(++client.sequence);
                    writes.emplace(text, std::make_pair(clock.nsecsElapsed() / 1000, 0));
                    client.note->text = text;
                });
                timer->start(1000 / kWritesPerSecondPerClient);
                timers.push_back(std::move(timer));
            }
            // A blocking event loop, not a polling one: the clients' thread sleeps between frames, so that
            // the figures are the server's and the network's, not the cost of spinning over 100 sockets.
            QEventLoop running;
            QTimer::singleShot(kSeconds * 1000, &running, &QEventLoop::quit);
            running.exec();
            timers.clear();
            waitUntil([&] { return latencies.size() >= writes.size(); }, 5000);
            double const seconds = clock.elapsed() / 1000.0;
            std::sort(latencies.begin(), latencies.end());
            auto const percentile = [&](double p) {
                return latencies.empty() ? 0.0
                                         : latencies[static_cast<std::size_t>(p * (latencies.size() - 1))];
            };
            g_figures.writes = writes.size();
            g_figures.complete = latencies.size();
            g_figures.appliedPerSecond = static_cast<double>(latencies.size()) / seconds;
            g_figures.p50Milliseconds = percentile(0.50);
            g_figures.p99Milliseconds = percentile(0.99);
            state.SetIterationTime(seconds);
            for (Client& client : clients) {
                client.document.reset();
                client.connection->disconnect();
            }
            QCoreApplication::processEvents();
        } catch (std::exception const& failure) {
            state.SkipWithError(failure.what());
            return;
        }
    }
}

BENCHMARK(hundredClientsWriting)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::printf(
        "\n%d clients over loopback, each writing %d times a second for %d s: %zu writes, %zu seen by all "
        "others\n",
        kClients, kWritesPerSecondPerClient, kSeconds, g_figures.writes, g_figures.complete);
    std::printf("changes applied and seen by all others: %.0f per second (goal: at least 50000)\n",
                g_figures.appliedPerSecond);
    std::printf(
        "write at one client to arrival at all others: p50 %.2f ms, p99 %.2f ms (goal: p99 at most 10 ms)\n",
        g_figures.p50Milliseconds, g_figures.p99Milliseconds);
    benchmark::Shutdown();
    return 0;
}
