#pragma once

// `tavola serve` as a process of its own, and waiting on this thread's Qt event loop, for the tests and
// benchmarks that reach a server over the network.

#include "tools/tavola/ServeProcess.hpp"

#include "folly/futures/Future.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <functional>
#include <stdexcept>
#include <string>

namespace TestSupport {

/// Runs this thread's event loop until `done` holds or `milliseconds` passed; whether it holds.
inline bool waitUntil(std::function<bool()> const& done, qint64 milliseconds = 10000) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < milliseconds) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return done();
}

/// The value of `future` once the event loop completed it; throws `std::runtime_error` naming `what` when
/// it took too long.
template <typename T>
T waitFor(folly::Future<T> future, char const* what, qint64 milliseconds = 10000) {
    if (!waitUntil([&] { return future.isReady(); }, milliseconds)) {
        throw std::runtime_error(std::string("timed out waiting for ") + what);
    }
    return std::move(future).get();
}

/// A `tavola serve` process on a free port of 127.0.0.1 (the tool's path is given by the build).
using ServerProcess = Tavola::ServeProcess;

} // namespace TestSupport
