#include "platform/tessel/ClientToServerConnection.hpp"

#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/AssetStorage.hpp"
#include "platform/tessel/ClientAssets.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/Documents.hpp"
#include "platform/tessel/MessageLink.hpp"
#include "platform/tessel/Uuid.hpp"

#include <stdexcept>

namespace Tessel {

struct ClientToServerConnection::PendingOpen {
    folly::Promise<std::shared_ptr<DocumentConnection>> promise;
    std::shared_ptr<ElementFactory> factory;
    QByteArray sessionKey;
    std::vector<std::int64_t> recovered;
};

namespace {

std::runtime_error connectionLost() {
    return std::runtime_error("Connection lost");
}

} // namespace

ClientToServerConnection::ClientToServerConnection(Announcement announcement, folly::Executor* idleExecutor)
    : m_announcement(std::move(announcement)), m_idleExecutor(idleExecutor),
      m_documentList(std::make_unique<Documents>()), m_manager(std::make_shared<ConnectionManager>()),
      m_assets(makeAssets()) {}

std::unique_ptr<ClientAssets> ClientToServerConnection::makeAssets() {
    return std::make_unique<ClientAssets>(
        m_manager->assetStorage(),
        [this](Wire::MessageKind kind, Cobalt::BinaryData const& payload) { send(kind, payload); });
}

ClientToServerConnection::~ClientToServerConnection() {
    if (m_link) {
        m_link->setHandlers(nullptr, nullptr);
        m_link->close();
    }
}

Cobalt::TimeStamp ClientToServerConnection::currentServerTime() const {
    return Cobalt::TimeStamp(Cobalt::TimeStamp::currentTime().ticks() + m_announcement.serverTimeOffset);
}

folly::Future<std::shared_ptr<ClientToServerConnection>> ClientToServerConnection::connect(
    std::shared_ptr<MessageLink> link, Identity identity, folly::Executor::KeepAlive<> executor,
    std::shared_ptr<Kelp::TypeRegistry const> registry, std::shared_ptr<ConnectionManager> manager) {
    auto connection = std::make_shared<ClientToServerConnection>(Announcement(), executor.get());
    if (manager) {
        connection->m_manager = std::move(manager);
        connection->m_assets = connection->makeAssets();
    }
    connection->m_link = std::move(link);
    connection->m_registry = std::move(registry);
    connection->m_executor = std::move(executor);
    connection->m_welcome = std::make_unique<folly::Promise<std::shared_ptr<ClientToServerConnection>>>();
    // Until the server answers, only the link keeps the connection.
    connection->m_self = connection;
    std::weak_ptr<ClientToServerConnection> const weak = connection;
    connection->m_link->setHandlers(
        [weak](QByteArray const& frame) {
            if (std::shared_ptr<ClientToServerConnection> const self = weak.lock()) {
                self->receive(frame);
            }
        },
        [weak] {
            if (std::shared_ptr<ClientToServerConnection> const self = weak.lock()) {
                self->linkClosed();
            }
        });
    folly::Future<std::shared_ptr<ClientToServerConnection>> welcome = connection->m_welcome->getFuture();
    Cobalt::BinaryData hello;
    hello.writeString(identity.installationName.toUtf8());
    hello.writeString(identity.userName.toUtf8());
    hello.writeInt32(static_cast<std::int32_t>(identity.userId));
    if (!identity.password.isEmpty() || !identity.token.isEmpty()) {
        hello.writeString(identity.password.toUtf8());
    }
    if (!identity.token.isEmpty()) {
        hello.writeString(identity.token);
    }
    connection->send(Wire::MessageKind::Hello, hello);
    return welcome;
}

bool ClientToServerConnection::isConnected() const {
    return m_link && m_link->isOpen() && !m_welcome;
}

void ClientToServerConnection::send(Wire::MessageKind kind, Cobalt::BinaryData const& payload) const {
    if (m_link) {
        m_link->send(Wire::encodeFrame(kind, payload));
    }
}

folly::Future<std::shared_ptr<DocumentConnection>>
ClientToServerConnection::openDocument(QByteArray const& id, QByteArray const& type,
                                       std::shared_ptr<ElementFactory> factory, OpenOptions const& options) {
    if (!isConnected()) {
        return folly::makeFuture<std::shared_ptr<DocumentConnection>>(connectionLost());
    }
    if (m_pendingOpens.count(id)) {
        return folly::makeFuture<std::shared_ptr<DocumentConnection>>(
            std::runtime_error("The document is being opened already"));
    }
    PendingOpen& pending = m_pendingOpens[id];
    pending.factory = std::move(factory);
    pending.sessionKey = generateUuid();
    folly::Future<std::shared_ptr<DocumentConnection>> opened = pending.promise.getFuture();
    Cobalt::BinaryData request;
    request.writeString(id);
    request.writeString(type);
    request.writeString(pending.sessionKey);
    request.writeString(options.resume.sessionKey);
    Wire::writeTransactionIds(request, options.resume.unanswered);
    request.writeString(options.accessPassword.toUtf8());
    send(Wire::MessageKind::OpenDocument, request);
    return opened;
}

void ClientToServerConnection::disconnect() {
    if (m_link) {
        m_link->close();
    }
    linkClosed();
}

void ClientToServerConnection::linkClosed() {
    std::shared_ptr<ClientToServerConnection> const keep = std::move(m_self);
    if (m_welcome) {
        auto welcome = std::move(m_welcome);
        welcome->setException(connectionLost());
    }
    m_assets->connectionLost();
    std::map<QByteArray, PendingOpen> pending;
    pending.swap(m_pendingOpens);
    for (auto& entry : pending) {
        entry.second.promise.setException(connectionLost());
    }
    for (auto const& entry : m_documents) {
        if (std::shared_ptr<DocumentConnection> const document = entry.second.lock()) {
            document->connectionLost();
        }
    }
}

void ClientToServerConnection::receive(QByteArray const& bytes) {
    Wire::Frame frame;
    QString error;
    if (!Wire::decodeFrame(bytes, frame, error) || !handle(frame, error)) {
        Cobalt::Trace::error("ClientToServerConnection::receive # Refused a message from the server: %s",
                             qPrintable(error));
    }
}

bool ClientToServerConnection::handle(Wire::Frame& frame, QString& error) {
    Cobalt::BinaryData& payload = frame.payload;
    if (frame.kind == Wire::MessageKind::Welcome) {
        error = QStringLiteral("malformed welcome");
        return handleWelcome(payload);
    }
    if (frame.kind == Wire::MessageKind::SignInRefused) {
        QByteArray reason;
        if (!Wire::PayloadReader(payload).text(reason).complete() || !m_welcome) {
            error = QStringLiteral("unexpected refusal of the greeting");
            return false;
        }
        auto const welcome = std::move(m_welcome);
        welcome->setException(std::runtime_error(reason.toStdString()));
        disconnect();
        return true;
    }
    if (frame.kind == Wire::MessageKind::DocumentOpened) {
        error = QStringLiteral("malformed document");
        return handleOpened(payload);
    }
    if (AssetTransfer::isAssetMessage(frame.kind)) {
        return m_assets->handle(frame.kind, payload, error);
    }
    QByteArray id;
    Wire::PayloadReader reader(payload);
    reader.text(id);
    std::shared_ptr<DocumentConnection> const document =
        m_documents.count(id) ? m_documents[id].lock() : std::shared_ptr<DocumentConnection>();
    switch (frame.kind) {
    case Wire::MessageKind::OpenRefused: {
        QByteArray reason;
        auto const pending = m_pendingOpens.find(id);
        if (!reader.text(reason).complete() || pending == m_pendingOpens.end()) {
            error = QStringLiteral("unexpected refusal to open");
            return false;
        }
        PendingOpen refused = std::move(pending->second);
        m_pendingOpens.erase(pending);
        refused.promise.setException(std::runtime_error(reason.toStdString()));
        return true;
    }
    case Wire::MessageKind::TransactionsRecovered: {
        auto const pending = m_pendingOpens.find(id);
        std::vector<std::int64_t> applied;
        if (!Wire::readTransactionIds(reader, applied) || !reader.complete() ||
            pending == m_pendingOpens.end()) {
            error = QStringLiteral("unexpected recovery of transactions");
            return false;
        }
        pending->second.recovered = std::move(applied);
        return true;
    }
    case Wire::MessageKind::DocumentListed: {
        std::vector<Wire::AttributeValue> values;
        if (!Wire::readAttributeValues(reader, values) || !reader.complete() || !m_registry) {
            error = QStringLiteral("malformed listing of a document");
            return false;
        }
        m_documentList->list(id, values, *m_registry);
        return true;
    }
    case Wire::MessageKind::DocumentUnlisted:
        if (!reader.complete()) {
            error = QStringLiteral("malformed removal of a document");
            return false;
        }
        m_documentList->unlist(id);
        return true;
    case Wire::MessageKind::CloseDocument: {
        QByteArray reason;
        if (!reader.text(reason).complete()) {
            error = QStringLiteral("malformed close");
            return false;
        }
        // The server took the document away: it stops sharing, as if the link went.
        Cobalt::Trace::warning("ClientToServerConnection::receive # The server closed '%s': %s",
                               id.constData(), reason.constData());
        if (document) {
            document->connectionLost(QString::fromUtf8(reason));
        }
        m_documents.erase(id);
        return true;
    }
    case Wire::MessageKind::Changes: {
        std::vector<Wire::Operation> operations;
        if (!reader.ok() || !Wire::readOperations(payload, operations) || !payload.atEnd()) {
            error = QStringLiteral("malformed changes");
            return false;
        }
        if (document) {
            document->applyChanges(operations);
        }
        return true;
    }
    case Wire::MessageKind::TransactionApplied:
    case Wire::MessageKind::TransactionRefused: {
        std::int64_t transaction = 0;
        QByteArray reason;
        std::vector<Wire::Operation> rebase;
        bool const refused = frame.kind == Wire::MessageKind::TransactionRefused;
        bool const wellFormed = reader.int64(transaction).ok() && (!refused || reader.text(reason).ok()) &&
                                Wire::readOperations(payload, rebase) && payload.atEnd();
        if (!wellFormed) {
            error = QStringLiteral("malformed answer to a transaction");
            return false;
        }
        if (document) {
            document->transactionAnswered(transaction, QString::fromUtf8(reason), rebase);
        }
        return true;
    }
    default:
        error = QStringLiteral("message kind %1 is not for a client").arg(static_cast<int>(frame.kind));
        return false;
    }
}

bool ClientToServerConnection::handleWelcome(Cobalt::BinaryData& payload) {
    QByteArray version;
    std::int32_t userId = 0;
    std::int32_t connectionId = 0;
    std::int64_t serverTime = 0;
    QByteArray token;
    Wire::PayloadReader reader(payload);
    reader.text(version).int32(userId).int32(connectionId).int64(serverTime);
    if (reader.ok() && !payload.atEnd()) {
        reader.text(token);
    }
    if (!m_welcome || !reader.complete()) {
        return false;
    }
    m_announcement.signInToken = token;
    m_announcement.serverVersion = Cobalt::VersionString(QString::fromUtf8(version));
    m_announcement.userId = static_cast<unsigned>(userId);
    m_announcement.connectionId = static_cast<unsigned>(connectionId);
    m_announcement.serverTimeOffset = serverTime - Cobalt::TimeStamp::currentTime().ticks();
    auto welcome = std::move(m_welcome);
    std::shared_ptr<ClientToServerConnection> const self = std::move(m_self);
    welcome->setValue(self);
    return true;
}

bool ClientToServerConnection::handleOpened(Cobalt::BinaryData& payload) {
    QByteArray id;
    if (!Wire::PayloadReader(payload).text(id).ok()) {
        return false;
    }
    auto const pending = m_pendingOpens.find(id);
    if (pending == m_pendingOpens.end()) {
        return false;
    }
    PendingOpen opening = std::move(pending->second);
    m_pendingOpens.erase(pending);
    std::shared_ptr<DocumentConnection> const document =
        DocumentConnection::open(id, opening.factory, shared_from_this(), m_executor.get(), payload,
                                 opening.sessionKey, std::move(opening.recovered));
    if (!document) {
        opening.promise.setException(std::runtime_error("The server sent a malformed document"));
        return false;
    }
    m_documents[id] = document;
    opening.promise.setValue(document);
    return true;
}

} // namespace Tessel
