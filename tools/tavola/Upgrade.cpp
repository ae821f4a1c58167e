#include "tools/tavola/Upgrade.hpp"

#include "tools/tavola/LocalSites.hpp"

#include "migrations/DatabaseChains.hpp"
#include "platform/tessel/DBMigrationRunner.hpp"
#include "platform/tessel/DocumentStore.hpp"
#include "platform/tessel/ElementFactory.hpp"
#include "platform/tessel/SqlConnection.hpp"
#include "platform/tessel/StoredDocumentUpgrade.hpp"
#include "platform/tessel/TesselServer.hpp"

#include <QDir>

namespace Tavola {

namespace {

struct UpgradeArguments {
    QString directory;
    QString postgres;
};

bool parse(QStringList const& arguments, UpgradeArguments& parsed, QString& error) {
    for (int i = 0; i < arguments.size(); ++i) {
        QString const& argument = arguments.at(i);
        if (argument == QLatin1String("--postgres")) {
            if (++i == arguments.size()) {
                error = QStringLiteral("--postgres needs a connection string");
                return false;
            }
            parsed.postgres = arguments.at(i);
        } else if (argument.startsWith(QLatin1String("--")) || !parsed.directory.isEmpty()) {
            error = QStringLiteral("unexpected argument '%1'").arg(argument);
            return false;
        } else {
            parsed.directory = argument;
        }
    }
    if (parsed.directory.isEmpty() && parsed.postgres.isEmpty()) {
        error = QStringLiteral("a DIR or --postgres CONNINFO is missing");
        return false;
    }
    if (!parsed.directory.isEmpty() && !QDir(parsed.directory).exists()) {
        error = QStringLiteral("no directory '%1'").arg(parsed.directory);
        return false;
    }
    return true;
}

QString stepsText(std::vector<int> const& steps) {
    if (steps.empty()) {
        return QStringLiteral("nothing to run");
    }
    QStringList numbers;
    for (int step : steps) {
        numbers << QString::number(step);
    }
    return QStringLiteral("steps %1").arg(numbers.join(QLatin1Char(' ')));
}

/// Runs the database chains of the store; false when one failed.
bool upgradeDatabase(UpgradeArguments const& arguments, QTextStream& out, QTextStream& err) {
    QString const assets = arguments.directory.isEmpty()
                               ? QString()
                               : QDir(arguments.directory).filePath(QLatin1String(LocalSites::assetFolder));
    Tessel::SqlConnection connection;
    QList<std::shared_ptr<Tessel::DBMigrationList>> lists;
    if (arguments.postgres.isEmpty()) {
        QString const path =
            QDir(arguments.directory).filePath(QLatin1String(Tessel::JsonDocumentStore::databaseFileName));
        out << "database " << path << " (SQLite)\n";
        connection.openSqlite(path);
        lists = Datamodel::tavolaServerMigrationsSqlite(arguments.directory, assets);
    } else {
        out << "database " << arguments.postgres << " (PostgreSQL)\n";
        connection.openPostgres(arguments.postgres);
        lists = Datamodel::tavolaServerMigrationsPsql(assets);
    }
    out.flush();
    if (!connection.isOpen()) {
        err << "tavola upgrade: " << connection.lastError();
        Qt::endl(err);
        return false;
    }
    Tessel::DBMigrationRunner runner(connection);
    // A step can take long on a big store (step 13 converts every stroke): each says when it starts.
    runner.setStepStarting([&out](Tessel::DBMigration const& step) {
        out << "  running step " << step.version() << " of " << step.moduleName() << "\n";
        out.flush();
    });
    Tessel::DBMigrationReport const report = runner.run(lists);
    for (auto const& module : report.modules) {
        out << "  " << QStringLiteral("%1").arg(module.moduleName, -18) << " version " << module.fromVersion
            << " -> " << module.toVersion << "  (" << stepsText(module.stepsRun) << ")\n";
    }
    out.flush();
    if (report.failed) {
        err << "tavola upgrade: step " << report.failedVersion << " of '" << report.failedModule
            << "' failed, and was rolled back: " << report.error;
        Qt::endl(err);
    }
    return report.succeeded();
}

QString outcomeText(Tessel::StoredDocumentUpgrade const& upgrade) {
    using Outcome = Tessel::StoredDocumentUpgrade::Outcome;
    switch (upgrade.outcome) {
    case Outcome::Upgraded:
        return QStringLiteral("\"%1\" version %2 -> %3  (%4)")
            .arg(QString::fromUtf8(upgrade.documentType))
            .arg(upgrade.fromVersion)
            .arg(upgrade.toVersion)
            .arg(stepsText(upgrade.stepsRun));
    case Outcome::Current:
        return QStringLiteral("\"%1\" version %2, current")
            .arg(QString::fromUtf8(upgrade.documentType))
            .arg(upgrade.toVersion);
    case Outcome::Refused:
        return QStringLiteral("refused, left as it was: %1").arg(upgrade.error);
    case Outcome::Failed:
        return QStringLiteral("failed: %1").arg(upgrade.error);
    }
    return QString();
}

/// Carries every stored document of the directory forward; false when one could not be.
bool upgradeDocuments(QString const& directory, QTextStream& out) {
    QStringList const files = QDir(directory).entryList({QStringLiteral("*.json")}, QDir::Files, QDir::Name);
    out << "documents in " << directory << ": " << files.size() << "\n";
    out.flush();
    LocalSites sites;
    auto const server = sites.makeServer();
    auto const knownType = [&server](QByteArray const& documentType, QByteArray const& typeKey) {
        auto const type = server->documentType(documentType);
        return !type || type->factory->hasKey(typeKey);
    };
    int failures = 0;
    for (int i = 0; i < files.size(); ++i) {
        auto const upgrade = Tessel::upgradeStoredDocument(QDir(directory).filePath(files.at(i)), knownType);
        out << QStringLiteral("  [%1/%2] ").arg(i + 1).arg(files.size()) << files.at(i) << ": "
            << outcomeText(upgrade) << "\n";
        for (QString const& warning : upgrade.warnings) {
            out << "        warning: " << warning << "\n";
        }
        out.flush();
        failures += upgrade.succeeded() ? 0 : 1;
    }
    out << "documents: " << files.size() - failures << " of " << files.size() << " at this release\n";
    return failures == 0;
}

} // namespace

QString upgradeHelp() {
    return QStringLiteral(
        "usage: tavola upgrade DIR [--postgres CONNINFO]\n"
        "\n"
        "Carries a server's store forward to this release. DIR is the server's data directory: its stored\n"
        "documents (*.json), its SQLite file (server.sqlite) and its asset files (assets/).\n"
        "\n"
        "First the database chains run, on server.sqlite, or with --postgres on the PostgreSQL database "
        "that\n"
        "CONNINFO names (for example \"host=/run/postgresql dbname=tavola\"), each step in a transaction:\n"
        "a step that fails is rolled back and stops the run. Then every stored document runs the chain of "
        "its\n"
        "type and is written back whole; a document that can't be carried forward (not JSON, no \"nodes\",\n"
        "stored by a later release, a step that fails) is left as it was, and the others go on.\n"
        "\n"
        "Prints each chain's version before and after and the steps run, then each document with its\n"
        "versions and every warning of its steps. Exits with 1 when anything failed.\n");
}

int runUpgrade(QStringList const& arguments, QTextStream& out, QTextStream& err) {
    UpgradeArguments parsed;
    QString error;
    if (!parse(arguments, parsed, error)) {
        err << "tavola upgrade: " << error << " (see tavola upgrade --help)";
        Qt::endl(err);
        return 2;
    }
    if (!upgradeDatabase(parsed, out, err)) {
        return 1;
    }
    bool const documentsUpgraded = parsed.directory.isEmpty() || upgradeDocuments(parsed.directory, out);
    out.flush();
    return documentsUpgraded ? 0 : 1;
}

} // namespace Tavola
