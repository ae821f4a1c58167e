#include "platform/tessel/ClientAssets.hpp"

#include <QFileInfo>

#include <stdexcept>

namespace Tessel {

namespace {

AssetNode::Progress progressOf(std::int64_t done, std::int64_t total) {
    return {static_cast<unsigned long>(std::max<std::int64_t>(done, 0)),
            static_cast<unsigned long>(std::max<std::int64_t>(total, 0))};
}

} // namespace

ClientAssets::ClientAssets(std::shared_ptr<AssetStorage> storage, Send send)
    : m_storage(std::move(storage)), m_send(std::move(send)) {}

ClientAssets::~ClientAssets() {
    connectionLost();
}

ClientAssets::Transfer ClientAssets::transfer(QByteArray const& publicHash) const {
    auto const found = m_transfers.find(publicHash);
    if (found != m_transfers.end()) {
        return found->second;
    }
    Transfer held;
    if (std::shared_ptr<AssetStorage::Item> const item =
            m_storage ? m_storage->findItem(publicHash) : nullptr) {
        std::int64_t const size = QFileInfo(item->localPath()).size();
        held.state = AssetNode::STATE_READY;
        held.progress = progressOf(size, size);
    }
    return held;
}

void ClientAssets::setTransfer(QByteArray const& publicHash, Transfer transfer) {
    m_transfers[publicHash] = std::move(transfer);
    transferChanged.raise(publicHash);
}

folly::Future<folly::Unit> ClientAssets::publish(std::shared_ptr<AssetStorage::Item> const& item) {
    QFileInfo const file(item->localPath());
    if (!item->isComplete() || !file.isFile()) {
        return folly::makeFuture<folly::Unit>(
            std::runtime_error(QStringLiteral("Can't read asset %1: its content is gone from '%2'")
                                   .arg(AssetTransfer::shortName(item->publicHash()), item->localPath())
                                   .toStdString()));
    }
    QByteArray const hash = item->publicHash();
    Publication& publication = m_publications[hash];
    publication.waiting.emplace_back();
    folly::Future<folly::Unit> done = publication.waiting.back().getFuture();
    if (publication.waiting.size() == 1) {
        publication.item = item;
        publication.size = file.size();
        setTransfer(hash, {AssetNode::STATE_UPLOADING, progressOf(0, publication.size), QString()});
        AssetTransfer::Message offer;
        offer.publicHash = hash;
        offer.length = publication.size;
        offer.text = item->fileName();
        m_send(Wire::MessageKind::AssetOffer, AssetTransfer::write(Wire::MessageKind::AssetOffer, offer));
    }
    return done;
}

void ClientAssets::fetch(QByteArray const& publicHash, QString const& name) {
    if (!m_storage || m_storage->findItem(publicHash) || m_fetches.count(publicHash) ||
        m_publications.count(publicHash)) {
        return;
    }
    auto receiver = std::make_unique<AssetReceiver>(m_storage, publicHash, name, -1, m_send);
    AssetReceiver& started = *receiver;
    m_fetches[publicHash] = std::move(receiver);
    setTransfer(publicHash, {AssetNode::STATE_DOWNLOADING, progressOf(0, 0), QString()});
    AssetReceiver::Outcome const outcome = started.start();
    if (outcome != AssetReceiver::Outcome::Waiting) {
        fetched(publicHash, outcome);
    }
}

bool ClientAssets::handle(Wire::MessageKind kind, Cobalt::BinaryData& payload, QString& error) {
    AssetTransfer::Message message;
    if (!AssetTransfer::read(kind, payload, message)) {
        error = QStringLiteral("malformed asset message");
        return false;
    }
    switch (kind) {
    case Wire::MessageKind::AssetStored:
        published(message.publicHash, QString());
        return true;
    case Wire::MessageKind::AssetRefused:
        refused(message);
        return true;
    case Wire::MessageKind::AssetPull:
        answerPull(message);
        return true;
    case Wire::MessageKind::AssetChunk:
        take(message);
        return true;
    default:
        error = QStringLiteral("asset message kind %1 is not for a client").arg(static_cast<int>(kind));
        return false;
    }
}

void ClientAssets::published(QByteArray const& hash, QString const& error) {
    QByteArray const publicHash = hash; // may live in the entry that goes
    auto const found = m_publications.find(publicHash);
    if (found == m_publications.end()) {
        return;
    }
    Publication publication = std::move(found->second);
    m_publications.erase(found);
    bool const stored = error.isEmpty();
    setTransfer(publicHash, {stored ? AssetNode::STATE_READY : AssetNode::STATE_FAILED,
                             progressOf(stored ? publication.size : 0, publication.size), error});
    for (folly::Promise<folly::Unit>& waiting : publication.waiting) {
        if (stored) {
            waiting.setValue();
        } else {
            waiting.setException(std::runtime_error(error.toStdString()));
        }
    }
}

void ClientAssets::answerPull(AssetTransfer::Message const& pull) {
    auto const found = m_publications.find(pull.publicHash);
    Cobalt::BinaryData answer;
    if (found == m_publications.end()) {
        m_send(Wire::MessageKind::AssetRefused,
               AssetTransfer::refusal(pull.publicHash, QStringLiteral("The client offers no asset %1")
                                                           .arg(AssetTransfer::shortName(pull.publicHash))));
        return;
    }
    Publication const& publication = found->second;
    m_send(AssetTransfer::answerPull(publication.item->localPath(), pull, answer), answer);
    setTransfer(pull.publicHash,
                {AssetNode::STATE_UPLOADING,
                 progressOf(std::min(pull.offset + pull.length, publication.size), publication.size),
                 QString()});
}

void ClientAssets::take(AssetTransfer::Message const& chunk) {
    auto const found = m_fetches.find(chunk.publicHash);
    if (found == m_fetches.end()) {
        return; // a piece of a fetch that ended
    }
    AssetReceiver::Outcome const outcome = found->second->take(chunk);
    if (outcome == AssetReceiver::Outcome::Waiting) {
        setTransfer(chunk.publicHash,
                    {AssetNode::STATE_DOWNLOADING,
                     progressOf(found->second->received(), found->second->size()), QString()});
        return;
    }
    fetched(chunk.publicHash, outcome);
}

void ClientAssets::refused(AssetTransfer::Message const& refusal) {
    if (m_publications.count(refusal.publicHash)) {
        published(refusal.publicHash, refusal.text);
        return;
    }
    auto const found = m_fetches.find(refusal.publicHash);
    if (found != m_fetches.end()) {
        fetched(refusal.publicHash, found->second->fail(refusal.text));
    }
}

void ClientAssets::fetched(QByteArray const& hash, AssetReceiver::Outcome outcome) {
    QByteArray const publicHash = hash; // may live in the entry that goes
    std::unique_ptr<AssetReceiver> const receiver = std::move(m_fetches[publicHash]);
    m_fetches.erase(publicHash);
    bool const complete = outcome == AssetReceiver::Outcome::Complete;
    setTransfer(publicHash, {complete ? AssetNode::STATE_READY : AssetNode::STATE_FAILED,
                             progressOf(receiver->received(), receiver->size()),
                             complete ? QString() : receiver->error()});
}

void ClientAssets::connectionLost() {
    QString const lost = QStringLiteral("Connection lost");
    while (!m_publications.empty()) {
        published(m_publications.begin()->first, lost);
    }
    while (!m_fetches.empty()) {
        auto const first = m_fetches.begin();
        fetched(first->first, first->second->fail(lost));
    }
}

} // namespace Tessel
