#include "migrations/AnnotationDatabaseMigration.hpp"

#include "platform/cobalt/Trace.hpp"
#include "platform/sienna/SplineManagerPath.hpp"
#include "platform/tessel/PreparedSqlQueries.hpp"
#include "platform/tessel/SqlConnection.hpp"

#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace Datamodel {

namespace {

// The schema as it was when this step was written.
QStringList const& typeAndColumnCommands() {
    static QStringList const s_commands{
        QStringLiteral(
            "CREATE TYPE bezier_node AS ( ctrl_inx real, ctrl_iny real, ctrl_inz real, pointx real, "
            "pointy real, pointz real, ctrl_outx real, ctrl_outy real, ctrl_outz real )"),
        QStringLiteral("ALTER TABLE tavola_annotations RENAME COLUMN points TO points_old"),
        QStringLiteral("ALTER TABLE tavola_annotations ADD COLUMN points bezier_node[]"),
    };
    return s_commands;
}

QString const& updateStatement() {
    static QString const s_update =
        QStringLiteral("UPDATE tavola_annotations SET points = :points WHERE id = :id");
    return s_update;
}

QString const& selectStatement() {
    static QString const s_select =
        QStringLiteral("SELECT id, line_width, points_old FROM tavola_annotations");
    return s_select;
}

/// The pairs of numbers in the text form of an old "points" value, whatever its brackets.
QList<Fathom::Vector2T<float>> pointsOf(QString const& text) {
    static QRegularExpression const s_pair(QStringLiteral("([\\d\\.-]+),([\\d\\.-]+)"));
    QList<Fathom::Vector2T<float>> points;
    auto matches = s_pair.globalMatch(text);
    while (matches.hasNext()) {
        QRegularExpressionMatch const match = matches.next();
        points.append(Fathom::Vector2T<float>(match.captured(1).toFloat(), match.captured(2).toFloat()));
    }
    return points;
}

/// The text form of a "bezier_node[]" value: {"(ctrl_inx,...,ctrl_outz)",...}, each number as
/// `QString::arg` writes a double by default, with six significant digits.
QString bezierArrayLiteral(std::vector<Sienna::BezierNode> const& nodes) {
    QString literal = QStringLiteral("{");
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        Sienna::BezierNode const& node = nodes[i];
        QString entry = QStringLiteral("%1\"(%2,%3,%4,%5,%6,%7,%8,%9,%10)\"")
                            .arg(i == 0 ? QString() : QStringLiteral(","));
        for (float value : {node.ctrlIn.x, node.ctrlIn.y, node.ctrlIn.z, node.point.x, node.point.y,
                            node.point.z, node.ctrlOut.x, node.ctrlOut.y, node.ctrlOut.z}) {
            entry = entry.arg(static_cast<double>(value), 0, 'g', -1, QLatin1Char(' '));
        }
        literal += entry;
    }
    return literal + QStringLiteral("}");
}

} // namespace

bool VaryingWidthAnnotationPSQLMigration::migrate(Tessel::SqlConnection& connection) {
    auto const failWith = [&](QString reason) {
        connection.rollback();
        setLastError(std::move(reason));
        return false;
    };
    if (!connection.begin()) {
        Cobalt::Trace::error("VaryingWidthAnnotationPSQLMigration # Failed to start transaction");
        setLastError(QStringLiteral("Failed to start transaction: %1").arg(connection.lastError()));
        return false;
    }
    QByteArray const module = moduleName().toUtf8();
    QString error;
    if (!Tessel::DBMigrationCore::applyCommands(connection, typeAndColumnCommands(), module, &error)) {
        return failWith(error);
    }

    QSqlQuery update(connection.database());
    update.prepare(updateStatement());
    // Not forward only: the driver then holds every row before the updates and deletions run on the same
    // connection.
    QSqlQuery select(connection.database());
    if (!select.exec(selectStatement())) {
        QString const reason = select.lastError().text();
        Cobalt::Trace::error("VaryingWidthAnnotationPSQLMigration # Failed: \"%s\" (%s)",
                             qUtf8Printable(selectStatement()), qUtf8Printable(reason));
        return failWith(QStringLiteral("\"%1\" failed: %2").arg(selectStatement(), reason));
    }
    Tessel::PreparedSqlQueries queries(connection);
    auto const execute = [&](QSqlQuery& query) {
        if (query.exec()) {
            return true;
        }
        QString const reason = query.lastError().text();
        Cobalt::Trace::error("VaryingWidthAnnotationPSQLMigration # Cannot execute SQL query: \"%s\" (%s)",
                             qUtf8Printable(query.lastQuery()), qUtf8Printable(reason));
        error = QStringLiteral("Cannot execute \"%1\": %2").arg(query.lastQuery(), reason);
        return false;
    };
    while (select.next()) {
        QString const id = select.value(0).toString();
        float const lineWidth = select.value(1).toFloat();
        auto const nodes =
            Sienna::convertSplineManagerPath2D(pointsOf(select.value(2).toString()), lineWidth, true);
        if (!nodes) {
            Cobalt::Trace::info("Deleting invalid/empty annotation stroke %s", qUtf8Printable(id));
            QSqlQuery& deletion = queries.deleteFromNodes();
            deletion.bindValue(QStringLiteral(":id"), id);
            if (!execute(deletion)) {
                return failWith(error);
            }
            continue;
        }
        update.bindValue(QStringLiteral(":points"), bezierArrayLiteral(*nodes));
        update.bindValue(QStringLiteral(":id"), id);
        if (!execute(update)) {
            return failWith(error);
        }
    }
    if (!Tessel::DBMigrationCore::applyCommands(
            connection, {QStringLiteral("ALTER TABLE tavola_annotations DROP COLUMN points_old")}, module,
            &error)) {
        return failWith(error);
    }
    if (!connection.commit()) {
        setLastError(connection.lastError());
        return false;
    }
    return true;
}

} // namespace Datamodel
