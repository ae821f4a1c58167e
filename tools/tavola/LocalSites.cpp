#include "tools/tavola/LocalSites.hpp"

#include "attributes/AttributeTypes.hpp"
#include "framework/RegisterTypes.hpp"
#include "migrations/DatabaseChains.hpp"
#include "operators/ServerDocumentTypes.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/DocumentStore.hpp"
#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/PostgresDocumentStore.hpp"
#include "platform/tessel/StoredDocument.hpp"
#include "platform/tessel/UserAccounts.hpp"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>

#include <stdexcept>

namespace Tavola {

namespace {

constexpr int waitMilliseconds = 5000;

} // namespace

void waitUntil(std::function<bool()> const& done, char const* what) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > waitMilliseconds) {
            throw std::runtime_error(std::string("timed out waiting for ") + what);
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    }
}

LocalSites::LocalSites() : m_registry(std::make_shared<Kelp::TypeRegistry>()) {
    Basalt::registerAttributeTypes(*m_registry);
    Datamodel::registerTypes(*m_registry);
}

std::shared_ptr<Tessel::TesselServer>
LocalSites::makeServer(QString const& storageDirectory, QString const& postgres,
                       std::shared_ptr<Tessel::UserAccounts const> accounts,
                       std::shared_ptr<Tessel::AccessPolicy const> policy) {
    Tessel::TesselServer::Options options;
    options.accounts = std::move(accounts);
    options.accessPolicy = std::move(policy);
    options.executor = folly::getKeepAliveToken(&m_serverExecutor);
    options.typeRegistry = m_registry;
    if (!storageDirectory.isEmpty()) {
        options.assetDirectory = QDir(storageDirectory).filePath(QLatin1String(assetFolder));
    }
    if (!postgres.isEmpty()) {
        options.store = std::make_shared<Tessel::PostgresDocumentStore>(
            postgres, Datamodel::tavolaServerMigrationsPsql(options.assetDirectory));
    } else if (!storageDirectory.isEmpty()) {
        // The documents as JSON files, listed in the server's SQLite file beside them.
        options.store = std::make_shared<Tessel::JsonDocumentStore>(
            storageDirectory,
            Datamodel::tavolaServerMigrationsSqlite(storageDirectory, options.assetDirectory));
    }
    auto server = Tessel::TesselServer::create(options);
    Datamodel::registerServerDocumentTypes(*server);
    return server;
}

void LocalSites::join(LocalClient& client, Tessel::TesselServer& server, QByteArray const& id,
                      QByteArray const& type) {
    std::shared_ptr<Tessel::ServerDocumentType const> const documentType = server.documentType(type);
    if (!documentType) {
        throw std::runtime_error("unknown document type '" + type.toStdString() + "'");
    }
    join(client, server.connectInProcess(folly::getKeepAliveToken(&client.executor)), id, type,
         documentType->factory);
}

void LocalSites::join(LocalClient& client, std::shared_ptr<Tessel::MessageLink> link, QByteArray const& id,
                      QByteArray const& type, std::shared_ptr<Tessel::ElementFactory> factory) {
    auto joined = Tessel::ClientToServerConnection::connect(
        std::move(link), {client.name, client.name + QStringLiteral("-user"), 0},
        folly::getKeepAliveToken(&client.executor), m_registry,
        std::make_shared<Tessel::ConnectionManager>(client.storage));
    client.connection = waitFor(std::move(joined), "the server's welcome");
    client.document = waitFor(client.connection->openDocument(id, type, std::move(factory)), "the document");
}

std::shared_ptr<Tessel::ServerDocument> LocalSites::openStored(Tessel::TesselServer& server,
                                                               QByteArray const& id, QJsonObject stored) {
    QByteArray const type = stored.value(QStringLiteral("documentType")).toString().toUtf8();
    Tessel::JSONMigrations::instance().migrate(type, stored);
    QString error;
    bool restored = false;
    auto document = server.openDocument(id, type, error, [&](Tessel::ServerDocument& opened) {
        restored = Tessel::StoredDocument::restore(stored, opened, error);
    });
    if (!document || !restored) {
        throw std::runtime_error(error.toStdString());
    }
    settle();
    return document;
}

void LocalSites::settle() {
    // Work posted by a change runs on a later turn of the loop, and may post more.
    for (int turn = 0; turn < 10; ++turn) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
    }
}

QJsonObject readStored(QString const& path, QByteArray& documentType) {
    QJsonObject stored;
    QString error;
    if (!Tessel::StoredDocument::read(path, stored, error)) {
        throw std::runtime_error(error.toStdString());
    }
    documentType = stored.value(QStringLiteral("documentType")).toString().toUtf8();
    if (documentType.isEmpty()) {
        throw std::runtime_error("'" + path.toStdString() + "' names no document type");
    }
    return stored;
}

} // namespace Tavola
