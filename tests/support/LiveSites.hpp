#pragma once

// A server and any number of clients in one process, each site on an executor of its own that runs only when
// the test says so, so that a test decides when messages are delivered. Free of GoogleTest, so that the
// benchmarks and the fuzz targets run the same sites: a server that doesn't answer throws.
//
// Usage:
//     TestSupport::LiveSites sites;                // a server announcing the newest version
//     auto& a = sites.join("a");                   // a client with the canvas "canvas" open
//     auto& b = sites.join("b");
//     ... write at a ...
//     sites.deliver();                             // every queued message, until all sites are idle
//
// With `keepAssets(true)` every later client gets an asset storage in a temporary directory of its own; since
// imports run on the storage's worker thread, wait for them with `deliverUntil`.

#include "TestExecutors.hpp"

#include "attributes/AttributeTypes.hpp"
#include "canvas/SharedCanvas.hpp"
#include "client/EmblemActions.hpp"
#include "framework/RegisterTypes.hpp"
#include "index/ServerIndex.hpp"
#include "operators/ServerDocumentTypes.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/TesselServer.hpp"

#include "platform/tessel/AssetStorage.hpp"

#include <QTemporaryDir>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

namespace TestSupport {

inline std::shared_ptr<Kelp::TypeRegistry> modelTypeRegistry() {
    auto registry = std::make_shared<Kelp::TypeRegistry>();
    Basalt::registerAttributeTypes(*registry);
    Datamodel::registerTypes(*registry);
    return registry;
}

class LiveSites {
public:
    struct Site {
        ManualExecutor executor;
        /// Where the site's asset storage keeps its files, when it has one.
        std::unique_ptr<QTemporaryDir> assetDirectory;
        std::shared_ptr<Tessel::AssetStorage> storage;
        std::shared_ptr<Tessel::ClientToServerConnection> connection;
        std::shared_ptr<Tessel::DocumentConnection> document;

        Datamodel::SharedCanvas& canvas() const {
            return *static_cast<Datamodel::SharedCanvas*>(document->documentRoot());
        }

        /// The first child of the canvas that is an `E`; null when there is none.
        template <typename E>
        E* firstOnCanvas() const {
            for (Basalt::Node::Entry const& entry : canvas().attributes()) {
                if (auto* const element = dynamic_cast<E*>(entry.second)) {
                    return element;
                }
            }
            return nullptr;
        }
    };

    /// Changes the server's options before it is made (its store, its delays ...).
    using Configure = std::function<void(Tessel::TesselServer::Options&)>;

    /// A server announcing `version`, with `operators` (none when null), storing documents under
    /// `storageDirectory` (nothing when empty), with the options that `configure` sets.
    explicit LiveSites(QString const& version = QStringLiteral("26.07.5"),
                       Tessel::ServerDocumentTypeOperators const* operators = nullptr,
                       QString const& storageDirectory = QString(), Configure const& configure = Configure())
        : m_registry(modelTypeRegistry()) {
        Tessel::TesselServer::Options options;
        options.storageDirectory = storageDirectory;
        options.version = Cobalt::VersionString(version);
        options.executor = folly::getKeepAliveToken(&m_serverExecutor);
        options.typeRegistry = m_registry;
        options.operators = operators ? operators : &m_noOperators;
        if (configure) {
            configure(options);
        }
        m_server = Tessel::TesselServer::create(options);
        Datamodel::registerServerDocumentTypes(*m_server);
    }
    ~LiveSites() {
        for (auto& site : m_sites) {
            site->document.reset();
            site->connection.reset();
        }
        deliver();
    }

    /// A client that joined the server, without a document.
    Site& connect(QString const& name, unsigned userId = 0) {
        m_sites.push_back(std::make_unique<Site>());
        Site& site = *m_sites.back();
        if (m_keepAssets) {
            site.assetDirectory = std::make_unique<QTemporaryDir>();
            site.storage = Tessel::AssetStorage::create(site.assetDirectory->path(),
                                                        folly::getKeepAliveToken(&site.executor));
        }
        auto link = m_server->connectInProcess(folly::getKeepAliveToken(&site.executor));
        auto joined = Tessel::ClientToServerConnection::connect(
            link, {name, name + QStringLiteral("-user"), userId}, folly::getKeepAliveToken(&site.executor),
            m_registry, std::make_shared<Tessel::ConnectionManager>(site.storage));
        deliver();
        site.connection = answered(std::move(joined), "the server didn't answer a greeting");
        return site;
    }

    /// A client acting for `userId` with the document `id` of `type` open.
    Site& join(QString const& name, QByteArray const& id = "canvas",
               QByteArray const& type = Datamodel::SharedCanvas::documentType(), unsigned userId = 0) {
        Site& site = connect(name, userId);
        auto opened = site.connection->openDocument(id, type, factoryOf(type));
        deliver();
        site.document = answered(std::move(opened), "the server didn't answer an open");
        return site;
    }

    static std::shared_ptr<Tessel::ElementFactory> factoryOf(QByteArray const& type);

    /// A new E added under the canvas of `site` in one transaction, once the server applied it; throws
    /// `std::runtime_error` when the server didn't.
    template <typename E>
    E& addToCanvas(Site& site) {
        auto* element = new E();
        Tessel::NodeTransaction transaction(*site.document);
        transaction.addNode(*element, site.canvas());
        auto committed = transaction.commit();
        deliver();
        answered(std::move(committed), "the server didn't apply the addition");
        return *element;
    }

    /// The value of a future that the delivered messages completed; throws `std::runtime_error` with `what`
    /// when it is still waiting, as `get` would wait for ever on executors that only run when told.
    template <typename T>
    static T answered(folly::Future<T>&& future, char const* what) {
        if (!future.isReady()) {
            throw std::runtime_error(what);
        }
        return std::move(future).get();
    }

    /// Runs every site's queued work until none is left.
    void deliver() {
        for (bool ran = true; ran;) {
            ran = m_serverExecutor.drain() > 0;
            for (auto& site : m_sites) {
                ran = site->executor.drain() > 0 || ran;
            }
        }
    }

    /// Delivers until `done` holds, waiting for work of other threads (asset imports) to come in; throws
    /// `std::runtime_error` with `what` when it still doesn't hold after ten seconds.
    void deliverUntil(std::function<bool()> const& done, char const* what) {
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (deliver(); !done(); deliver()) {
            if (std::chrono::steady_clock::now() > deadline) {
                throw std::runtime_error(what);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    /// Whether clients that join from now on keep an asset storage.
    void keepAssets(bool keep) { m_keepAssets = keep; }

    ManualExecutor& serverExecutor() { return m_serverExecutor; }
    std::shared_ptr<Tessel::TesselServer> const& server() const { return m_server; }
    std::shared_ptr<Tessel::ServerDocument> serverDocument(QByteArray const& id = "canvas") const {
        return m_server->document(id);
    }
    std::shared_ptr<Kelp::TypeRegistry> const& registry() const { return m_registry; }
    std::deque<std::unique_ptr<Site>>& sites() { return m_sites; }

private:
    ManualExecutor m_serverExecutor;
    std::shared_ptr<Kelp::TypeRegistry> m_registry;
    Tessel::ServerDocumentTypeOperators m_noOperators;
    std::shared_ptr<Tessel::TesselServer> m_server;
    std::deque<std::unique_ptr<Site>> m_sites;
    bool m_keepAssets = false;
};

inline std::shared_ptr<Tessel::ElementFactory> LiveSites::factoryOf(QByteArray const& type) {
    if (type == Datamodel::EmblemActionMap::documentType()) {
        return Datamodel::EmblemActionMap::elementFactory();
    }
    if (type == Datamodel::ServerIndex::documentType()) {
        return Datamodel::ServerIndex::elementFactory();
    }
    return type == Datamodel::SharedCanvas::documentType() ? Datamodel::SharedCanvas::elementFactory()
                                                           : nullptr;
}

} // namespace TestSupport
