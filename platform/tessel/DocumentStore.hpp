#pragma once

#include "platform/cobalt/TimeStamp.hpp"

#include <QByteArray>
#include <QFile>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace Tessel {

class DBMigrationList;
class SqlConnection;
struct ServerDocumentType;

/// What a store lists of a document beside its tree, from the document's information.
struct StoredListing {
    QString name;
    int state = 0;
    bool hasMainPassword = false;
    bool hasAccessPassword = false;
    unsigned long size = 0;
    Cobalt::TimeStamp created;
    Cobalt::TimeStamp modified;
};

/// Where a server keeps its documents between runs. Documents travel in and out in their stored form
/// (`StoredDocument`): "nodes", "documentType", the versions of its chains, and what the server adds.
///
/// A store is used from the server's thread only; the first call may happen on another thread than the one
/// that made the store, so a store opens what it needs on first use.
class DocumentStore {
public:
    enum class ReadResult { Found, Missing, Failed };

    virtual ~DocumentStore();

    /// Reads the stored form of `id`. Missing when nothing is stored under it; Failed, with the reason in
    /// `error`, when what is stored can't be read (it is then left as it is).
    virtual ReadResult read(QByteArray const& id, ServerDocumentType const& type, QJsonObject& stored,
                            QString& error) = 0;
    /// Replaces what is stored under `id`, whole or not at all. False with the reason in `error`.
    virtual bool write(QByteArray const& id, ServerDocumentType const& type, QJsonObject const& stored,
                       StoredListing const& listing, QString& error) = 0;
    /// Takes `id` out of the store; true also when nothing was stored under it.
    virtual bool remove(QByteArray const& id, QString& error) = 0;
    /// Where the store keeps `id`, for people: a file path, or a database and the document.
    virtual QString location(QByteArray const& id) const = 0;

    /// One change of a document since it was last written, as the store's journal keeps it.
    struct JournalEntry {
        std::uint64_t sequence = 0;
        QByteArray change;
    };
    /// Appends a change that the server applied to `id`, numbered `sequence`, so that it outlives the
    /// server's process until the next `write` (which empties the journal). The change has left the
    /// process when this returns. True, doing nothing, for a store that keeps no journal.
    virtual bool journal(QByteArray const& id, std::uint64_t sequence, QByteArray const& change,
                         QString& error);
    /// The journaled changes of `id` numbered above `afterSequence`, in order; an entry that was cut off
    /// (the process died while writing it) ends the journal.
    virtual std::vector<JournalEntry> journalSince(QByteArray const& id, std::uint64_t afterSequence);

protected:
    /// The database of a store: `connection` once it is open, else a new connection that `open` opens and
    /// `chains` bring forward. Null, with the reason in `error`, when either fails; the next call tries
    /// again.
    static SqlConnection* openOnce(std::unique_ptr<SqlConnection>& connection,
                                   std::function<bool(SqlConnection&)> const& open,
                                   QList<std::shared_ptr<DBMigrationList>> const& chains, QString& error);
    /// Writes the row of `id` in the table "documents" that the server's core chain makes.
    static bool writeListing(SqlConnection& connection, QByteArray const& id, QByteArray const& type,
                             StoredListing const& listing, QString& error);
    /// Deletes the row of `id` in "documents", and with it whatever hangs from it.
    static bool removeListing(SqlConnection& connection, QByteArray const& id, QString& error);
};

/// The embedded default: one JSON file per document in a directory, named by its percent-encoded id, and,
/// when it is given database chains, the list of the documents in the SQLite file "server.sqlite" beside
/// them, made and carried forward by those chains on first use.
class JsonDocumentStore : public DocumentStore {
public:
    /// The server's SQLite file in the store's directory.
    static constexpr char databaseFileName[] = "server.sqlite";

    explicit JsonDocumentStore(QString directory, QList<std::shared_ptr<DBMigrationList>> listingChains = {});
    ~JsonDocumentStore() override;

    ReadResult read(QByteArray const& id, ServerDocumentType const& type, QJsonObject& stored,
                    QString& error) override;
    bool write(QByteArray const& id, ServerDocumentType const& type, QJsonObject const& stored,
               StoredListing const& listing, QString& error) override;
    bool remove(QByteArray const& id, QString& error) override;
    /// The document's file; no id reaches outside the directory.
    QString location(QByteArray const& id) const override;

    QString const& directory() const { return m_directory; }

    /// Appends to the file "<id>.journal" beside the document's, and flushes it to the system.
    bool journal(QByteArray const& id, std::uint64_t sequence, QByteArray const& change,
                 QString& error) override;
    std::vector<JournalEntry> journalSince(QByteArray const& id, std::uint64_t afterSequence) override;

private:
    QString journalPath(QByteArray const& id) const;
    /// Closes and deletes the journal of `id`: the document's file holds everything in it now.
    void clearJournal(QByteArray const& id);

    /// The listing database, opened and brought forward on first use; null, with the reason in `error`,
    /// when it can't be. Also null when the store keeps no listing.
    SqlConnection* listing(QString& error);

    QString m_directory;
    QList<std::shared_ptr<DBMigrationList>> m_listingChains;
    std::unique_ptr<SqlConnection> m_listing;
    std::map<QByteArray, std::unique_ptr<QFile>> m_journals;
};

} // namespace Tessel
