#include "tools/tavola/Serve.hpp"

#include "tools/tavola/Commands.hpp"
#include "tools/tavola/LocalSites.hpp"

#include "operators/IndexAccessPolicy.hpp"
#include "operators/ServerDirectory.hpp"
#include "operators/ServerOperators.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/UserAccounts.hpp"
#include "platform/tessel/WebSocketTransport.hpp"

#include <QCoreApplication>
#include <QDir>
#include <QSocketNotifier>

#include <csignal>
#include <unistd.h>

namespace Tavola {

namespace {

constexpr quint16 defaultPort = 7480;

struct ServeArguments {
    QString data;
    QHostAddress address{QHostAddress::LocalHost};
    quint16 port = defaultPort;
    QString postgres;
    /// Items on a canvas nobody moved for this long are pinned.
    float autoPinSeconds = 60.0f;
    /// PEM files of the certificate and key that make the listener speak TLS (wss://); empty: none.
    QString tlsCertificate;
    QString tlsKey;
};

bool parseListen(QString const& text, ServeArguments& parsed) {
    int const colon = text.lastIndexOf(QLatin1Char(':'));
    bool portRead = false;
    uint const port = text.mid(colon + 1).toUInt(&portRead);
    if (colon <= 0 || !portRead || port > 65535 || !parsed.address.setAddress(text.left(colon))) {
        return false;
    }
    parsed.port = static_cast<quint16>(port);
    return true;
}

bool parse(QStringList const& arguments, ServeArguments& parsed, QString& error) {
    for (int i = 0; i < arguments.size(); ++i) {
        QString const& option = arguments.at(i);
        static QStringList const s_options{QStringLiteral("--data"),     QStringLiteral("--listen"),
                                           QStringLiteral("--postgres"), QStringLiteral("--auto-pin"),
                                           QStringLiteral("--tls-cert"), QStringLiteral("--tls-key")};
        bool const known = s_options.contains(option);
        if (!known) {
            error = QStringLiteral("unexpected argument '%1'").arg(option);
            return false;
        }
        if (++i == arguments.size()) {
            error = QStringLiteral("%1 needs a value").arg(option);
            return false;
        }
        QString const& value = arguments.at(i);
        if (option == QLatin1String("--data")) {
            parsed.data = value;
        } else if (option == QLatin1String("--postgres")) {
            parsed.postgres = value;
        } else if (option == QLatin1String("--tls-cert")) {
            parsed.tlsCertificate = value;
        } else if (option == QLatin1String("--tls-key")) {
            parsed.tlsKey = value;
        } else if (option == QLatin1String("--auto-pin")) {
            bool read = false;
            parsed.autoPinSeconds = value.toFloat(&read);
            if (!read || parsed.autoPinSeconds <= 0.0f) {
                error = QStringLiteral("--auto-pin needs a number of seconds above 0, not '%1'").arg(value);
                return false;
            }
        } else if (!parseListen(value, parsed)) {
            error = QStringLiteral("'%1' is no ADDRESS:PORT").arg(value);
            return false;
        }
    }
    if (parsed.data.isEmpty()) {
        error = QStringLiteral("--data DIR is missing");
        return false;
    }
    if (parsed.tlsCertificate.isEmpty() != parsed.tlsKey.isEmpty()) {
        error = QStringLiteral("--tls-cert and --tls-key go together");
        return false;
    }
    return true;
}

/// Turns SIGINT and SIGTERM into a quit of the event loop, through a pipe that the loop watches: a signal
/// handler may do no more than write.
class StopOnSignals {
public:
    StopOnSignals() {
        if (::pipe(s_pipe) != 0) {
            return;
        }
        m_notifier = std::make_unique<QSocketNotifier>(s_pipe[0], QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [] { QCoreApplication::quit(); });
        std::signal(SIGINT, &StopOnSignals::handle);
        std::signal(SIGTERM, &StopOnSignals::handle);
    }
    ~StopOnSignals() {
        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGTERM, SIG_DFL);
    }
    StopOnSignals(StopOnSignals const&) = delete;
    StopOnSignals& operator=(StopOnSignals const&) = delete;

private:
    static void handle(int) {
        char const byte = 1;
        [[maybe_unused]] auto const written = ::write(s_pipe[1], &byte, 1);
    }

    static inline int s_pipe[2] = {-1, -1};
    std::unique_ptr<QSocketNotifier> m_notifier;
};

int serve(ServeArguments const& arguments, QTextStream& out, QTextStream& err) {
    QDir().mkpath(arguments.data);
    Datamodel::registerTavolaServerOperators(arguments.autoPinSeconds, {});
    auto accounts = std::make_shared<Tessel::UserAccounts>();
    Tessel::WebSocketTls tls;
    QString error;
    bool const tlsRead =
        arguments.tlsKey.isEmpty() ||
        Tessel::WebSocketTls::readServing(arguments.tlsCertificate, arguments.tlsKey, tls, error);
    if (!tlsRead ||
        !accounts->load(QDir(arguments.data).filePath(QLatin1String(Tessel::UserAccounts::fileName)),
                        error)) {
        err << "tavola serve: " << error;
        Qt::endl(err);
        return 1;
    }
    LocalSites sites;
    // With accounts, the server index decides what each user may open and change.
    bool const checked = !accounts->isEmpty() || accounts->guestsAllowed();
    auto const directory = Datamodel::ServerDirectory::create();
    directory->setAccounts(*accounts);
    directory->publishIn(Tessel::ServerDocumentTypeOperators::instance());
    auto const policy = checked ? Datamodel::IndexAccessPolicy::create() : nullptr;
    auto server = sites.makeServer(arguments.data, arguments.postgres, accounts, policy);
    if (policy) {
        waitFor(policy->start(server, folly::getKeepAliveToken(sites.serverExecutor()), directory),
                "the server index");
    }
    auto const listener = Tessel::WebSocketListener::listen(
        arguments.address, arguments.port,
        [server](std::shared_ptr<Tessel::MessageLink> link, QString const& peer) {
            Cobalt::Trace::info("tavola serve # Connection from %s", qUtf8Printable(peer));
            server->accept(std::move(link));
        },
        folly::getKeepAliveToken(sites.serverExecutor()), error, Tessel::WebSocketLimits(), tls);
    if (!listener) {
        err << "tavola serve: " << error;
        Qt::endl(err);
        return 1;
    }
    StopOnSignals const stop;
    out << "tavola serve: listening on " << (tls.isServing() ? "wss://" : "ws://")
        << arguments.address.toString() << ":" << listener->port() << ", documents in "
        << (arguments.postgres.isEmpty() ? QDir(arguments.data).absolutePath() : QStringLiteral("PostgreSQL"))
        << (checked ? QStringLiteral(", %1 users sign in%2")
                          .arg(accounts->users().size())
                          .arg(accounts->guestsAllowed() ? QStringLiteral(", guests allowed") : QString())
                    : QStringLiteral(", no users: anyone may connect"));
    Qt::endl(out);
    QCoreApplication::exec();
    out << "tavola serve: stopping; every open document is stored";
    Qt::endl(out);
    return 0;
}

} // namespace

QString serveHelp() {
    return QStringLiteral(
        "usage: tavola serve --data DIR [--listen ADDRESS:PORT] [--postgres CONNINFO] [--auto-pin SECONDS]\n"
        "                    [--tls-cert FILE --tls-key FILE]\n"
        "\n"
        "Runs a server that clients reach over WebSockets (ws://ADDRESS:PORT, or wss:// with the PEM\n"
        "certificate and key of --tls-cert and --tls-key), with the same frames as a server in their own\n"
        "process. It listens on 127.0.0.1:7480 unless told otherwise (port 0 takes a\n"
        "free port; the line it prints names it). Once DIR/users.json holds users (tavola user add), every\n"
        "client signs in with a user's name and password, or as \"guest\" without one where guests are\n"
        "allowed (tavola guest allow), and may open and change what the server index (the document\n"
        "\"server-index\") grants it: each user owns a home folder there, named by the user's id, and\n"
        "shares canvases through their permissions. Documents are JSON files in DIR, listed in\n"
        "DIR/server.sqlite, or, with --postgres, in that PostgreSQL database; asset contents are in\n"
        "DIR/assets. The canvas operators run in every open canvas; items nobody moved for --auto-pin "
        "seconds\n"
        "(60) are pinned. It logs one line per connection and\n"
        "per refused message, and on SIGINT or SIGTERM stores every open document and stops.\n");
}

int runServe(QStringList const& arguments, QTextStream& out, QTextStream& err) {
    ServeArguments parsed;
    QString error;
    if (!parse(arguments, parsed, error)) {
        err << "tavola serve: " << error << " (see tavola serve --help)";
        Qt::endl(err);
        return 2;
    }
    // A store or an index that can't be opened ends the server with its reason, not a crash.
    int status = 1;
    int const guarded = runGuarded("serve", out, err, [&] { status = serve(parsed, out, err); });
    return guarded == 0 ? status : guarded;
}

} // namespace Tavola
