#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace Tavola {

/// A `tavola serve` child process on a free port of 127.0.0.1, for the demo over the network and for the
/// tests and benchmarks that reach a server in a process of its own. Killed when destroyed if still running.
class ServeProcess {
public:
    ServeProcess() = default;
    ServeProcess(ServeProcess const&) = delete;
    ServeProcess& operator=(ServeProcess const&) = delete;
    ~ServeProcess();

    /// Starts `tavola` (the tool's path) serving `dataDirectory`, with `options` of `tavola serve` besides,
    /// and waits until it listens; throws `std::runtime_error` with what it said when it doesn't within ten
    /// seconds.
    void start(QString const& tavola, QString const& dataDirectory, QStringList const& options = {});
    /// Stops it as a person does, with SIGTERM; true when it stopped by itself and well.
    bool stop();
    /// Kills it with SIGKILL: it can store nothing more.
    void kill();
    /// What it wrote to standard error since the last call.
    QString takeLog();
    /// Where it listens: ws://127.0.0.1:PORT, or wss:// when told to speak TLS.
    QUrl const& url() const { return m_url; }

private:
    QProcess m_process;
    QUrl m_url;
};

} // namespace Tavola
