#pragma once

// `tavola serve` as a process of its own, and waiting on this thread's Qt event loop, for the tests and
// benchmarks that reach a server over the network.

#include "folly/futures/Future.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QString>
#include <QUrl>

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
class ServerProcess {
public:
    ~ServerProcess() {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }

    /// Starts the server on `dataDirectory` and waits until it listens; throws `std::runtime_error` with
    /// what it said when it doesn't.
    void start(QString const& tavola, QString const& dataDirectory) {
        m_process.start(tavola, {QStringLiteral("serve"), QStringLiteral("--data"), dataDirectory,
                                 QStringLiteral("--listen"), QStringLiteral("127.0.0.1:0")});
        static QRegularExpression const s_listening(
            QStringLiteral("listening on (ws://127\\.0\\.0\\.1:\\d+)"));
        QString output;
        QElapsedTimer clock;
        clock.start();
        while (!s_listening.match(output).hasMatch() && clock.elapsed() < 10000 &&
               m_process.state() != QProcess::NotRunning) {
            m_process.waitForReadyRead(100);
            output += QString::fromUtf8(m_process.readAllStandardOutput());
        }
        QRegularExpressionMatch const match = s_listening.match(output);
        if (!match.hasMatch()) {
            throw std::runtime_error("tavola serve did not start: " + output.toStdString() +
                                     m_process.readAllStandardError().toStdString());
        }
        m_url = QUrl(match.captured(1));
    }

    /// Stops it as a person does, with SIGTERM; true when it stopped by itself and well.
    bool stop() {
        m_process.terminate();
        return m_process.waitForFinished(10000) && m_process.exitStatus() == QProcess::NormalExit &&
               m_process.exitCode() == 0;
    }

    /// Kills it with SIGKILL: it can store nothing more.
    void kill() {
        m_process.kill();
        m_process.waitForFinished(10000);
    }

    /// What it wrote to standard error since the last call.
    QString takeLog() { return QString::fromUtf8(m_process.readAllStandardError()); }

    QUrl const& url() const { return m_url; }

private:
    QProcess m_process;
    QUrl m_url;
};

} // namespace TestSupport
