#include "platform/tessel/StoredDocumentUpgrade.hpp"

#include "platform/cobalt/TraceCapture.hpp"
#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/StoredDocument.hpp"

#include <QJsonArray>
#include <QJsonObject>

namespace Tessel {

namespace {

constexpr char s_documentTypeKey[] = "documentType";

using Outcome = StoredDocumentUpgrade::Outcome;

StoredDocumentUpgrade& finish(StoredDocumentUpgrade& upgrade, Outcome outcome, QString error = QString()) {
    upgrade.outcome = outcome;
    upgrade.error = std::move(error);
    return upgrade;
}

/// A warning for each node whose type `knownType` doesn't know.
QStringList unknownTypes(QJsonArray const& nodes, QByteArray const& documentType,
                         KnownElementType const& knownType) {
    QStringList warnings;
    if (!knownType) {
        return warnings;
    }
    for (QJsonValue const& value : nodes) {
        QJsonObject const node = value.toObject();
        QByteArray const type = node.value(QStringLiteral("type")).toString().toUtf8();
        if (!knownType(documentType, type)) {
            warnings << QStringLiteral(
                            "Node '%1' has the type '%2', which a document of type '%3' doesn't know; "
                            "it is carried along unchanged")
                            .arg(node.value(QStringLiteral("id")).toString(), QString::fromUtf8(type),
                                 QString::fromUtf8(documentType));
        }
    }
    return warnings;
}

} // namespace

StoredDocumentUpgrade upgradeStoredDocument(QString const& path, KnownElementType const& knownType) {
    StoredDocumentUpgrade upgrade;
    upgrade.path = path;
    QJsonObject stored;
    QString error;
    if (!StoredDocument::read(path, stored, error)) {
        return finish(upgrade, Outcome::Refused, error);
    }
    QJsonValue const nodes = stored.value(QStringLiteral("nodes"));
    if (!nodes.isArray()) {
        return finish(upgrade, Outcome::Refused, QStringLiteral("'%1' has no \"nodes\" array").arg(path));
    }
    upgrade.documentType = stored.value(QLatin1String(s_documentTypeKey)).toString().toUtf8();
    if (upgrade.documentType.isEmpty()) {
        return finish(upgrade, Outcome::Refused, QStringLiteral("'%1' names no document type").arg(path));
    }
    upgrade.fromVersion = JSONMigrations::reachedVersion(stored, upgrade.documentType);
    upgrade.toVersion = upgrade.fromVersion;
    auto const chain = JSONMigrations::instance().migrationList(upgrade.documentType);
    int const lastVersion = chain ? chain->lastVersion() : 0;
    if (upgrade.fromVersion > lastVersion) {
        return finish(upgrade, Outcome::Refused,
                      QStringLiteral("'%1' is at version %2 of '%3', newer than this release knows (%4)")
                          .arg(path)
                          .arg(upgrade.fromVersion)
                          .arg(QString::fromUtf8(upgrade.documentType))
                          .arg(lastVersion));
    }
    if (upgrade.fromVersion == lastVersion) {
        upgrade.warnings = unknownTypes(nodes.toArray(), upgrade.documentType, knownType);
        return finish(upgrade, Outcome::Current);
    }

    Cobalt::TraceCapture logged;
    JSONMigrationReport const report = JSONMigrations::instance().migrate(upgrade.documentType, stored);
    upgrade.warnings << logged.messages();
    // Types are judged on the document as this release reads it: steps take away types of old releases.
    upgrade.warnings << unknownTypes(stored.value(QStringLiteral("nodes")).toArray(), upgrade.documentType,
                                     knownType);
    if (!report.stepsFailed.empty()) {
        return finish(upgrade, Outcome::Failed,
                      QStringLiteral("Step %1 of '%2' failed; '%3' was left as it was")
                          .arg(report.stepsFailed.front())
                          .arg(QString::fromUtf8(upgrade.documentType), path));
    }
    if (!StoredDocument::write(path, stored, error)) {
        return finish(upgrade, Outcome::Failed, error);
    }
    upgrade.stepsRun = report.stepsRun;
    upgrade.toVersion = report.toVersion;
    return finish(upgrade, Outcome::Upgraded);
}

} // namespace Tessel
