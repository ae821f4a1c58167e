#include "platform/tessel/AssetTransfer.hpp"

#include "platform/tessel/AssetStorage.hpp"
#include "platform/tessel/Uuid.hpp"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryFile>

#include <algorithm>
#include <exception>

namespace Tessel {

namespace AssetTransfer {

namespace {

constexpr int hashSize = 32;

bool isValid(Wire::MessageKind kind, Message const& message) {
    if (message.publicHash.size() != hashSize || message.offset < 0 || message.length < 0) {
        return false;
    }
    switch (kind) {
    case Wire::MessageKind::AssetPull:
        return message.length > 0 && message.length <= chunkSize;
    case Wire::MessageKind::AssetChunk:
        return message.bytes.size() <= chunkSize && message.total >= 0 &&
               message.offset + message.bytes.size() <= message.total;
    default:
        return true;
    }
}

} // namespace

bool isAssetMessage(Wire::MessageKind kind) {
    return kind >= Wire::MessageKind::AssetOffer && kind <= Wire::MessageKind::AssetChunk;
}

Cobalt::BinaryData write(Wire::MessageKind kind, Message const& message) {
    Cobalt::BinaryData payload;
    payload.writeBytes(message.publicHash);
    switch (kind) {
    case Wire::MessageKind::AssetOffer:
        payload.writeInt64(message.length);
        payload.writeString(message.text.toUtf8());
        break;
    case Wire::MessageKind::AssetRefused:
        payload.writeString(message.text.toUtf8());
        break;
    case Wire::MessageKind::AssetPull:
        payload.writeInt64(message.offset);
        payload.writeInt64(message.length);
        break;
    case Wire::MessageKind::AssetChunk:
        payload.writeInt64(message.offset);
        payload.writeInt64(message.total);
        payload.writeBytes(message.bytes);
        break;
    default:
        break;
    }
    return payload;
}

bool read(Wire::MessageKind kind, Cobalt::BinaryData& payload, Message& message) {
    Wire::PayloadReader reader(payload);
    reader.bytes(message.publicHash);
    QByteArray text;
    switch (kind) {
    case Wire::MessageKind::AssetOffer:
        reader.int64(message.length).text(text);
        break;
    case Wire::MessageKind::AssetRefused:
        reader.text(text);
        break;
    case Wire::MessageKind::AssetPull:
        reader.int64(message.offset).int64(message.length);
        break;
    case Wire::MessageKind::AssetChunk:
        reader.int64(message.offset).int64(message.total).bytes(message.bytes);
        break;
    default:
        break;
    }
    message.text = QString::fromUtf8(text);
    return reader.complete() && isValid(kind, message);
}

Wire::MessageKind answerPull(QString const& path, Message const& pull, Cobalt::BinaryData& answer) {
    QFile file(path);
    Message chunk;
    chunk.publicHash = pull.publicHash;
    chunk.offset = pull.offset;
    if (file.open(QIODevice::ReadOnly) && file.seek(std::min<std::int64_t>(pull.offset, file.size()))) {
        chunk.total = file.size();
        chunk.bytes = file.read(std::min(pull.length, std::max<std::int64_t>(chunk.total - pull.offset, 0)));
        if (file.error() == QFileDevice::NoError && pull.offset <= chunk.total) {
            answer = write(Wire::MessageKind::AssetChunk, chunk);
            return Wire::MessageKind::AssetChunk;
        }
    }
    answer = refusal(
        pull.publicHash,
        QStringLiteral("Can't read asset %1: %2").arg(shortName(pull.publicHash), file.errorString()));
    return Wire::MessageKind::AssetRefused;
}

Cobalt::BinaryData refusal(QByteArray const& publicHash, QString const& text) {
    Message message;
    message.publicHash = publicHash;
    message.text = text;
    return write(Wire::MessageKind::AssetRefused, message);
}

QString shortName(QByteArray const& publicHash) {
    return QString::fromLatin1(shortHexHash(publicHash));
}

} // namespace AssetTransfer

AssetReceiver::AssetReceiver(std::shared_ptr<AssetStorage> storage, QByteArray publicHash, QString name,
                             std::int64_t size, Send send)
    : m_storage(std::move(storage)), m_publicHash(std::move(publicHash)), m_name(std::move(name)),
      m_size(size), m_send(std::move(send)),
      m_hash(std::make_unique<QCryptographicHash>(QCryptographicHash::Sha256)) {}

AssetReceiver::~AssetReceiver() {
    if (m_file) {
        m_file->remove();
    }
}

AssetReceiver::Outcome AssetReceiver::start() {
    try {
        m_file = m_storage->createTemporaryFile();
    } catch (std::exception const& error) {
        return fail(QString::fromUtf8(error.what()));
    }
    if (m_size < 0) {
        pull(0, AssetTransfer::chunkSize);
        m_requested = AssetTransfer::chunkSize;
    } else {
        pullMore();
    }
    return m_size == 0 ? finish() : Outcome::Waiting;
}

void AssetReceiver::pullMore() {
    std::int64_t const limit =
        std::min(m_size, m_received + AssetTransfer::window * AssetTransfer::chunkSize);
    while (m_requested < limit) {
        std::int64_t const length = std::min(AssetTransfer::chunkSize, m_size - m_requested);
        pull(m_requested, length);
        m_requested += length;
    }
}

void AssetReceiver::pull(std::int64_t offset, std::int64_t length) {
    AssetTransfer::Message piece;
    piece.publicHash = m_publicHash;
    piece.offset = offset;
    piece.length = length;
    m_send(Wire::MessageKind::AssetPull, AssetTransfer::write(Wire::MessageKind::AssetPull, piece));
}

AssetReceiver::Outcome AssetReceiver::take(AssetTransfer::Message const& chunk) {
    if (!m_file || !m_error.isEmpty()) {
        return Outcome::Failed;
    }
    if (m_size < 0) {
        m_size = chunk.total;
    }
    QString const name = AssetTransfer::shortName(m_publicHash);
    if (chunk.total != m_size || chunk.offset != m_received ||
        (chunk.bytes.isEmpty() && m_received < m_size)) {
        return fail(QStringLiteral("Asset %1 arrived out of order").arg(name));
    }
    if (m_file->write(chunk.bytes) != chunk.bytes.size()) {
        return fail(QStringLiteral("Can't write asset %1: %2").arg(name, m_file->errorString()));
    }
    m_hash->addData(chunk.bytes);
    m_received += chunk.bytes.size();
    if (m_received < m_size) {
        pullMore();
        return Outcome::Waiting;
    }
    return finish();
}

AssetReceiver::Outcome AssetReceiver::finish() {
    QString const path = m_file->fileName();
    bool const written = m_file->flush();
    m_file->close();
    if (!written) {
        return fail(QStringLiteral("Can't write asset %1").arg(AssetTransfer::shortName(m_publicHash)));
    }
    if (m_hash->result() != m_publicHash) {
        return fail(QStringLiteral("Asset %1 arrived with other content than its hash names")
                        .arg(AssetTransfer::shortName(m_publicHash)));
    }
    m_file.reset();
    try {
        m_storage->adopt(path, m_publicHash, m_name);
    } catch (std::exception const& error) {
        m_error = QString::fromUtf8(error.what());
        return Outcome::Failed;
    }
    return Outcome::Complete;
}

AssetReceiver::Outcome AssetReceiver::fail(QString error) {
    m_error = std::move(error);
    if (m_file) {
        m_file->remove();
        m_file.reset();
    }
    return Outcome::Failed;
}

} // namespace Tessel
