#include "platform/tessel/DocumentStore.hpp"

#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/DBMigrationRunner.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/SqlConnection.hpp"
#include "platform/tessel/StoredDocument.hpp"

#include <QDir>
#include <QFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>
#include <QVariant>
#include <QtEndian>

namespace Tessel {

DocumentStore::~DocumentStore() = default;

bool DocumentStore::journal(QByteArray const&, std::uint64_t, QByteArray const&, QString&) {
    return true;
}

std::vector<DocumentStore::JournalEntry> DocumentStore::journalSince(QByteArray const&, std::uint64_t) {
    return {};
}

SqlConnection* DocumentStore::openOnce(std::unique_ptr<SqlConnection>& connection,
                                       std::function<bool(SqlConnection&)> const& open,
                                       QList<std::shared_ptr<DBMigrationList>> const& chains,
                                       QString& error) {
    if (connection) {
        return connection.get();
    }
    auto opened = std::make_unique<SqlConnection>();
    if (!open(*opened)) {
        error = opened->lastError();
        return nullptr;
    }
    DBMigrationReport const report = DBMigrationRunner(*opened).run(chains);
    if (report.failed) {
        error = QStringLiteral("Step %1 of '%2' failed: %3")
                    .arg(report.failedVersion)
                    .arg(report.failedModule, report.error);
        return nullptr;
    }
    connection = std::move(opened);
    return connection.get();
}

bool DocumentStore::writeListing(SqlConnection& connection, QByteArray const& id, QByteArray const& type,
                                 StoredListing const& listing, QString& error) {
    QSqlQuery query(connection.database());
    query.prepare(QStringLiteral(
        "INSERT INTO documents (id, type, name, state, created, modified, size, has_main_password, "
        "has_access_password) VALUES (:id, :type, :name, :state, :created, :modified, :size, :main, :access) "
        "ON CONFLICT (id) DO UPDATE SET type = excluded.type, name = excluded.name, state = excluded.state, "
        "created = excluded.created, modified = excluded.modified, size = excluded.size, "
        "has_main_password = excluded.has_main_password, has_access_password = "
        "excluded.has_access_password"));
    query.bindValue(QStringLiteral(":id"), QString::fromUtf8(id));
    query.bindValue(QStringLiteral(":type"), QString::fromUtf8(type));
    query.bindValue(QStringLiteral(":name"), listing.name);
    query.bindValue(QStringLiteral(":state"), listing.state);
    query.bindValue(QStringLiteral(":created"), static_cast<qlonglong>(listing.created.ticks()));
    query.bindValue(QStringLiteral(":modified"), static_cast<qlonglong>(listing.modified.ticks()));
    query.bindValue(QStringLiteral(":size"), static_cast<qulonglong>(listing.size));
    query.bindValue(QStringLiteral(":main"), listing.hasMainPassword);
    query.bindValue(QStringLiteral(":access"), listing.hasAccessPassword);
    if (!query.exec()) {
        error = QStringLiteral("Can't list document '%1': %2")
                    .arg(QString::fromUtf8(id), query.lastError().text());
        return false;
    }
    return true;
}

bool DocumentStore::removeListing(SqlConnection& connection, QByteArray const& id, QString& error) {
    QSqlQuery query(connection.database());
    query.prepare(QStringLiteral("DELETE FROM documents WHERE id = :id"));
    query.bindValue(QStringLiteral(":id"), QString::fromUtf8(id));
    if (!query.exec()) {
        error = QStringLiteral("Can't remove document '%1': %2")
                    .arg(QString::fromUtf8(id), query.lastError().text());
        return false;
    }
    return true;
}

JsonDocumentStore::JsonDocumentStore(QString directory, QList<std::shared_ptr<DBMigrationList>> listingChains)
    : m_directory(std::move(directory)), m_listingChains(std::move(listingChains)) {}

JsonDocumentStore::~JsonDocumentStore() = default;

QString JsonDocumentStore::location(QByteArray const& id) const {
    // Percent-encoded, so that no id reaches outside the directory.
    return QDir(m_directory)
        .filePath(QString::fromLatin1(QUrl::toPercentEncoding(QString::fromUtf8(id))) +
                  QStringLiteral(".json"));
}

SqlConnection* JsonDocumentStore::listing(QString& error) {
    if (m_listingChains.isEmpty()) {
        return nullptr;
    }
    return openOnce(
        m_listing,
        [this](SqlConnection& connection) {
            QDir().mkpath(m_directory);
            return connection.openSqlite(QDir(m_directory).filePath(QLatin1String(databaseFileName)));
        },
        m_listingChains, error);
}

DocumentStore::ReadResult JsonDocumentStore::read(QByteArray const& id, ServerDocumentType const&,
                                                  QJsonObject& stored, QString& error) {
    QString const path = location(id);
    if (!QFile::exists(path)) {
        return ReadResult::Missing;
    }
    return StoredDocument::read(path, stored, error) ? ReadResult::Found : ReadResult::Failed;
}

bool JsonDocumentStore::write(QByteArray const& id, ServerDocumentType const& type, QJsonObject const& stored,
                              StoredListing const& listing, QString& error) {
    QDir().mkpath(m_directory);
    if (!StoredDocument::write(location(id), stored, error)) {
        return false;
    }
    clearJournal(id);
    if (m_listingChains.isEmpty()) {
        return true;
    }
    SqlConnection* const database = this->listing(error);
    return database && writeListing(*database, id, type.name, listing, error);
}

bool JsonDocumentStore::remove(QByteArray const& id, QString& error) {
    clearJournal(id);
    QString const path = location(id);
    if (QFile::exists(path) && !QFile::remove(path)) {
        error = QStringLiteral("Can't remove '%1'").arg(path);
        return false;
    }
    if (m_listingChains.isEmpty()) {
        return true;
    }
    SqlConnection* const database = listing(error);
    return database && removeListing(*database, id, error);
}

QString JsonDocumentStore::journalPath(QByteArray const& id) const {
    QString path = location(id);
    path.chop(static_cast<int>(qstrlen(".json")));
    return path + QStringLiteral(".journal");
}

void JsonDocumentStore::clearJournal(QByteArray const& id) {
    m_journals.erase(id);
    QFile::remove(journalPath(id));
}

// An entry: the sequence (8 bytes), the length of the change (4 bytes), both little-endian, then the change.
bool JsonDocumentStore::journal(QByteArray const& id, std::uint64_t sequence, QByteArray const& change,
                                QString& error) {
    std::unique_ptr<QFile>& file = m_journals[id];
    if (!file) {
        QDir().mkpath(m_directory);
        file = std::make_unique<QFile>(journalPath(id));
        if (!file->open(QIODevice::WriteOnly | QIODevice::Append)) {
            error = QStringLiteral("Can't journal in '%1': %2").arg(file->fileName(), file->errorString());
            file.reset();
            return false;
        }
    }
    QByteArray entry(12, '\0');
    qToLittleEndian<quint64>(sequence, entry.data());
    qToLittleEndian<quint32>(static_cast<quint32>(change.size()), entry.data() + 8);
    entry += change;
    if (file->write(entry) != entry.size() || !file->flush()) {
        error = QStringLiteral("Can't journal in '%1': %2").arg(file->fileName(), file->errorString());
        return false;
    }
    return true;
}

std::vector<DocumentStore::JournalEntry> JsonDocumentStore::journalSince(QByteArray const& id,
                                                                         std::uint64_t afterSequence) {
    QFile file(journalPath(id));
    std::vector<JournalEntry> entries;
    if (!file.open(QIODevice::ReadOnly)) {
        return entries;
    }
    QByteArray const bytes = file.readAll();
    for (qsizetype at = 0; at + 12 <= bytes.size();) {
        JournalEntry entry;
        entry.sequence = qFromLittleEndian<quint64>(bytes.constData() + at);
        quint32 const length = qFromLittleEndian<quint32>(bytes.constData() + at + 8);
        if (at + 12 + static_cast<qsizetype>(length) > bytes.size()) {
            Cobalt::Trace::warning(
                "JsonDocumentStore::journalSince # The journal of '%s' ends in a cut-off change",
                id.constData());
            break;
        }
        entry.change = bytes.mid(at + 12, static_cast<int>(length));
        at += 12 + static_cast<qsizetype>(length);
        if (entry.sequence > afterSequence) {
            entries.push_back(std::move(entry));
        }
    }
    return entries;
}

} // namespace Tessel
