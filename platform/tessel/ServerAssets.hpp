#pragma once

#include "platform/tessel/AssetTransfer.hpp"

#include <QByteArray>
#include <QString>

#include <map>
#include <memory>
#include <vector>

namespace Tessel {

class AssetStorage;
class ServerToClientConnection;

/// The server's side of assets: its store of contents, the contents that clients offer and that it pulls
/// from them, and the pieces it hands to clients that fetch. A content is stored only once it has come
/// whole and hashes to the hash it was offered under. Used on the server's executor.
class ServerAssets {
public:
    explicit ServerAssets(std::shared_ptr<AssetStorage> storage);
    ~ServerAssets();
    ServerAssets(ServerAssets const&) = delete;
    ServerAssets& operator=(ServerAssets const&) = delete;

    AssetStorage& storage() const { return *m_storage; }

    /// Handles an asset message of `connection`; false, with the reason in `error`, when it is malformed.
    bool handle(ServerToClientConnection& connection, Wire::MessageKind kind, Cobalt::BinaryData& payload,
                QString& error);
    /// The connection goes: what it offered is pulled from another client that offered it too, or refused
    /// to those that wait for it.
    void disconnected(ServerToClientConnection const& connection);

private:
    /// A content on its way from a client, with every client that offered it and waits for the answer.
    struct Upload {
        QString name;
        std::int64_t size = 0;
        std::unique_ptr<AssetReceiver> receiver;
        ServerToClientConnection* source = nullptr;
        std::vector<ServerToClientConnection*> offering;
    };

    void offer(ServerToClientConnection& connection, AssetTransfer::Message const& offer);
    /// Pulls the upload from its first offering client; false when none is left.
    bool pullFromNextSource(QByteArray const& publicHash, Upload& upload);
    void take(ServerToClientConnection const& connection, AssetTransfer::Message const& chunk);
    void sourceRefused(ServerToClientConnection const& connection, AssetTransfer::Message const& refusal);
    /// Tells every offering client the outcome and forgets the upload.
    void conclude(QByteArray const& publicHash, AssetReceiver::Outcome outcome, QString const& error);
    void answerPull(ServerToClientConnection const& connection, AssetTransfer::Message const& pull) const;

    std::shared_ptr<AssetStorage> m_storage;
    std::map<QByteArray, Upload> m_uploads;
};

} // namespace Tessel
