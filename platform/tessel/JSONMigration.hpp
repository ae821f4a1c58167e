#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Tessel {

/// One step of a stored document's chain: it rewrites the stored JSON form of a document of its type, so
/// that a document at the step's version before it is at that version after it. A step works on the stored
/// form with its own constants, never through the live element classes, which change later.
class JSONMigration {
public:
    explicit JSONMigration(int version) : m_version(version) {}
    virtual ~JSONMigration();

    /// Rewrites `document`, the stored form ("nodes" ...). `context` is carried along for steps that need
    /// more than the document; none reads it today. True when the step did its work.
    virtual bool migrate(QJsonObject& context, QJsonObject& document) = 0;

    int version() const { return m_version; }

private:
    int m_version;
};

/// A step that has nothing to do and still holds its number in the chain.
class JSONEmptyMigration : public JSONMigration {
public:
    explicit JSONEmptyMigration(int version) : JSONMigration(version) {}
    bool migrate(QJsonObject& context, QJsonObject& document) override;
};

/// The chain of one document type: its steps in version order, numbered from 1 without gaps.
class JSONMigrationList {
public:
    explicit JSONMigrationList(QByteArray documentType) : m_documentType(std::move(documentType)) {}

    QByteArray const& documentType() const { return m_documentType; }
    /// Adds the next step. Its version must be one above the last; another number is logged and the step
    /// dropped, so that the chain stays a gapless sequence.
    void append(std::shared_ptr<JSONMigration> migration);
    std::vector<std::shared_ptr<JSONMigration>> const& migrations() const { return m_migrations; }
    /// The version a document reaches at the end of the chain; 0 for an empty chain.
    int lastVersion() const { return static_cast<int>(m_migrations.size()); }

private:
    QByteArray m_documentType;
    std::vector<std::shared_ptr<JSONMigration>> m_migrations;
};

/// What bringing a stored document forward did.
struct JSONMigrationReport {
    /// The version the document had, and the one it reached.
    int fromVersion = 0;
    int toVersion = 0;
    /// The versions of the steps that ran, in order.
    std::vector<int> stepsRun;
    /// The versions of the steps that failed; the document goes on to the next step all the same.
    std::vector<int> stepsFailed;
};

/// The process's chains of stored documents, one per document type. Chains are added at library load and
/// only read after; every operation is thread safe.
class JSONMigrations {
public:
    /// The key under which a stored document keeps, per document type, the version its chain reached.
    static constexpr char versionsKey[] = "versions";

    static JSONMigrations& instance();

    /// Registers the chain of `documentType`, replacing an earlier one.
    void addMigrationList(QByteArray const& documentType, std::shared_ptr<JSONMigrationList> list);
    /// The chain of a document type; null when it has none.
    std::shared_ptr<JSONMigrationList> migrationList(QByteArray const& documentType) const;

    /// Runs every step of the type's chain above the version `document` reached, in order, and records the
    /// version reached in the document. A step that throws or returns false is logged and passed: a
    /// migration never stops a document from loading. A type without a chain is left alone.
    JSONMigrationReport migrate(QByteArray const& documentType, QJsonObject& document) const;
    /// The version a stored document reached in the chain of `documentType`; 0 when it names none.
    static int reachedVersion(QJsonObject const& document, QByteArray const& documentType);
    /// Records in `document` that it is at the end of the type's chain, as a document written by this
    /// release is.
    void markCurrent(QByteArray const& documentType, QJsonObject& document) const;

private:
    mutable std::mutex m_mutex;
    std::map<QByteArray, std::shared_ptr<JSONMigrationList>> m_lists;
};

} // namespace Tessel
