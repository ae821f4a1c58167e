#pragma once

#include "platform/tessel/DBMigration.hpp"

#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace Tessel {

class SqlConnection;

/// What bringing a database forward did.
struct DBMigrationReport {
    /// One chain that was looked at.
    struct Module {
        QString moduleName;
        /// The version the store had, and the one it reached.
        int fromVersion = 0;
        int toVersion = 0;
        /// The versions of the steps that ran and were committed, in order.
        std::vector<int> stepsRun;
    };

    /// The chains looked at, in order; the one that failed is the last.
    std::vector<Module> modules;
    /// Set when a step, or the bookkeeping around it, failed: the chain stopped there and later chains were
    /// not looked at.
    bool failed = false;
    /// The module and the version of the step that failed (version 0 when no step was to blame), and why.
    QString failedModule;
    int failedVersion = 0;
    QString error;

    bool succeeded() const { return !failed; }
};

/// Carries a database forward through its chains. Per module it keeps the version reached in the table
/// "schema_versions" (module, version), and runs every step above it in list order. Each step runs in a
/// transaction together with the record of its version: a step that fails is rolled back, leaves the
/// version as it was, and stops its chain and every later one.
class DBMigrationRunner {
public:
    /// The table of the versions reached, one row per module.
    static constexpr char versionsTable[] = "schema_versions";

    explicit DBMigrationRunner(SqlConnection& connection) : m_connection(connection) {}

    /// Told of each step before it runs, for a progress line on long work.
    using StepStarting = std::function<void(DBMigration const& step)>;
    void setStepStarting(StepStarting stepStarting) { m_stepStarting = std::move(stepStarting); }

    /// Runs the chains in order. A store whose version of a module is above the end of its chain was written
    /// by a later release: that fails too, since this release can't know the tables.
    DBMigrationReport run(QList<std::shared_ptr<DBMigrationList>> const& lists);
    DBMigrationReport run(DBMigrationList const& list);

    /// The version the store reached in `moduleName`; 0 when it names none. False, with the reason in
    /// `error`, when it can't be read.
    bool reachedVersion(QString const& moduleName, int& version, QString& error) const;
    /// The same, with 0 for a version that can't be read.
    int reachedVersion(QString const& moduleName) const;

private:
    bool ensureVersionsTable(QString& error);
    bool recordVersion(QString const& moduleName, int version, QString& error);
    /// Runs one chain into `report`; false when it failed.
    bool runList(DBMigrationList const& list, DBMigrationReport& report);

    SqlConnection& m_connection;
    StepStarting m_stepStarting;
};

} // namespace Tessel
