#pragma once

#include "platform/tessel/AssetStorage.hpp"
#include "platform/tessel/ClientToServerConnection.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/QtExecutor.hpp"
#include "platform/tessel/TesselServer.hpp"

#include "folly/futures/Future.h"

#include <QJsonObject>
#include <QString>

#include <functional>
#include <memory>

namespace Kelp {
class TypeRegistry;
}

namespace Tavola {

/// Runs this thread's Qt event loop until `done` holds; throws `std::runtime_error` naming `what` after five
/// seconds.
void waitUntil(std::function<bool()> const& done, char const* what);

/// The value of `future`, once this thread's event loop has completed it; throws as `waitUntil`.
template <typename T>
T waitFor(folly::Future<T> future, char const* what) {
    waitUntil([&] { return future.isReady(); }, what);
    return std::move(future).get();
}

/// One client in this process: its executor on this thread, its asset storage (none unless given), its link
/// and its open document.
struct LocalClient {
    explicit LocalClient(QString clientName) : name(std::move(clientName)) {}

    QString name;
    Tessel::QtExecutor executor;
    std::shared_ptr<Tessel::AssetStorage> storage;
    std::shared_ptr<Tessel::ClientToServerConnection> connection;
    std::shared_ptr<Tessel::DocumentConnection> document;
};

/// Servers and clients of the model's documents in this process, all on this thread's Qt event loop.
class LocalSites {
public:
    LocalSites();

    /// The folder of a server's asset files in its data directory.
    static constexpr char assetFolder[] = "assets";

    /// A server that knows the model's document types, storing documents under `storageDirectory` (nothing
    /// when empty) and the contents of assets under its "assets" folder, with the operators registered in the
    /// process. With `postgres`, a connection string, the documents live in that PostgreSQL database instead.
    /// With `accounts` that hold users, every client signs in as one of them, and `policy`, when given,
    /// decides what each may open and change.
    std::shared_ptr<Tessel::TesselServer>
    makeServer(QString const& storageDirectory = QString(), QString const& postgres = QString(),
               std::shared_ptr<Tessel::UserAccounts const> accounts = nullptr,
               std::shared_ptr<Tessel::AccessPolicy const> policy = nullptr);
    /// The executor of the servers it makes: this thread's event loop.
    Tessel::QtExecutor& serverExecutor() { return m_serverExecutor; }
    /// Links `client` to `server` and opens the document `id` of `type` there.
    void join(LocalClient& client, Tessel::TesselServer& server, QByteArray const& id,
              QByteArray const& type);
    /// Greets a server over `link` as `client` and opens the document `id` of `type` there, building its
    /// elements with `factory`.
    void join(LocalClient& client, std::shared_ptr<Tessel::MessageLink> link, QByteArray const& id,
              QByteArray const& type, std::shared_ptr<Tessel::ElementFactory> factory);
    /// Opens on `server` the document `id` as `stored` holds it, brought forward through the chain of its
    /// type first. Throws `std::runtime_error` when it can't.
    std::shared_ptr<Tessel::ServerDocument> openStored(Tessel::TesselServer& server, QByteArray const& id,
                                                       QJsonObject stored);
    /// Runs what the server posted to run after its changes.
    void settle();

private:
    Tessel::QtExecutor m_serverExecutor;
    std::shared_ptr<Kelp::TypeRegistry> m_registry;
};

/// The stored form in `path` and its document type; throws `std::runtime_error` with a clear reason when it
/// can't be read or names no type.
QJsonObject readStored(QString const& path, QByteArray& documentType);

} // namespace Tavola
