#include "tools/tavola/ServeProcess.hpp"

#include <QElapsedTimer>
#include <QRegularExpression>

#include <stdexcept>

namespace Tavola {

namespace {

constexpr int startMilliseconds = 10000;

} // namespace

ServeProcess::~ServeProcess() {
    if (m_process.state() != QProcess::NotRunning) {
        kill();
    }
}

void ServeProcess::start(QString const& tavola, QString const& dataDirectory, QStringList const& options) {
    m_process.start(tavola, QStringList{QStringLiteral("serve"), QStringLiteral("--data"), dataDirectory,
                                        QStringLiteral("--listen"), QStringLiteral("127.0.0.1:0")} +
                                options);
    static QRegularExpression const s_listening(QStringLiteral("listening on (wss?://127\\.0\\.0\\.1:\\d+)"));
    QString output;
    QElapsedTimer clock;
    clock.start();
    while (!s_listening.match(output).hasMatch() && clock.elapsed() < startMilliseconds &&
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

bool ServeProcess::stop() {
    m_process.terminate();
    return m_process.waitForFinished(startMilliseconds) && m_process.exitStatus() == QProcess::NormalExit &&
           m_process.exitCode() == 0;
}

void ServeProcess::kill() {
    m_process.kill();
    m_process.waitForFinished(startMilliseconds);
}

QString ServeProcess::takeLog() {
    return QString::fromUtf8(m_process.readAllStandardError());
}

} // namespace Tavola
