#pragma once

#include "platform/cobalt/BinaryData.hpp"
#include "platform/tessel/WireFormat.hpp"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>

class QCryptographicHash;
class QTemporaryFile;

namespace Tessel {

class AssetStorage;

/// How contents travel between sites: the receiver asks the holder for pieces (`AssetPull`), a few at a time,
/// and the holder answers each with the bytes (`AssetChunk`). The same pieces serve a client that fetches
/// from the server and the server that takes what a client offered.
namespace AssetTransfer {

/// The size of a piece, and how many pieces a receiver asks for before the first has come.
constexpr std::int64_t chunkSize = 1 << 20;
constexpr int window = 4;

/// One asset message, read or to write. Which fields count depends on the kind (see `Wire`).
struct Message {
    QByteArray publicHash;
    std::int64_t offset = 0;
    /// AssetPull: the length asked for; AssetOffer: the size of the content.
    std::int64_t length = 0;
    /// AssetChunk: the size of the whole content.
    std::int64_t total = 0;
    QByteArray bytes;
    /// AssetOffer: the file name; AssetRefused: the error text.
    QString text;
};

Cobalt::BinaryData write(Wire::MessageKind kind, Message const& message);
/// Reads a message of `kind`; false when it isn't whole and well formed (a hash of 32 bytes, offsets and
/// sizes that fit, a piece no longer than `chunkSize`).
bool read(Wire::MessageKind kind, Cobalt::BinaryData& payload, Message& message);

/// The payload of an `AssetRefused` about `publicHash`.
Cobalt::BinaryData refusal(QByteArray const& publicHash, QString const& text);

/// Whether `kind` is an asset message.
bool isAssetMessage(Wire::MessageKind kind);

/// The answer of the holder of the content at `path` to `pull`: an `AssetChunk`, or an `AssetRefused` when
/// the file can't be read there.
Wire::MessageKind answerPull(QString const& path, Message const& pull, Cobalt::BinaryData& answer);

/// The short form of a hash that messages show.
QString shortName(QByteArray const& publicHash);

} // namespace AssetTransfer

/// Receives one content: asks its holder for its pieces through `send` (`AssetPull` messages), writes them in
/// order to a temporary file of the storage while hashing them, and hands the file to the storage when it is
/// whole and its hash is the one asked for. A content whose bytes don't match the hash is refused and nothing
/// is stored. Used on the storage's owner thread.
class AssetReceiver {
public:
    /// Carries a message to the holder of the content.
    using Send = std::function<void(Wire::MessageKind kind, Cobalt::BinaryData const& payload)>;
    enum class Outcome { Waiting, Complete, Failed };

    /// `size` is the content's size when known, -1 when the first piece will tell it.
    AssetReceiver(std::shared_ptr<AssetStorage> storage, QByteArray publicHash, QString name,
                  std::int64_t size, Send send);
    ~AssetReceiver();
    AssetReceiver(AssetReceiver const&) = delete;
    AssetReceiver& operator=(AssetReceiver const&) = delete;

    /// Asks for the first pieces; `Failed` when no temporary file can be made.
    Outcome start();
    /// Takes the next piece.
    Outcome take(AssetTransfer::Message const& chunk);
    /// Gives up with `error`; the temporary file goes.
    Outcome fail(QString error);

    std::int64_t received() const { return m_received; }
    /// The content's size; -1 until known.
    std::int64_t size() const { return m_size; }
    QByteArray const& publicHash() const { return m_publicHash; }
    QString const& name() const { return m_name; }
    /// Why it failed.
    QString const& error() const { return m_error; }

private:
    /// Asks for pieces until `window` are on their way or the content is asked for whole.
    void pullMore();
    /// Asks for the piece of `length` bytes at `offset`.
    void pull(std::int64_t offset, std::int64_t length);
    Outcome finish();

    std::shared_ptr<AssetStorage> m_storage;
    QByteArray m_publicHash;
    QString m_name;
    std::int64_t m_size;
    Send m_send;
    std::unique_ptr<QTemporaryFile> m_file;
    std::unique_ptr<QCryptographicHash> m_hash;
    std::int64_t m_received = 0;
    std::int64_t m_requested = 0;
    QString m_error;
};

} // namespace Tessel
