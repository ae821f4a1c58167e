#include "tools/tavola/Demo.hpp"

#include "tools/tavola/Commands.hpp"
#include "tools/tavola/LocalSites.hpp"
#include "tools/tavola/ServeProcess.hpp"

#include "canvas/Note.hpp"
#include "canvas/SharedCanvas.hpp"
#include "media/ImageAsset.hpp"
#include "operators/AutoPinServerOperator.hpp"
#include "operators/ServerOperators.hpp"
#include "platform/tessel/ClientTransaction.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/QtExecutor.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/StoredDocument.hpp"
#include "platform/tessel/TesselServer.hpp"
#include "platform/tessel/WebSocketTransport.hpp"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>

namespace Tavola {

namespace {

constexpr char const* documentId = "demo-canvas";
/// Short, so that the demo shows the pin without a long wait; a real server waits far longer.
constexpr float autoPinSeconds = 1.0f;
/// Where the demo's servers store their documents, under the directory it runs in; a server process of
/// the demo over the network stores them in its "network" folder.
constexpr char const* storageDirectory = "tavola-data";

QString text(Cobalt::ColorPMA const& color) {
    return QStringLiteral("(%1, %2, %3, %4)")
        .arg(color.red, 0, 'f', 2)
        .arg(color.green, 0, 'f', 2)
        .arg(color.blue, 0, 'f', 2)
        .arg(color.alpha, 0, 'f', 2);
}

QString text(Fathom::Vector2T<float> const& location) {
    return QStringLiteral("(%1, %2)").arg(location.x).arg(location.y);
}

/// One client: its thread's executor, its link and its copy of the canvas, and what it heard.
struct Site : LocalClient {
    /// Per attribute key: how often its listener ran, and where the last change came from.
    std::map<QByteArray, std::pair<int, QString>> heard;

    explicit Site(QString siteName) : LocalClient(std::move(siteName)) {}

    Datamodel::SharedCanvas& canvas() const {
        return *static_cast<Datamodel::SharedCanvas*>(document->documentRoot());
    }

    /// Counts the changes of `attribute` and tells whether each came from the server or from this site.
    void listen(Basalt::Attribute& attribute) {
        QByteArray const key = attribute.name();
        attribute.addListener(
            [this, key] {
                auto& entry = heard[key];
                ++entry.first;
                entry.second = Tessel::ClientTransaction::isActive() ? QStringLiteral("from the server")
                                                                     : QStringLiteral("written here");
            },
            Basalt::Attribute::ROLE_CHANGE);
    }
    QString heardOf(QByteArray const& key) const {
        auto const found = heard.find(key);
        if (found == heard.end()) {
            return QStringLiteral("listener ran 0 times");
        }
        return QStringLiteral("listener ran %1 time%2, last change %3")
            .arg(found->second.first)
            .arg(found->second.first == 1 ? QString() : QStringLiteral("s"))
            .arg(found->second.second);
    }
};

class Demo {
public:
    /// With `network`, the server is a `tavola serve` process that the clients reach over WebSockets;
    /// otherwise it runs in this process, where the demo also shows what it holds.
    Demo(QTextStream& out, bool network) : m_out(out), m_network(network) {
        if (!network) {
            // As a server process does once at start: the canvas operators, with a short idle time to pin.
            Datamodel::registerTavolaServerOperators(autoPinSeconds, {});
            m_server = m_sites.makeServer(serverDirectory());
        }
        // Each client keeps the files it imports and fetches in a storage of its own.
        for (Site* site : {&m_a, &m_b}) {
            QString const directory =
                QDir(QString::fromLatin1(storageDirectory)).filePath(QStringLiteral("client-") + site->name);
            site->storage =
                Tessel::AssetStorage::create(directory, folly::getKeepAliveToken(&site->executor));
        }
    }

    void run() {
        // A fresh canvas each time: the one a former run stored goes.
        QFile::remove(storedPath());
        startServerProcess();
        m_out << "tavola demo: one server and two clients, a and b, share the canvas \"" << documentId
              << "\" "
              << (m_network ? QStringLiteral("over WebSockets, with the server in a process of its own at %1")
                                  .arg(m_process.url().toString())
                            : QStringLiteral("in this process"))
              << ".\n";
        join(m_a);
        join(m_b);
        m_out << "        a and b joined as connections " << m_a.connection->connectionId() << " and "
              << m_b.connection->connectionId() << " of the server at version "
              << m_a.connection->serverVersion().toString() << "\n";
        describeReadiedCanvas();

        auto* note = stepOne();
        stepTwo(*note);
        stepThree(*note);
        stepFour(*note);
        stepFive(*note);
        stepSix(*note);
        stepSeven(*note);
        stepEight();
        m_out << "done: every site holds the same note and the same image.\n";
        Qt::endl(m_out);
    }

private:
    QString serverDirectory() const {
        return m_network ? QDir(QString::fromLatin1(storageDirectory)).filePath(QStringLiteral("network"))
                         : QString::fromLatin1(storageDirectory);
    }
    /// Where the server stores the canvas, as JSON.
    QString storedPath() const {
        return QDir(serverDirectory()).filePath(QString::fromLatin1(documentId) + QStringLiteral(".json"));
    }

    /// Over the network: a server process of this tool, which pins after the demo's short idle time.
    void startServerProcess() {
        if (m_network) {
            QDir().mkpath(serverDirectory());
            m_process.start(QCoreApplication::applicationFilePath(), serverDirectory(),
                            {QStringLiteral("--auto-pin"), QString::number(autoPinSeconds)});
        }
    }

    /// Joins `site` to the server in this process (`server`, or the first one when null), or over the
    /// network to the server process.
    void join(Site& site, Tessel::TesselServer* server = nullptr) {
        if (!m_network) {
            m_sites.join(site, server ? *server : *m_server, documentId,
                         Datamodel::SharedCanvas::documentType());
            return;
        }
        auto link = waitFor(
            Tessel::WebSocketTransport::connect(m_process.url(), folly::getKeepAliveToken(&site.executor)),
            "the socket to the server");
        m_sites.join(site, std::move(link), documentId, Datamodel::SharedCanvas::documentType(),
                     Datamodel::SharedCanvas::elementFactory());
    }

    Datamodel::Note* stepOne() {
        Tessel::Element* const made = Datamodel::SharedCanvas::elementFactory()->create("tavola_note");
        auto* note = dynamic_cast<Datamodel::Note*>(made);
        if (!note) {
            delete made;
            throw std::runtime_error("the canvas factory made no note for \"tavola_note\"");
        }
        m_out << "step 1  a asks the canvas factory for \"tavola_note\": a Datamodel::Note, "
              << (note->documentConnection() ? "with" : "with no") << " connection yet\n";
        return note;
    }

    void stepTwo(Datamodel::Note& note) {
        note.text = QStringLiteral("Hello from a");
        note.location = Fathom::Vector2T<float>(120.0f, 80.0f);
        m_out << "step 2  a writes text \"" << note.text.value() << "\" and location "
              << text(note.location.value())
              << " on the user layer, and adds the note to the canvas in a transaction\n";
        Tessel::NodeTransaction transaction(*m_a.document);
        transaction.addNode(note, m_a.canvas());
        m_addedAt.start();
        waitFor(transaction.commit(), "the server to apply the transaction");
        if (!m_server) {
            m_out << "        the server applied it and said so\n";
            return;
        }
        auto const server = m_server->document(documentId);
        auto const node = server->findNode(note.guid());
        m_out << "        the server applied it: the note is a node of type \""
              << (node ? node->typeKey() : QByteArray()) << "\" among the "
              << server->rootNode()->childNodes().size() << " children of the canvas root, with "
              << (node ? node->childAttributes().size() : 0) << " stored values\n";
    }

    void stepThree(Datamodel::Note& note) {
        bool const joined = note.attribute("text-color") && note.attribute("auto-text-color");
        m_out << "step 3  the note got its connection; the server is at "
              << m_a.connection->serverVersion().toString() << ", so \"text-color\" and \"auto-text-color\" "
              << (joined ? "joined" : "did not join") << " the document\n";
    }

    void describeReadiedCanvas() {
        Datamodel::SharedCanvas const& canvas = m_b.canvas();
        QStringList fixed;
        for (char const* name : {"background", "connectors", "presentations", "upload-folder",
                                 "browser-bookmarks", "ip-stream-bookmarks"}) {
            fixed << (canvas.attribute(name) ? QString::fromLatin1(name)
                                             : QStringLiteral("(no %1)").arg(name));
        }
        m_out << "        the server's operators readied the new canvas; b sees its fixed children "
              << fixed.join(", ") << " and " << canvas.noteBackgroundColorPresets.size()
              << " note background presets\n";
    }

    void stepFour(Datamodel::Note& note) {
        if (!m_server) {
            m_out << "step 4  in the server process the auto-pin operator attached to the note and restarted "
                     "its idle timer of "
                  << autoPinSeconds << " s\n";
            m_addedAt.start();
            return;
        }
        auto const document = m_server->document(documentId);
        std::shared_ptr<Datamodel::AutoPinServerDocumentOperator> autoPin;
        for (auto const& op : document->operators()) {
            autoPin =
                autoPin ? autoPin : std::dynamic_pointer_cast<Datamodel::AutoPinServerDocumentOperator>(op);
        }
        auto const node = document->findNode(note.guid());
        if (!autoPin || !node || !node->hasOperator(autoPin)) {
            throw std::runtime_error("the auto-pin operator did not attach to the note");
        }
        QStringList watched;
        for (char const* name : {"location", "scale", "size", "pinned"}) {
            auto const attribute = node->childAttribute(name);
            if (attribute && attribute->hasOperator(autoPin)) {
                watched << QString::fromLatin1(name);
            }
        }
        m_out
            << "step 4  on the server a node of type \"" << node->typeKey()
            << "\" appeared under the canvas root; the auto-pin operator attached to it, watches its stored "
            << (watched.isEmpty() ? QStringLiteral("(none yet)") : watched.join(", ")) << ", and "
            << (autoPin->isCounting() ? "restarted" : "did not restart") << " its idle timer of "
            << autoPinSeconds << " s\n";
        m_addedAt.start();
    }

    void stepSix(Datamodel::Note& atA) {
        auto* atB = dynamic_cast<Datamodel::Note*>(m_b.document->findSharedElement(atA.guid()));
        m_a.listen(atA.pinned);
        m_b.listen(atB->pinned);
        waitUntil([&] { return atA.pinned.value() && atB->pinned.value(); }, "the pin at both sites");
        m_out << "step 6  nothing moved for " << autoPinSeconds << " s: the operator pinned the note "
              << QString::number(m_addedAt.elapsed() / 1000.0, 'f', 1) << " s after it arrived\n";
        for (auto const& pair : {std::make_pair(&m_a, &atA), std::make_pair(&m_b, atB)}) {
            m_out << "        " << pair.first->name << ": pinned "
                  << (pair.second->pinned.value() ? "true" : "false") << " (" << pair.first->heardOf("pinned")
                  << ")\n";
        }
    }

    /// Has the server store the canvas: in this process by asking it, over the network by stopping its
    /// process, which stores every open document as it goes.
    void storeCanvas() {
        QString error;
        if (m_network ? !m_process.stop() : !m_server->storeDocument(documentId, error)) {
            throw std::runtime_error(m_network ? "the server process did not stop well: " +
                                                     m_process.takeLog().toStdString()
                                               : error.toStdString());
        }
    }

    void stepSeven(Datamodel::Note const& atA) {
        storeCanvas();
        QString const path = storedPath();
        QJsonObject stored;
        QString error;
        if (!Tessel::StoredDocument::read(path, stored, error)) {
            throw std::runtime_error(error.toStdString());
        }
        m_out << "step 7  the server " << (m_network ? "stopped on SIGTERM and " : "")
              << "stored the canvas in " << path << ": "
              << stored.value(QStringLiteral("nodes")).toArray().size() << " nodes, \""
              << Datamodel::SharedCanvas::documentType() << "\" at version "
              << Tessel::JSONMigrations::reachedVersion(stored, Datamodel::SharedCanvas::documentType())
              << " of its chain\n";
        // A server that starts later, as a new release would, reads the canvas back through the chains.
        std::shared_ptr<Tessel::TesselServer> const later =
            m_network ? nullptr : m_sites.makeServer(serverDirectory());
        startServerProcess();
        join(m_c, later.get());
        auto const* atC = dynamic_cast<Datamodel::Note const*>(m_c.document->findSharedElement(atA.guid()));
        if (!atC) {
            throw std::runtime_error("the stored canvas came back without the note");
        }
        m_out << "        a later server read it back; c opened it there: the note says \""
              << atC->text.value() << "\", pinned " << (atC->pinned.value() ? "true" : "false")
              << ", text-color " << text(atC->textColor.value()) << "\n";
        if (m_network) {
            // The first server process is gone: a and b open the canvas again on the later one.
            join(m_a);
            join(m_b);
            m_out << "        a and b opened the canvas again on the later server process\n";
        }
    }

    void stepEight() {
        auto* image = new Datamodel::ImageAsset();
        Tessel::NodeTransaction transaction(*m_a.document);
        transaction.addNode(*image, m_a.canvas());
        waitFor(transaction.commit(), "the server to add the image");
        QByteArray const pixels = demoImage();
        Datamodel::AssetFile::SetResult imported =
            image->source.setAssetFromBuffer(pixels, QStringLiteral("gradient.ppm"));
        waitFor(std::move(imported.done), "a's image to reach the server");
        m_out << "step 8  a imports " << pixels.size()
              << " bytes as \"gradient.ppm\" into an image on the canvas; "
              << "its storage holds them under " << image->source.publicHashHex().left(16) << "..."
              << ", the server took them, and the hash went out in the image's \"source\"\n";
        Datamodel::ImageAsset* atB = nullptr;
        waitUntil(
            [&] {
                atB = dynamic_cast<Datamodel::ImageAsset*>(m_b.document->findSharedElement(image->guid()));
                return atB && atB->source.localPath().isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER);
            },
            "the image's content at b");
        QFile fetched(atB->source.localPath().value());
        bool const same = fetched.open(QIODevice::ReadOnly) && fetched.readAll() == pixels;
        m_out << "        b saw the hash, fetched the content in pieces (asset state "
              << (atB->source.state() == Tessel::AssetNode::STATE_READY ? "ready" : "not ready") << ", "
              << atB->source.assetNode()->progress().first << " of "
              << atB->source.assetNode()->progress().second << " bytes) and finds it at "
              << atB->source.localPath().value() << ": " << (same ? "the same bytes" : "OTHER BYTES") << "\n";
        if (!same) {
            throw std::runtime_error("b's copy of the image differs from a's");
        }
    }

    /// A small picture in the plainest image format: a colour gradient.
    static QByteArray demoImage() {
        int const side = 64;
        QByteArray pixels = QByteArrayLiteral("P6 64 64 255\n");
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                pixels.append(static_cast<char>(x * 4))
                    .append(static_cast<char>(y * 4))
                    .append(static_cast<char>(128));
            }
        }
        return pixels;
    }

    void stepFive(Datamodel::Note& atA) {
        Datamodel::Note* atB = nullptr;
        waitUntil(
            [&] {
                atB = dynamic_cast<Datamodel::Note*>(m_b.document->findSharedElement(atA.guid()));
                return atB != nullptr;
            },
            "the note at b");
        m_out << "step 5  b's copy of the note took its values on the user layer: text \""
              << atB->text.value() << "\", location " << text(atB->location.value()) << "\n";
        for (auto const& pair : {std::make_pair(&m_a, &atA), std::make_pair(&m_b, atB)}) {
            pair.first->listen(pair.second->backgroundColor);
            pair.first->listen(pair.second->textColor);
        }
        Cobalt::ColorPMA const dark(0.10f, 0.15f, 0.35f, 1.0f);
        m_out << "        a writes background-color " << text(dark) << "\n";
        atA.backgroundColor = dark;
        waitUntil([&] { return atB->backgroundColor.value() == dark; }, "the colour at b");
        for (auto const& pair : {std::make_pair(&m_a, &atA), std::make_pair(&m_b, atB)}) {
            Site const& site = *pair.first;
            m_out << "        " << site.name << ": background-color "
                  << text(pair.second->backgroundColor.value()) << " (" << site.heardOf("background-color")
                  << ")\n"
                  << "           text-color " << text(pair.second->textColor.value()) << " ("
                  << site.heardOf("text-color") << ")\n";
        }
        if (!(atA.textColor.value() == atB->textColor.value())) {
            throw std::runtime_error("the sites disagree on the text colour");
        }
    }

    QTextStream& m_out;
    bool m_network;
    LocalSites m_sites;
    /// The server in this process; null over the network.
    std::shared_ptr<Tessel::TesselServer> m_server;
    /// The server process over the network.
    ServeProcess m_process;
    Site m_a{QStringLiteral("a")};
    Site m_b{QStringLiteral("b")};
    Site m_c{QStringLiteral("c")};
    QElapsedTimer m_addedAt;
};

} // namespace

QString demoHelp() {
    return QStringLiteral(
        "usage: tavola demo [--network]\n"
        "\n"
        "Runs a server and two clients, a and b, in this process. They share a fresh canvas, and a note "
        "goes\n"
        "through its life: a builds it, writes its text and location and adds it in a transaction; it joins\n"
        "the document with the attributes the server's version admits; b receives it, and a change of its\n"
        "background colour gives the same text colour at both sites. The server's operators ready the new\n"
        "canvas, attach to the note when it arrives, and pin it once nothing moved for a second; both\n"
        "sites see \"pinned\" arrive. Last, the server stores the canvas under ./tavola-data, and a server\n"
        "started later reads it back for a third client, c. Then a imports a small image into the canvas:\n"
        "the server takes its bytes, and b fetches them into its own storage. Each step prints what each\n"
        "site sees.\n"
        "\n"
        "With --network the server is a `tavola serve` process of its own, storing under\n"
        "./tavola-data/network, and the clients reach it over WebSockets on 127.0.0.1; the later server is "
        "a\n"
        "new process on the same data, started once the first stopped on SIGTERM.\n");
}

int runDemo(QStringList const& arguments, QTextStream& out, QTextStream& err) {
    bool const network = arguments == QStringList{QStringLiteral("--network")};
    if (!arguments.isEmpty() && !network) {
        err << "tavola demo: unexpected argument '" << arguments.first() << "' (see tavola demo --help)";
        Qt::endl(err);
        return 2;
    }
    return runGuarded("demo", out, err, [&] { Demo(out, network).run(); });
}

} // namespace Tavola
