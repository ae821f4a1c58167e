#pragma once

#include "platform/cobalt/VersionString.hpp"
#include "platform/tessel/PasswordHash.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerOperators.hpp"

#include "folly/Executor.h"

#include <QByteArray>
#include <QJsonArray>
#include <QString>
#include <QTemporaryDir>
#include <QTimer>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>

namespace Kelp {
class TypeRegistry;
}

namespace Tessel {

class DocumentInfo;
class DocumentStore;
class UserAccounts;

/// The key of a stored document under which the server keeps the document's information.
constexpr char documentInfoKey[] = "documentInfo";
/// The key of a stored document under which the server keeps the number of the last journaled change that
/// the stored form holds.
constexpr char journalSequenceKey[] = "journalSequence";
/// The key of a stored document under which the server keeps the hash of its access password.
constexpr char accessPasswordKey[] = "accessPassword";
class AccessPolicy;
class AssetStorage;
class SignInTokens;
class WorkerThread;
class MessageLink;
class ServerAssets;
class ServerToClientConnection;

/// A document server: the document types it knows, its live documents, and the clients linked to it.
///
/// Everything runs on the server's executor: frames from clients, document changes, operators and the work
/// they post with `executor()`. The server is held by a shared pointer (`create`); documents keep a weak one.
class TesselServer : public std::enable_shared_from_this<TesselServer> {
public:
    struct Options {
        /// The version the server announces; clients gate attributes on it.
        Cobalt::VersionString version{QStringLiteral("26.07.5")};
        /// Where the server runs; must outlive it.
        folly::Executor::KeepAlive<> executor;
        /// Encoders of every attribute type that documents hold.
        std::shared_ptr<Kelp::TypeRegistry const> typeRegistry;
        /// Where document operators come from; the process's registry when null.
        ServerDocumentTypeOperators const* operators = nullptr;
        /// Where documents are kept between runs; when null, JSON files under `storageDirectory`.
        std::shared_ptr<DocumentStore> store;
        /// Where documents are stored as JSON files (`Settings::jsonStorageRootDir`) when no `store` is
        /// given; an empty directory stores nothing.
        QString storageDirectory;
        /// How long after a client's change a document is stored, so that a burst of changes is stored
        /// once. The timer is a `QTimer` on the server's thread, which must run a Qt event loop for it;
        /// documents are stored anyway when their last client leaves and when the server goes.
        std::chrono::milliseconds storeDelay{2000};
        /// The users who sign in, when not null and not empty: a greeting must then name one of them with
        /// its password, and the connection acts for that user whatever identifier it asked for. A refused
        /// greeting is answered, after `signInDelay`, with one generic reason ("Sign-in failed"), and its
        /// link is closed when its client hasn't closed it `signInDelay` later. Passwords are checked on a
        /// thread of their own.
        std::shared_ptr<UserAccounts const> accounts;
        std::chrono::milliseconds signInDelay{1000};
        /// How long a token given at a sign-in with a password signs its user in again.
        std::chrono::seconds tokenLifetime{12 * 3600};
        /// What signed-in clients may open and change; when null, everything. A refused open is answered
        /// with OpenRefused, a refused change with TransactionRefused (which the client takes back), and a
        /// client that may no longer keep a document open is closed out of it (`reviewAccess`).
        std::shared_ptr<AccessPolicy const> accessPolicy;
        /// Where the contents of assets are stored (`Settings::assetDir`), each file named by its hash; when
        /// empty, a temporary directory that goes with the server.
        QString assetDirectory;
    };

    static std::shared_ptr<TesselServer> create(Options options);
    ~TesselServer();
    TesselServer(TesselServer const&) = delete;
    TesselServer& operator=(TesselServer const&) = delete;

    Cobalt::VersionString const& version() const { return m_options.version; }
    Kelp::TypeRegistry const& typeRegistry() const { return *m_options.typeRegistry; }
    std::shared_ptr<Kelp::TypeRegistry const> const& sharedTypeRegistry() const {
        return m_options.typeRegistry;
    }
    /// Runs work on the server's thread after the current change.
    folly::Executor::KeepAlive<> executor() const { return m_options.executor; }

    /// Teaches the server a document type. `rootTypeKey` is the type key of the root of a new document;
    /// `connectionTypeKey` that of the node each client gets in the transient tree (empty: none). The node
    /// types are derived from the factory at this server's version.
    void registerDocumentType(QByteArray const& name, std::shared_ptr<ElementFactory> factory,
                              QByteArray const& rootTypeKey,
                              QByteArray const& connectionTypeKey = QByteArray());
    /// The registered type; null if unknown.
    std::shared_ptr<ServerDocumentType const> documentType(QByteArray const& name) const;

    /// Whether a client must sign in and is asked the access policy, or is the server's own.
    enum class Trust { Checked, Trusted };
    /// Takes the server's end of a client's link. Thread safe: the link is taken on the server's executor.
    void accept(std::shared_ptr<MessageLink> link, Trust trust = Trust::Checked);
    /// A link to this server in the same process; frames for the client run on `clientExecutor`. Returns the
    /// client's end.
    std::shared_ptr<MessageLink> connectInProcess(folly::Executor::KeepAlive<> clientExecutor,
                                                  Trust trust = Trust::Checked);
    /// Asks the access policy again whether each client may keep each document open, and closes out of it
    /// every client that may not: the client hears CloseDocument with the reason, the others go on.
    void reviewAccess();

    /// An open document; null if it isn't open.
    std::shared_ptr<ServerDocument> document(QByteArray const& id) const;
    /// Fills a document that opens, before its operators see it: loading a stored tree adds its nodes and
    /// attributes to the roots without telling anybody (`notify` false).
    using DocumentLoader = std::function<void(ServerDocument&)>;

    /// The document `id`, opened with its operators if it isn't yet: as `load` fills it, else as it is
    /// stored (brought forward through the JSON chain of its type), else new and empty. `load` runs only
    /// when the document opens here. Null, with the reason in `error`, when the type is unknown, the
    /// document is open with another type, or its stored file can't be read (it is then left as it is).
    std::shared_ptr<ServerDocument> openDocument(QByteArray const& id, QByteArray const& type, QString& error,
                                                 DocumentLoader const& load = DocumentLoader());
    /// Number of linked clients.
    std::size_t connectionCount() const { return m_connections.size(); }

    /// What the server tells its clients of a document it holds (name, state, passwords, size, times);
    /// null for a document it doesn't hold. Writing a value tells every client. The server keeps "size"
    /// (the nodes of the persistent tree) and "modified" true as clients change the document.
    std::shared_ptr<DocumentInfo> documentInfo(QByteArray const& id) const;
    /// Gives a listed document an access password, or takes it away with an empty one: a client then opens
    /// the document only with the password (a trusted one needs none). The server keeps only its hash, with
    /// the stored document, and every client hears "has-access-password". False when the server doesn't
    /// list the document.
    bool setAccessPassword(QByteArray const& id, QString const& password);

    /// Takes a document off the server, its stored file included: the clients that have it open lose it,
    /// as if their link went, and every client hears that it is gone. False when the server doesn't hold
    /// it open.
    bool removeDocument(QByteArray const& id);
    /// Writes an open document's persistent tree to the store, whole or not at all. False, with the reason
    /// in `error`, when it isn't open, the server stores nothing, or the write fails. A server with a store
    /// also stores a new document when it opens, a document `storeDelay` after a client changed it, when
    /// its last client leaves, and every open document when it is destroyed. Between those writes, every
    /// change a client made is journaled (`DocumentStore::journal`) before the client hears it applied,
    /// so that a server that dies without storing serves it again when it opens the document.
    bool storeDocument(QByteArray const& id, QString& error) const;
    /// Where the store keeps a document (its file, for the JSON files of the embedded default); empty when
    /// nothing is stored.
    QString storedPath(QByteArray const& id) const;
    /// The server's store; null when it stores nothing.
    DocumentStore* store() const { return m_options.store.get(); }
    /// The server's store of asset contents: what clients published, complete and checked against its hash.
    AssetStorage& assetStorage() const;

private:
    explicit TesselServer(Options options);
    void receive(ServerToClientConnection& connection, QByteArray const& frame);
    bool handle(ServerToClientConnection& connection, Wire::Frame& frame, QString& error);
    bool handleTransaction(ServerToClientConnection& connection, Cobalt::BinaryData& payload, QString& error);
    bool handleOpen(ServerToClientConnection& connection, Cobalt::BinaryData& payload, QString& error);
    void disconnect(unsigned connectionId);
    /// Takes a client out of a document it has open, and stores the document when it was the last.
    void leave(ServerDocument& document, ServerToClientConnection& connection);
    /// Stores a document when the server stores documents, logging a failure.
    void storeQuietly(QByteArray const& id) const;
    /// Stores a changed document once `storeDelay` has passed, with the others changed meanwhile.
    void scheduleStore(QByteArray const& id);
    /// Journals a client's change that was applied, with the session and transaction it came in, before the
    /// client hears so.
    void journal(QByteArray const& id, QByteArray const& sessionKey, std::int64_t transactionId,
                 std::vector<Wire::Operation> const& operations);
    /// Applies again the changes journaled after the stored form of a document that opened.
    void replayJournal(ServerDocument& document, QJsonObject const& stored);
    /// Lists a document that opened, and tells every client.
    void listDocument(ServerDocument const& document);
    /// Notes a client's change of a document's persistent tree: its size at once, its modified time at
    /// most once a second.
    void documentChanged(ServerDocument const& document);
    /// Sends the values of a listed document to every client after the current change, once however many
    /// of them changed.
    void scheduleListing(QByteArray const& id);
    /// Sends the values of a listed document to one client, or to every greeted client when null.
    void sendListing(DocumentInfo const& info, ServerToClientConnection const* only = nullptr) const;
    /// The stored form of a document's information, under `documentInfoKey` of its stored document, so that
    /// its name, state and times outlive the server.
    QJsonArray storedInfo(DocumentInfo const& info) const;
    /// Takes the stored information of a document that opened from storage.
    void restoreInfo(QJsonArray const& stored, DocumentInfo& info) const;
    /// Sends a message to every client that greeted the server.
    void broadcast(Wire::MessageKind kind, Cobalt::BinaryData const& payload) const;
    void refuse(ServerToClientConnection const& connection, QString const& error) const;
    /// What a client says when it greets the server.
    struct Greeting {
        QByteArray installation;
        QByteArray user;
        QByteArray password;
        /// A token given at an earlier sign-in, in place of the password.
        QByteArray token;
        std::int32_t userId = 0;
    };
    /// Whether `connection` must sign in: the server has users, and doesn't trust it.
    bool signsIn(ServerToClientConnection const& connection) const;
    /// Checks a greeting's password on the sign-in thread, then answers it on the server's.
    void verifyAside(unsigned connectionId, Greeting greeting);
    /// Welcomes a greeting, as the user `signedIn` when the connection signs in (refused when 0), else as the
    /// user it asked for. A sign-in with a password gets a token.
    void answerGreeting(ServerToClientConnection& connection, Greeting const& greeting, unsigned signedIn);
    /// Answers a refused greeting after the delay, and closes its link if its client doesn't.
    void refuseSignIn(ServerToClientConnection& connection);
    /// Whether `password` opens the document `id`: it has no access password, or this one.
    bool opensWith(QByteArray const& id, QString const& password) const;
    /// Whether the access policy lets `connection` open `document`; the reason in `error` when not.
    bool mayOpen(ServerToClientConnection const& connection, ServerDocument const& document,
                 QString& error) const;

    Options m_options;
    /// Holds the asset contents when no directory was given.
    std::unique_ptr<QTemporaryDir> m_temporaryAssetDirectory;
    std::unique_ptr<ServerAssets> m_assets;
    std::unique_ptr<SignInTokens> m_tokens;
    /// Where passwords are checked, made with the first one.
    std::unique_ptr<WorkerThread> m_signIns;
    std::map<QByteArray, std::shared_ptr<ServerDocumentType const>> m_types;
    std::map<QByteArray, std::shared_ptr<ServerDocument>> m_documents;
    std::map<QByteArray, std::shared_ptr<DocumentInfo>> m_listing;
    std::map<QByteArray, PasswordHash> m_accessPasswords;
    std::set<QByteArray> m_listingScheduled;
    /// Documents changed since they were last stored, and the timer that stores them.
    std::set<QByteArray> m_storeScheduled;
    std::unique_ptr<QTimer> m_storeTimer;
    /// Per open document, the number of the last change journaled.
    std::map<QByteArray, std::uint64_t> m_journalSequences;
    std::map<unsigned, std::unique_ptr<ServerToClientConnection>> m_connections;
    unsigned m_nextConnectionId = 1;
};

} // namespace Tessel
