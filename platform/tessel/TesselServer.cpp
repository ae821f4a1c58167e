#include "platform/tessel/TesselServer.hpp"

#include "platform/cobalt/TimeStamp.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/AccessPolicy.hpp"
#include "platform/tessel/AssetStorage.hpp"
#include "platform/tessel/AssetTransfer.hpp"
#include "platform/tessel/DocumentInfo.hpp"
#include "platform/tessel/DocumentStore.hpp"
#include "platform/tessel/ElementFactory.hpp"
#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/MessageLink.hpp"
#include "platform/tessel/ServerAssets.hpp"
#include "platform/tessel/ServerToClientConnection.hpp"
#include "platform/tessel/SignInTokens.hpp"
#include "platform/tessel/StoredDocument.hpp"
#include "platform/tessel/UserAccounts.hpp"
#include "platform/tessel/WorkerThread.hpp"

#include <QAbstractEventDispatcher>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QUrl>

namespace Tessel {

namespace {

/// Runs `work` once `delay` has passed, on this thread's event loop; at once when it has none.
void after(std::chrono::milliseconds delay, std::function<void()> work) {
    if (QAbstractEventDispatcher::instance()) {
        QTimer::singleShot(delay, std::move(work));
    } else {
        work();
    }
}

/// What the server sends a client it takes out of a document: the document and why.
Cobalt::BinaryData closing(QByteArray const& id, QString const& reason) {
    Cobalt::BinaryData payload;
    payload.writeString(id);
    payload.writeString(reason.toUtf8());
    return payload;
}

StoredListing listingOf(DocumentInfo const& info) {
    StoredListing listing;
    listing.name = info.documentName();
    listing.state = static_cast<int>(info.documentState());
    listing.hasMainPassword = info.hasMainPassword();
    listing.hasAccessPassword = info.hasAccessPassword();
    listing.size = info.size();
    listing.created = info.createdTimestamp();
    listing.modified = info.modifiedTimestamp();
    return listing;
}

} // namespace

std::shared_ptr<TesselServer> TesselServer::create(Options options) {
    return std::shared_ptr<TesselServer>(new TesselServer(std::move(options)));
}

TesselServer::TesselServer(Options options) : m_options(std::move(options)) {
    if (!m_options.operators) {
        m_options.operators = &ServerDocumentTypeOperators::instance();
    }
    if (!m_options.store && !m_options.storageDirectory.isEmpty()) {
        m_options.store = std::make_shared<JsonDocumentStore>(m_options.storageDirectory);
    }
    if (m_options.assetDirectory.isEmpty()) {
        m_temporaryAssetDirectory = std::make_unique<QTemporaryDir>();
        m_options.assetDirectory = m_temporaryAssetDirectory->path();
    }
    m_assets =
        std::make_unique<ServerAssets>(AssetStorage::create(m_options.assetDirectory, m_options.executor));
    m_tokens = std::make_unique<SignInTokens>(m_options.tokenLifetime);
}

AssetStorage& TesselServer::assetStorage() const {
    return m_assets->storage();
}

TesselServer::~TesselServer() {
    for (auto const& connection : m_connections) {
        connection.second->close();
    }
    for (auto const& open : m_documents) {
        storeQuietly(open.first);
    }
}

void TesselServer::storeQuietly(QByteArray const& id) const {
    QString error;
    if (m_options.store && !storeDocument(id, error)) {
        Cobalt::Trace::error("TesselServer::storeDocument # %s", qPrintable(error));
    }
}

void TesselServer::leave(ServerDocument& document, ServerToClientConnection& connection) {
    if (!document.connectionOf(connection)) {
        return;
    }
    document.removeConnection(connection);
    // The last client gone, nothing is left to lose but the document itself.
    if (document.connections().empty()) {
        storeQuietly(document.id());
    }
}

void TesselServer::registerDocumentType(QByteArray const& name, std::shared_ptr<ElementFactory> factory,
                                        QByteArray const& rootTypeKey, QByteArray const& connectionTypeKey) {
    auto type = std::make_shared<ServerDocumentType>();
    type->name = name;
    type->rootTypeKey = rootTypeKey;
    type->connectionTypeKey = connectionTypeKey;
    if (std::unique_ptr<Element> const transientRoot{factory->createTransientRoot()}) {
        type->transientRootTypeKey = factory->keyOf(*transientRoot);
    }
    type->nodeTypes = ServerDocumentNodeTypes::fromFactory(*factory, typeRegistry(), version());
    type->factory = std::move(factory);
    m_types[name] = std::move(type);
}

std::shared_ptr<ServerDocumentType const> TesselServer::documentType(QByteArray const& name) const {
    auto const found = m_types.find(name);
    return found == m_types.end() ? nullptr : found->second;
}

void TesselServer::accept(std::shared_ptr<MessageLink> link, Trust trust) {
    std::weak_ptr<TesselServer> const weak = weak_from_this();
    m_options.executor->add([weak, link, trust] {
        std::shared_ptr<TesselServer> const server = weak.lock();
        if (!server) {
            link->close();
            return;
        }
        unsigned const id = server->m_nextConnectionId++;
        auto connection = std::make_unique<ServerToClientConnection>(link, id);
        connection->setTrusted(trust == Trust::Trusted);
        ServerToClientConnection* const raw = connection.get();
        server->m_connections.emplace(id, std::move(connection));
        link->setHandlers(
            [weak, raw, id](QByteArray const& frame) {
                if (std::shared_ptr<TesselServer> const server = weak.lock();
                    server && server->m_connections.count(id)) {
                    server->receive(*raw, frame);
                }
            },
            [weak, id] {
                if (std::shared_ptr<TesselServer> const server = weak.lock()) {
                    server->disconnect(id);
                }
            });
    });
}

std::shared_ptr<MessageLink> TesselServer::connectInProcess(folly::Executor::KeepAlive<> clientExecutor,
                                                            Trust trust) {
    InProcessTransport::Ends ends =
        InProcessTransport::createPair(std::move(clientExecutor), m_options.executor);
    accept(ends.second, trust);
    return ends.first;
}

std::shared_ptr<ServerDocument> TesselServer::document(QByteArray const& id) const {
    auto const found = m_documents.find(id);
    return found == m_documents.end() ? nullptr : found->second;
}

std::shared_ptr<ServerDocument> TesselServer::openDocument(QByteArray const& id, QByteArray const& type,
                                                           QString& error, DocumentLoader const& load) {
    if (std::shared_ptr<ServerDocument> const open = document(id)) {
        if (open->documentType() != type) {
            error = QStringLiteral("document '%1' is of type '%2'")
                        .arg(QString::fromUtf8(id), QString::fromUtf8(open->documentType()));
            return nullptr;
        }
        return open;
    }
    std::shared_ptr<ServerDocumentType const> const documentType = this->documentType(type);
    if (!documentType) {
        error = QStringLiteral("unknown document type '%1'").arg(QString::fromUtf8(type));
        return nullptr;
    }
    QJsonObject stored;
    DocumentStore::ReadResult const read = m_options.store && !load
                                               ? m_options.store->read(id, *documentType, stored, error)
                                               : DocumentStore::ReadResult::Missing;
    if (read == DocumentStore::ReadResult::Failed) {
        Cobalt::Trace::error("TesselServer::openDocument # %s", qPrintable(error));
        return nullptr;
    }
    bool const isStored = read == DocumentStore::ReadResult::Found;
    auto const opened = std::make_shared<ServerDocument>(shared_from_this(), id, documentType);
    if (isStored) {
        JSONMigrations::instance().migrate(type, stored);
        if (!StoredDocument::restore(stored, *opened, error)) {
            error = QStringLiteral("'%1': %2").arg(storedPath(id), error);
            Cobalt::Trace::error("TesselServer::openDocument # %s", qPrintable(error));
            return nullptr;
        }
    }
    m_documents.emplace(id, opened);
    if (isStored) {
        replayJournal(*opened, stored);
    }
    if (load) {
        load(*opened);
    }
    opened->startOperators(m_options.operators->factories(type));
    listDocument(*opened);
    if (isStored) {
        restoreInfo(stored.value(QLatin1String(documentInfoKey)).toArray(), *documentInfo(id));
        if (PasswordHash const password =
                PasswordHash::fromJson(stored.value(QLatin1String(accessPasswordKey)).toObject());
            password.isValid()) {
            m_accessPasswords[id] = password;
        }
    } else if (m_options.store && !load) {
        // Stored at once, so that the changes journaled from now on find the same root when replayed.
        storeQuietly(id);
    }
    return opened;
}

std::shared_ptr<DocumentInfo> TesselServer::documentInfo(QByteArray const& id) const {
    auto const found = m_listing.find(id);
    return found == m_listing.end() ? nullptr : found->second;
}

void TesselServer::listDocument(ServerDocument const& document) {
    auto info = std::make_shared<DocumentInfo>(document.id());
    Cobalt::TimeStamp const now = Cobalt::TimeStamp::currentTime();
    info->nameAttribute = QString::fromUtf8(document.id());
    info->sizeAttribute = static_cast<unsigned long>(document.persistentNodeCount());
    info->createdAttribute = now;
    info->modifiedAttribute = now;
    std::weak_ptr<TesselServer> const weak = weak_from_this();
    for (Basalt::Node::Entry const& entry : info->attributes()) {
        // The info is handed out, and may be written after the server is gone.
        entry.second->addListener(
            [weak, id = document.id()] {
                if (std::shared_ptr<TesselServer> const server = weak.lock()) {
                    server->scheduleListing(id);
                }
            },
            Basalt::Attribute::ROLE_CHANGE);
    }
    m_listing[document.id()] = info;
    sendListing(*info);
}

void TesselServer::documentChanged(ServerDocument const& document) {
    std::shared_ptr<DocumentInfo> const info = documentInfo(document.id());
    if (!info) {
        return;
    }
    auto const size = static_cast<unsigned long>(document.persistentNodeCount());
    Cobalt::TimeStamp const now = Cobalt::TimeStamp::currentTime();
    bool const grownOrShrunk = size != info->size();
    if (grownOrShrunk ||
        now.ticks() - info->modifiedTimestamp().ticks() >= Cobalt::TimeStamp::ticksPerSecond()) {
        info->modifiedAttribute = now;
    }
    info->sizeAttribute = size;
    scheduleStore(document.id());
}

void TesselServer::journal(QByteArray const& id, QByteArray const& sessionKey, std::int64_t transactionId,
                           std::vector<Wire::Operation> const& operations) {
    if (!m_options.store) {
        return;
    }
    Cobalt::BinaryData change;
    change.writeString(sessionKey);
    change.writeInt64(transactionId);
    Wire::writeOperations(change, operations);
    QString error;
    if (!m_options.store->journal(id, ++m_journalSequences[id], change.data(), error)) {
        Cobalt::Trace::error("TesselServer::journal # %s", qPrintable(error));
    }
}

void TesselServer::replayJournal(ServerDocument& document, QJsonObject const& stored) {
    auto const through =
        static_cast<std::uint64_t>(stored.value(QLatin1String(journalSequenceKey)).toDouble());
    std::uint64_t& sequence = m_journalSequences[document.id()];
    sequence = through;
    for (DocumentStore::JournalEntry const& entry : m_options.store->journalSince(document.id(), through)) {
        Cobalt::BinaryData change(entry.change);
        QByteArray sessionKey;
        std::int64_t transactionId = 0;
        std::vector<Wire::Operation> operations;
        QString error;
        bool const read = Wire::PayloadReader(change).text(sessionKey).int64(transactionId).ok() &&
                          Wire::readOperations(change, operations);
        if (read && document.replay(operations, error)) {
            // A client that lost the answer learns when it opens the document again that this was applied.
            document.noteApplied(sessionKey, transactionId);
        } else {
            Cobalt::Trace::error(
                "TesselServer::openDocument # Change %llu of the journal of '%s' can't be applied: %s",
                static_cast<unsigned long long>(entry.sequence), document.id().constData(),
                qPrintable(error.isEmpty() ? QStringLiteral("unreadable") : error));
        }
        sequence = entry.sequence;
    }
}

void TesselServer::scheduleStore(QByteArray const& id) {
    // Without an event loop on this thread no timer fires: the document is stored when its last client
    // leaves and when the server goes.
    if (!m_options.store || !QAbstractEventDispatcher::instance() || !m_storeScheduled.insert(id).second ||
        (m_storeTimer && m_storeTimer->isActive())) {
        return;
    }
    if (!m_storeTimer) {
        m_storeTimer = std::make_unique<QTimer>();
        m_storeTimer->setSingleShot(true);
        QObject::connect(m_storeTimer.get(), &QTimer::timeout, [this] {
            std::set<QByteArray> const changed = std::move(m_storeScheduled);
            m_storeScheduled.clear();
            for (QByteArray const& changedId : changed) {
                if (document(changedId)) {
                    storeQuietly(changedId);
                }
            }
        });
    }
    m_storeTimer->start(m_options.storeDelay);
}

bool TesselServer::removeDocument(QByteArray const& id) {
    auto const found = m_documents.find(id);
    if (found == m_documents.end()) {
        return false;
    }
    std::shared_ptr<ServerDocument> const removed = found->second;
    m_documents.erase(found);
    m_listing.erase(id);
    m_accessPasswords.erase(id);
    m_storeScheduled.erase(id);
    m_journalSequences.erase(id);
    if (QString error; m_options.store && !m_options.store->remove(id, error)) {
        Cobalt::Trace::error("TesselServer::removeDocument # %s", qPrintable(error));
    }
    Cobalt::BinaryData const closed = closing(id, QStringLiteral("The document was removed"));
    for (ServerDocumentConnection* const connection : removed->connections()) {
        connection->connection().send(Wire::MessageKind::CloseDocument, closed);
    }
    Cobalt::BinaryData unlisted;
    unlisted.writeString(id);
    broadcast(Wire::MessageKind::DocumentUnlisted, unlisted);
    return true;
}

bool TesselServer::setAccessPassword(QByteArray const& id, QString const& password) {
    std::shared_ptr<DocumentInfo> const info = documentInfo(id);
    if (!info) {
        return false;
    }
    if (password.isEmpty()) {
        m_accessPasswords.erase(id);
    } else {
        m_accessPasswords[id] = PasswordHash::of(password);
    }
    info->accessPasswordAttribute = !password.isEmpty();
    storeQuietly(id);
    return true;
}

bool TesselServer::opensWith(QByteArray const& id, QString const& password) const {
    auto const found = m_accessPasswords.find(id);
    return found == m_accessPasswords.end() || found->second.matches(password);
}

bool TesselServer::mayOpen(ServerToClientConnection const& connection, ServerDocument const& document,
                           QString& error) const {
    return connection.isTrusted() || !m_options.accessPolicy ||
           m_options.accessPolicy->mayOpen(connection, document, error);
}

void TesselServer::reviewAccess() {
    std::vector<std::shared_ptr<ServerDocument>> open;
    for (auto const& entry : m_documents) {
        open.push_back(entry.second);
    }
    for (std::shared_ptr<ServerDocument> const& document : open) {
        for (ServerDocumentConnection* const member : document->connections()) {
            ServerToClientConnection& connection = member->connection();
            QString reason;
            if (mayOpen(connection, *document, reason)) {
                continue;
            }
            Cobalt::Trace::warning("TesselServer::reviewAccess # Closed connection %s out of '%s': %s",
                                   connection.logName().constData(), document->id().constData(),
                                   qPrintable(reason));
            leave(*document, connection);
            connection.send(Wire::MessageKind::CloseDocument, closing(document->id(), reason));
        }
    }
}

void TesselServer::scheduleListing(QByteArray const& id) {
    if (!m_listingScheduled.insert(id).second) {
        return;
    }
    std::weak_ptr<TesselServer> const weak = weak_from_this();
    m_options.executor->add([weak, id] {
        std::shared_ptr<TesselServer> const server = weak.lock();
        if (!server) {
            return;
        }
        server->m_listingScheduled.erase(id);
        if (std::shared_ptr<DocumentInfo> const info = server->documentInfo(id)) {
            server->sendListing(*info);
        }
    });
}

QString TesselServer::storedPath(QByteArray const& id) const {
    return m_options.store ? m_options.store->location(id) : QString();
}

bool TesselServer::storeDocument(QByteArray const& id, QString& error) const {
    std::shared_ptr<ServerDocument> const open = document(id);
    if (!open || !m_options.store) {
        error = open ? QStringLiteral("the server stores no documents")
                     : QStringLiteral("document '%1' is not open").arg(QString::fromUtf8(id));
        return false;
    }
    QJsonObject stored = StoredDocument::fromDocument(*open);
    auto const sequence = m_journalSequences.find(id);
    stored.insert(QLatin1String(journalSequenceKey),
                  static_cast<qint64>(sequence == m_journalSequences.end() ? 0 : sequence->second));
    StoredListing listing;
    if (std::shared_ptr<DocumentInfo> const info = documentInfo(id)) {
        stored.insert(QLatin1String(documentInfoKey), storedInfo(*info));
        listing = listingOf(*info);
    }
    if (auto const password = m_accessPasswords.find(id); password != m_accessPasswords.end()) {
        stored.insert(QLatin1String(accessPasswordKey), password->second.toJson());
    }
    return m_options.store->write(id, open->type(), stored, listing, error);
}

QJsonArray TesselServer::storedInfo(DocumentInfo const& info) const {
    QJsonArray values;
    for (Wire::AttributeValue const& value : info.encodedValues(typeRegistry())) {
        values.append(QJsonObject{{QStringLiteral("name"), QString::fromUtf8(value.name)},
                                  {QStringLiteral("typeCode"), static_cast<qint64>(value.typeCode)},
                                  {QStringLiteral("value"), QString::fromLatin1(value.bytes.toBase64())}});
    }
    return values;
}

void TesselServer::restoreInfo(QJsonArray const& stored, DocumentInfo& info) const {
    std::vector<Wire::AttributeValue> values;
    for (QJsonValue const& value : stored) {
        QJsonObject const object = value.toObject();
        values.push_back(
            {object.value(QStringLiteral("name")).toString().toUtf8(),
             static_cast<unsigned>(object.value(QStringLiteral("typeCode")).toDouble()),
             QByteArray::fromBase64(object.value(QStringLiteral("value")).toString().toLatin1())});
    }
    unsigned long const size = info.size();
    info.applyValues(values, typeRegistry());
    // The size is the tree's as it opened, whatever was stored.
    info.sizeAttribute = size;
}

void TesselServer::sendListing(DocumentInfo const& info, ServerToClientConnection const* only) const {
    Cobalt::BinaryData payload;
    payload.writeString(info.documentId());
    Wire::writeAttributeValues(payload, info.encodedValues(typeRegistry()));
    if (only) {
        only->send(Wire::MessageKind::DocumentListed, payload);
    } else {
        broadcast(Wire::MessageKind::DocumentListed, payload);
    }
}

void TesselServer::broadcast(Wire::MessageKind kind, Cobalt::BinaryData const& payload) const {
    for (auto const& entry : m_connections) {
        if (entry.second->isGreeted()) {
            entry.second->send(kind, payload);
        }
    }
}

void TesselServer::receive(ServerToClientConnection& connection, QByteArray const& bytes) {
    Wire::Frame frame;
    QString error;
    if (!Wire::decodeFrame(bytes, frame, error) || !handle(connection, frame, error)) {
        refuse(connection, error);
    }
}

bool TesselServer::signsIn(ServerToClientConnection const& connection) const {
    return !connection.isTrusted() && m_options.accounts && !m_options.accounts->isEmpty();
}

void TesselServer::verifyAside(unsigned connectionId, Greeting greeting) {
    if (!m_signIns) {
        m_signIns = std::make_unique<WorkerThread>();
    }
    // A password takes a tenth of a second to check: on a thread of its own, the documents go on meanwhile.
    std::weak_ptr<TesselServer> const weak = weak_from_this();
    m_signIns->add([weak, connectionId, greeting = std::move(greeting), accounts = m_options.accounts,
                    executor = m_options.executor]() mutable {
        unsigned const signedIn =
            accounts->verify(QString::fromUtf8(greeting.user), QString::fromUtf8(greeting.password));
        executor->add([weak, connectionId, greeting = std::move(greeting), signedIn] {
            std::shared_ptr<TesselServer> const server = weak.lock();
            if (server && server->m_connections.count(connectionId)) {
                server->answerGreeting(*server->m_connections.at(connectionId), greeting, signedIn);
            }
        });
    });
}

void TesselServer::answerGreeting(ServerToClientConnection& connection, Greeting const& greeting,
                                  unsigned signedIn) {
    std::int32_t userId = greeting.userId;
    QByteArray token;
    if (signsIn(connection)) {
        if (signedIn == 0) {
            Cobalt::Trace::warning("TesselServer::receive # Refused the sign-in of '%s' at connection %u",
                                   greeting.user.constData(), connection.connectionId());
            refuseSignIn(connection);
            return;
        }
        userId = static_cast<std::int32_t>(signedIn);
        if (greeting.token.isEmpty()) {
            token = m_tokens->issue(signedIn, QString::fromUtf8(greeting.user));
        }
    }
    connection.greet(QString::fromUtf8(greeting.installation), QString::fromUtf8(greeting.user),
                     static_cast<unsigned>(userId));
    Cobalt::BinaryData welcome;
    welcome.writeString(version().toString().toUtf8());
    welcome.writeInt32(userId);
    welcome.writeInt32(static_cast<std::int32_t>(connection.connectionId()));
    welcome.writeInt64(Cobalt::TimeStamp::currentTime().ticks());
    if (!token.isEmpty()) {
        welcome.writeString(token);
    }
    connection.send(Wire::MessageKind::Welcome, welcome);
    for (auto const& listed : m_listing) {
        sendListing(*listed.second, &connection);
    }
}

void TesselServer::refuseSignIn(ServerToClientConnection& connection) {
    std::weak_ptr<TesselServer> const weak = weak_from_this();
    unsigned const id = connection.connectionId();
    auto const answer = [weak, id] {
        std::shared_ptr<TesselServer> const server = weak.lock();
        if (!server || !server->m_connections.count(id)) {
            return;
        }
        Cobalt::BinaryData reason;
        // One reason for every refusal: it tells nobody whether the user exists.
        reason.writeString("Sign-in failed");
        server->m_connections.at(id)->send(Wire::MessageKind::SignInRefused, reason);
        // The client closes the link as it hears the answer; one that doesn't is closed a while later.
        after(server->m_options.signInDelay, [weak, id] {
            std::shared_ptr<TesselServer> const later = weak.lock();
            if (later && later->m_connections.count(id)) {
                later->m_connections.at(id)->close();
            }
        });
    };
    // A guess costs the delay.
    after(m_options.signInDelay, answer);
}

void TesselServer::refuse(ServerToClientConnection const& connection, QString const& error) const {
    Cobalt::Trace::error("TesselServer::receive # Refused a message of connection %s: %s",
                         connection.logName().constData(), qPrintable(error));
}

bool TesselServer::handle(ServerToClientConnection& connection, Wire::Frame& frame, QString& error) {
    Cobalt::BinaryData& payload = frame.payload;
    if (frame.kind == Wire::MessageKind::Hello) {
        Greeting greeting;
        Wire::PayloadReader reader(payload);
        reader.text(greeting.installation).text(greeting.user).int32(greeting.userId);
        // The password, or the token in its place, comes only from clients that sign in.
        for (QByteArray* optional : {&greeting.password, &greeting.token}) {
            if (reader.ok() && !payload.atEnd()) {
                reader.text(*optional);
            }
        }
        if (!reader.complete() || greeting.userId < 0 || connection.isGreeted()) {
            error = QStringLiteral("malformed greeting");
            return false;
        }
        if (signsIn(connection) && greeting.token.isEmpty()) {
            verifyAside(connection.connectionId(), std::move(greeting));
            return true;
        }
        unsigned const signedIn =
            signsIn(connection) ? m_tokens->verify(QString::fromUtf8(greeting.user), greeting.token) : 0;
        answerGreeting(connection, greeting, signedIn);
        return true;
    }
    if (!connection.isGreeted()) {
        error = QStringLiteral("a message before the greeting");
        return false;
    }
    if (AssetTransfer::isAssetMessage(frame.kind)) {
        return m_assets->handle(connection, frame.kind, payload, error);
    }
    switch (frame.kind) {
    case Wire::MessageKind::OpenDocument:
        return handleOpen(connection, payload, error);
    case Wire::MessageKind::Transaction:
        return handleTransaction(connection, payload, error);
    case Wire::MessageKind::CloseDocument: {
        QByteArray id;
        if (!Wire::PayloadReader(payload).text(id).complete()) {
            error = QStringLiteral("malformed close");
            return false;
        }
        if (std::shared_ptr<ServerDocument> const open = document(id)) {
            leave(*open, connection);
        }
        return true;
    }
    default:
        error = QStringLiteral("message kind %1 is not for a server").arg(static_cast<int>(frame.kind));
        return false;
    }
}

bool TesselServer::handleOpen(ServerToClientConnection& connection, Cobalt::BinaryData& payload,
                              QString& error) {
    QByteArray id;
    QByteArray type;
    QByteArray sessionKey;
    QByteArray earlierSession;
    std::vector<std::int64_t> unanswered;
    QByteArray accessPassword;
    Wire::PayloadReader reader(payload);
    reader.text(id).text(type);
    // A client that names its opening may ask about transactions of an earlier one.
    if (reader.ok() && !payload.atEnd()) {
        reader.text(sessionKey).text(earlierSession);
        Wire::readTransactionIds(reader, unanswered);
    }
    if (reader.ok() && !payload.atEnd()) {
        reader.text(accessPassword);
    }
    if (!reader.complete()) {
        error = QStringLiteral("malformed request to open a document");
        return false;
    }
    std::shared_ptr<ServerDocument> const opened = openDocument(id, type, error);
    bool const unlocked =
        opened && (connection.isTrusted() || opensWith(id, QString::fromUtf8(accessPassword)));
    if (opened && !unlocked) {
        error = QStringLiteral("document '%1' needs its access password").arg(QString::fromUtf8(id));
    }
    bool const permitted = unlocked && mayOpen(connection, *opened, error);
    if (permitted && opened->connectionOf(connection)) {
        return true;
    }
    if (permitted && !earlierSession.isEmpty()) {
        Cobalt::BinaryData recovered;
        recovered.writeString(id);
        Wire::writeTransactionIds(recovered, opened->appliedOf(earlierSession, unanswered));
        connection.send(Wire::MessageKind::TransactionsRecovered, recovered);
    }
    if (ServerDocumentConnection* const added =
            permitted ? opened->addConnection(connection, error) : nullptr) {
        added->setSessionKey(sessionKey);
        return true;
    }
    Cobalt::BinaryData refusal;
    refusal.writeString(id);
    refusal.writeString(error.toUtf8());
    connection.send(Wire::MessageKind::OpenRefused, refusal);
    return false;
}

bool TesselServer::handleTransaction(ServerToClientConnection& connection, Cobalt::BinaryData& payload,
                                     QString& error) {
    QByteArray id;
    std::int64_t transactionId = 0;
    std::vector<Wire::Operation> operations;
    if (!Wire::PayloadReader(payload).text(id).int64(transactionId).ok() ||
        !Wire::readOperations(payload, operations) || !payload.atEnd()) {
        error = QStringLiteral("malformed transaction");
        return false;
    }
    std::shared_ptr<ServerDocument> const open = document(id);
    ServerDocumentConnection* const acting = open ? open->connectionOf(connection) : nullptr;
    std::vector<Wire::Operation> rebase;
    // Asked first: a deleted node can't tell afterwards which tree it was in.
    bool const persistent = acting && open->touchesPersistentTree(operations);
    bool const permitted = acting && (connection.isTrusted() || !m_options.accessPolicy ||
                                      m_options.accessPolicy->mayChange(*acting, operations, error));
    bool const applied = permitted && open->applyTransaction(*acting, operations, error, &rebase);
    if (!acting) {
        error = QStringLiteral("document '%1' is not open").arg(QString::fromUtf8(id));
    }
    Cobalt::BinaryData answer;
    answer.writeString(id);
    answer.writeInt64(transactionId);
    if (!applied) {
        answer.writeString(error.toUtf8());
        rebase = open ? open->restoreOperations(operations) : std::vector<Wire::Operation>();
    } else {
        open->noteApplied(acting->sessionKey(), transactionId);
        if (persistent) {
            journal(id, acting->sessionKey(), transactionId, operations);
            documentChanged(*open);
        }
    }
    Wire::writeOperations(answer, rebase);
    connection.send(applied ? Wire::MessageKind::TransactionApplied : Wire::MessageKind::TransactionRefused,
                    answer);
    return applied;
}

void TesselServer::disconnect(unsigned connectionId) {
    auto const found = m_connections.find(connectionId);
    if (found == m_connections.end()) {
        return;
    }
    for (auto const& document : m_documents) {
        leave(*document.second, *found->second);
    }
    m_assets->disconnected(*found->second);
    m_connections.erase(found);
}

} // namespace Tessel
