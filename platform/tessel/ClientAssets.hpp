#pragma once

#include "attributes/Event.hpp"
#include "platform/tessel/AssetNode.hpp"
#include "platform/tessel/AssetStorage.hpp"
#include "platform/tessel/AssetTransfer.hpp"

#include "folly/futures/Future.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace Tessel {

/// A client's side of assets on one link to a server: it publishes contents of its storage to the server,
/// fetches the contents it lacks, answers the server's pulls, and knows where each transfer stands. Used
/// on the client's thread.
class ClientAssets {
public:
    using Send = std::function<void(Wire::MessageKind, Cobalt::BinaryData const&)>;

    /// Where one content stands on this link.
    struct Transfer {
        AssetNode::ClientState state = AssetNode::STATE_NONE;
        AssetNode::Progress progress{0, 0};
        QString error;
    };

    /// `storage` may be null for a client that keeps no files; `send` carries messages to the server.
    ClientAssets(std::shared_ptr<AssetStorage> storage, Send send);
    ~ClientAssets();
    ClientAssets(ClientAssets const&) = delete;
    ClientAssets& operator=(ClientAssets const&) = delete;

    AssetStorage* storage() const { return m_storage.get(); }
    /// Where a content stands: the transfer under way or the last one, else whether the storage holds it
    /// (`STATE_READY`), else `STATE_NONE`.
    Transfer transfer(QByteArray const& publicHash) const;

    /// Offers the content of `item` to the server, which pulls it unless it holds it already. Completes
    /// when the server holds the content; fails with the server's reason, with "Can't read asset ..." when
    /// the item's file is gone, and with "Connection lost".
    folly::Future<folly::Unit> publish(std::shared_ptr<AssetStorage::Item> const& item);
    /// Fetches a content from the server into the storage, unless the storage holds it, a transfer of it is
    /// under way, or there is no storage.
    void fetch(QByteArray const& publicHash, QString const& name);

    /// Handles an asset message from the server; false, with the reason in `error`, when it is malformed.
    bool handle(Wire::MessageKind kind, Cobalt::BinaryData& payload, QString& error);
    /// The link went: publications fail and fetches stop, with "Connection lost".
    void connectionLost();

    /// Raised with the hash of each content whose transfer changed.
    Basalt::Event<QByteArray> transferChanged;

private:
    struct Publication {
        std::shared_ptr<AssetStorage::Item> item;
        std::int64_t size = 0;
        std::vector<folly::Promise<folly::Unit>> waiting;
    };

    void setTransfer(QByteArray const& publicHash, Transfer transfer);
    void published(QByteArray const& publicHash, QString const& error);
    void answerPull(AssetTransfer::Message const& pull);
    void take(AssetTransfer::Message const& chunk);
    void refused(AssetTransfer::Message const& refusal);
    void fetched(QByteArray const& publicHash, AssetReceiver::Outcome outcome);

    std::shared_ptr<AssetStorage> m_storage;
    Send m_send;
    std::map<QByteArray, Publication> m_publications;
    std::map<QByteArray, std::unique_ptr<AssetReceiver>> m_fetches;
    std::map<QByteArray, Transfer> m_transfers;
};

} // namespace Tessel
