#include "platform/tessel/ServerAssets.hpp"

#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/AssetStorage.hpp"
#include "platform/tessel/ServerToClientConnection.hpp"

#include <algorithm>

namespace Tessel {

namespace {

void sendMessage(ServerToClientConnection const& connection, Wire::MessageKind kind, QByteArray const& hash,
                 QString const& text = QString()) {
    AssetTransfer::Message message;
    message.publicHash = hash;
    message.text = text;
    connection.send(kind, AssetTransfer::write(kind, message));
}

} // namespace

ServerAssets::ServerAssets(std::shared_ptr<AssetStorage> storage) : m_storage(std::move(storage)) {}

ServerAssets::~ServerAssets() = default;

bool ServerAssets::handle(ServerToClientConnection& connection, Wire::MessageKind kind,
                          Cobalt::BinaryData& payload, QString& error) {
    AssetTransfer::Message message;
    if (!AssetTransfer::read(kind, payload, message)) {
        error = QStringLiteral("malformed asset message");
        return false;
    }
    switch (kind) {
    case Wire::MessageKind::AssetOffer:
        offer(connection, message);
        return true;
    case Wire::MessageKind::AssetChunk:
        take(connection, message);
        return true;
    case Wire::MessageKind::AssetRefused:
        sourceRefused(connection, message);
        return true;
    case Wire::MessageKind::AssetPull:
        answerPull(connection, message);
        return true;
    default:
        error = QStringLiteral("asset message kind %1 is not for a server").arg(static_cast<int>(kind));
        return false;
    }
}

void ServerAssets::offer(ServerToClientConnection& connection, AssetTransfer::Message const& offer) {
    if (m_storage->findItem(offer.publicHash)) {
        sendMessage(connection, Wire::MessageKind::AssetStored, offer.publicHash);
        return;
    }
    auto const found = m_uploads.find(offer.publicHash);
    if (found != m_uploads.end()) {
        found->second.offering.push_back(&connection);
        return;
    }
    Upload& upload = m_uploads[offer.publicHash];
    upload.name = offer.text;
    upload.size = offer.length;
    upload.offering.push_back(&connection);
    pullFromNextSource(offer.publicHash, upload);
}

bool ServerAssets::pullFromNextSource(QByteArray const& publicHash, Upload& upload) {
    if (upload.offering.empty()) {
        return false;
    }
    ServerToClientConnection* const source = upload.offering.front();
    upload.source = source;
    upload.receiver = std::make_unique<AssetReceiver>(
        m_storage, publicHash, upload.name, upload.size,
        [source](Wire::MessageKind kind, Cobalt::BinaryData const& payload) { source->send(kind, payload); });
    AssetReceiver::Outcome const outcome = upload.receiver->start();
    if (outcome != AssetReceiver::Outcome::Waiting) {
        conclude(publicHash, outcome, upload.receiver->error());
    }
    return true;
}

void ServerAssets::take(ServerToClientConnection const& connection, AssetTransfer::Message const& chunk) {
    auto const found = m_uploads.find(chunk.publicHash);
    if (found == m_uploads.end() || found->second.source != &connection) {
        return; // a piece of an upload that ended, or came from a client it no longer pulls from
    }
    AssetReceiver::Outcome const outcome = found->second.receiver->take(chunk);
    if (outcome != AssetReceiver::Outcome::Waiting) {
        conclude(chunk.publicHash, outcome, found->second.receiver->error());
    }
}

void ServerAssets::sourceRefused(ServerToClientConnection const& connection,
                                 AssetTransfer::Message const& refusal) {
    auto const found = m_uploads.find(refusal.publicHash);
    if (found == m_uploads.end() || found->second.source != &connection) {
        return;
    }
    conclude(refusal.publicHash, found->second.receiver->fail(refusal.text), refusal.text);
}

void ServerAssets::conclude(QByteArray const& publicHash, AssetReceiver::Outcome outcome,
                            QString const& error) {
    // Copies: both may live in the upload that goes now.
    QByteArray const hash = publicHash;
    QString const reason = error;
    auto const found = m_uploads.find(hash);
    std::vector<ServerToClientConnection*> const offering = std::move(found->second.offering);
    m_uploads.erase(found);
    bool const stored = outcome == AssetReceiver::Outcome::Complete;
    if (!stored) {
        Cobalt::Trace::warning("ServerAssets # Refused asset %s: %s",
                               qPrintable(AssetTransfer::shortName(hash)), qPrintable(reason));
    }
    for (ServerToClientConnection* const connection : offering) {
        sendMessage(*connection, stored ? Wire::MessageKind::AssetStored : Wire::MessageKind::AssetRefused,
                    hash, reason);
    }
}

void ServerAssets::answerPull(ServerToClientConnection const& connection,
                              AssetTransfer::Message const& pull) const {
    std::shared_ptr<AssetStorage::Item> const item = m_storage->findItem(pull.publicHash);
    if (!item) {
        sendMessage(connection, Wire::MessageKind::AssetRefused, pull.publicHash,
                    QStringLiteral("The server holds no content for asset %1")
                        .arg(AssetTransfer::shortName(pull.publicHash)));
        return;
    }
    Cobalt::BinaryData answer;
    Wire::MessageKind const kind = AssetTransfer::answerPull(item->localPath(), pull, answer);
    connection.send(kind, answer);
}

void ServerAssets::disconnected(ServerToClientConnection const& connection) {
    for (auto it = m_uploads.begin(); it != m_uploads.end();) {
        Upload& upload = it->second;
        auto& offering = upload.offering;
        offering.erase(std::remove(offering.begin(), offering.end(), &connection), offering.end());
        QByteArray const hash = it->first;
        ++it;
        if (upload.source == &connection && !pullFromNextSource(hash, upload)) {
            m_uploads.erase(hash);
        }
    }
}

} // namespace Tessel
