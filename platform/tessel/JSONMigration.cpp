#include "platform/tessel/JSONMigration.hpp"

#include "platform/cobalt/Trace.hpp"

#include <exception>

namespace Tessel {

namespace {

void setReachedVersion(QJsonObject& document, QByteArray const& documentType, int version) {
    QJsonObject versions = document.value(QLatin1String(JSONMigrations::versionsKey)).toObject();
    versions.insert(QString::fromUtf8(documentType), version);
    document.insert(QLatin1String(JSONMigrations::versionsKey), versions);
}

} // namespace

JSONMigration::~JSONMigration() = default;

bool JSONEmptyMigration::migrate(QJsonObject&, QJsonObject&) {
    return true;
}

void JSONMigrationList::append(std::shared_ptr<JSONMigration> migration) {
    if (!migration || migration->version() != lastVersion() + 1) {
        Cobalt::Trace::error("JSONMigrationList::append # Step %d of '%s' doesn't follow step %d; dropped",
                             migration ? migration->version() : 0, m_documentType.constData(), lastVersion());
        return;
    }
    m_migrations.push_back(std::move(migration));
}

JSONMigrations& JSONMigrations::instance() {
    static JSONMigrations migrations;
    return migrations;
}

void JSONMigrations::addMigrationList(QByteArray const& documentType,
                                      std::shared_ptr<JSONMigrationList> list) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lists[documentType] = std::move(list);
}

std::shared_ptr<JSONMigrationList> JSONMigrations::migrationList(QByteArray const& documentType) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto const found = m_lists.find(documentType);
    return found == m_lists.end() ? nullptr : found->second;
}

int JSONMigrations::reachedVersion(QJsonObject const& document, QByteArray const& documentType) {
    return document.value(QLatin1String(versionsKey))
        .toObject()
        .value(QString::fromUtf8(documentType))
        .toInt(0);
}

JSONMigrationReport JSONMigrations::migrate(QByteArray const& documentType, QJsonObject& document) const {
    JSONMigrationReport report;
    report.fromVersion = reachedVersion(document, documentType);
    report.toVersion = report.fromVersion;
    std::shared_ptr<JSONMigrationList> const list = migrationList(documentType);
    if (!list) {
        return report;
    }
    QJsonObject context;
    for (auto const& step : list->migrations()) {
        if (step->version() <= report.fromVersion) {
            continue;
        }
        bool migrated = false;
        try {
            migrated = step->migrate(context, document);
            if (!migrated) {
                Cobalt::Trace::warning("JSONMigrations::migrate # Step %d of '%s' did not succeed; going on",
                                       step->version(), documentType.constData());
            }
        } catch (std::exception const& failure) {
            Cobalt::Trace::error("JSONMigrations::migrate # Step %d of '%s' failed: %s", step->version(),
                                 documentType.constData(), failure.what());
        }
        (migrated ? report.stepsRun : report.stepsFailed).push_back(step->version());
        report.toVersion = step->version();
    }
    setReachedVersion(document, documentType, report.toVersion);
    return report;
}

void JSONMigrations::markCurrent(QByteArray const& documentType, QJsonObject& document) const {
    if (std::shared_ptr<JSONMigrationList> const list = migrationList(documentType)) {
        setReachedVersion(document, documentType, list->lastVersion());
    }
}

} // namespace Tessel
