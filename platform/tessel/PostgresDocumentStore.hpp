#pragma once

#include "platform/tessel/DocumentStore.hpp"

#include <QHash>
#include <QSqlQuery>
#include <QStringList>

#include <map>

namespace Tessel {

/// Documents in PostgreSQL, in the tables that the server's database chains make and carry forward:
/// - a row of "documents" per document, whose "info" holds what the stored form has beside its nodes
///   (its type, its information);
/// - a row of "nodes" per node (id, document_id, parent_id, type, name);
/// - the node's values in the table of its type, named by the type key plus "s" ("tavola_note" keeps its
///   values in "tavola_notes"), one column per attribute, named by the attribute's key with '-' as '_'.
///
/// A column holds a value when the node's type declares the attribute with the value's type and the
/// column's SQL type can hold it: real (a float), integer, bigint (64-bit integers and time stamps),
/// boolean, text (UTF-8 without NUL), real[] (two floats, or a list of floats), bezier_node[] (a list of
/// Bezier nodes) and bytea (any value, as its bytes). Any other value stays in the node's "attributes", as
/// the JSON of its stored form. So a migration of those tables changes what the server serves: a document
/// is read from them as this release's form, and no JSON chain runs on it.
///
/// Node ids must be UUIDs in lower case, as the platform makes them; a document with another id can't be
/// stored here. The connection is opened, and the chains run, on first use.
class PostgresDocumentStore : public DocumentStore {
public:
    PostgresDocumentStore(QString connectionInfo, QList<std::shared_ptr<DBMigrationList>> chains);
    ~PostgresDocumentStore() override;

    ReadResult read(QByteArray const& id, ServerDocumentType const& type, QJsonObject& stored,
                    QString& error) override;
    bool write(QByteArray const& id, ServerDocumentType const& type, QJsonObject const& stored,
               StoredListing const& listing, QString& error) override;
    bool remove(QByteArray const& id, QString& error) override;
    /// "postgres document '<id>'".
    QString location(QByteArray const& id) const override;

private:
    /// Column name to SQL type name (PostgreSQL's udt_name: "float4", "_float4", "bytea" ...).
    using Columns = std::map<QString, QString>;

    SqlConnection* connection(QString& error);
    /// The columns of a table; empty when there is no such table.
    Columns const& columnsOf(QString const& table);
    QSqlQuery& prepared(QString const& statement);
    bool writeNode(QByteArray const& documentId, ServerDocumentType const& type, QJsonObject const& node,
                   QString& error);
    bool readValues(QByteArray const& documentId, ServerDocumentType const& type,
                    std::map<QString, QJsonObject>& nodes, QString& error);

    QString m_connectionInfo;
    QList<std::shared_ptr<DBMigrationList>> m_chains;
    std::unique_ptr<SqlConnection> m_connection;
    QHash<QString, Columns> m_tables;
    QHash<QString, QSqlQuery> m_statements;
};

} // namespace Tessel
