// Stored documents carried forward.
// - The whole JSON chain of a canvas of 100 000 nodes stored by release 5 (strokes in containers with one
//   string per point, notes, anchors and tables in the old geometry): parse, every step, write. Baseline:
//   parsing and writing the same document with QJsonDocument. CPU time.
// - Step 13 of the data model in PostgreSQL over 100 000 old strokes, a tenth of them no path. Baseline:
//   the same rows read and updated one by one, in one transaction, without converting anything. Wall-clock
//   time of the step alone, on a database made fresh for each run.

#include "bench/BenchReporting.hpp"
#include "tests/support/PostgresTestDatabase.hpp"

#include "canvas/SharedCanvas.hpp"
#include "migrations/AnnotationDatabaseMigration.hpp"
#include "migrations/DatabaseChains.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/DBMigrationRunner.hpp"
#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/SqlConnection.hpp"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kNodes = 100000;
constexpr int kStrokes = 100000;
constexpr int kStrokesPerContainer = 100;

std::map<std::string, std::vector<double>> g_seconds;

QString base64Floats(std::initializer_list<float> values) {
    QByteArray bytes;
    for (float value : values) {
        bytes.append(reinterpret_cast<char const*>(&value), sizeof value);
    }
    return QString::fromLatin1(bytes.toBase64());
}

QJsonObject value(char const* name, QString const& base64) {
    return QJsonObject{{QStringLiteral("name"), QLatin1String(name)}, {QStringLiteral("value"), base64}};
}

QJsonObject node(QString const& id, QString const& parent, char const* type, QJsonArray attributes) {
    return QJsonObject{{QStringLiteral("id"), id},
                       {QStringLiteral("parentId"), parent},
                       {QStringLiteral("type"), QLatin1String(type)},
                       {QStringLiteral("attributes"), attributes}};
}

/// A canvas of `kNodes` nodes as release 5 stored it: a quarter each of strokes (in containers of
/// `kStrokesPerContainer`), notes, anchors and tables.
QByteArray releaseFiveCanvas() {
    QJsonArray nodes{QJsonObject{{QStringLiteral("id"), QStringLiteral("canvas")},
                                 {QStringLiteral("type"), QStringLiteral("tavola_shared_canvas")},
                                 {QStringLiteral("attributes"), QJsonArray()}}};
    QJsonArray const points{base64Floats({10, 20}), base64Floats({15, 25}), base64Floats({25, 25}),
                            base64Floats({30, 20})};
    QString const location = base64Floats({100, 100});
    QString const size = base64Floats({200, 150});
    QString const scale = base64Floats({2});
    QString container;
    for (int i = 0; nodes.size() < kNodes; ++i) {
        QString const id = QStringLiteral("n%1").arg(i);
        switch (i % 4) {
        case 0:
            if ((i / 4) % kStrokesPerContainer == 0) {
                container = id + QStringLiteral("c");
                nodes.append(node(container, QStringLiteral("canvas"), "tavola_annotation_container", {}));
            }
            nodes.append(node(id, container, "tavola_annotation",
                              {value("line-width", base64Floats({4})),
                               QJsonObject{{QStringLiteral("name"), QStringLiteral("points")},
                                           {QStringLiteral("values"), points}},
                               value("finished", QStringLiteral("AQ=="))}));
            break;
        case 1:
            nodes.append(node(id, QStringLiteral("canvas"), "tavola_note",
                              {value("location", location), value("size", size)}));
            break;
        case 2:
            nodes.append(node(id, QStringLiteral("canvas"), "tavola_anchor",
                              {value("location", location), value("size", size), value("scale", scale)}));
            break;
        default:
            nodes.append(node(id, QStringLiteral("canvas"), "tavola_table",
                              {value("location", location), value("size", size), value("scale", scale),
                               value("grid-size", QStringLiteral("AwAAAAIAAAA="))}));
        }
    }
    QJsonObject const canvas{
        {QStringLiteral("documentType"), QString::fromUtf8(Datamodel::SharedCanvas::documentType())},
        {QStringLiteral("versions"),
         QJsonObject{{QString::fromUtf8(Datamodel::SharedCanvas::documentType()), 5}}},
        {QStringLiteral("nodes"), nodes}};
    return QJsonDocument(canvas).toJson(QJsonDocument::Compact);
}

QByteArray const& storedCanvas() {
    static QByteArray const s_canvas = releaseFiveCanvas();
    return s_canvas;
}

void parseAndWrite(benchmark::State& state) {
    for (auto _ : state) {
        QJsonObject const document = QJsonDocument::fromJson(storedCanvas()).object();
        benchmark::DoNotOptimize(QJsonDocument(document).toJson(QJsonDocument::Compact));
    }
}

/// The steps alone, timed around the chain: parsing before and writing after are not counted.
void wholeJsonChain(benchmark::State& state) {
    for (auto _ : state) {
        QJsonObject document = QJsonDocument::fromJson(storedCanvas()).object();
        auto const start = Clock::now();
        auto const report =
            Tessel::JSONMigrations::instance().migrate(Datamodel::SharedCanvas::documentType(), document);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        if (report.toVersion != 32 || !report.stepsFailed.empty()) {
            state.SkipWithError("the chain did not reach version 32");
        }
        benchmark::DoNotOptimize(QJsonDocument(document).toJson(QJsonDocument::Compact));
    }
}

/// Reading, carrying forward and writing back: what an upgrade of the stored file costs.
void readChainAndWrite(benchmark::State& state) {
    for (auto _ : state) {
        QJsonObject document = QJsonDocument::fromJson(storedCanvas()).object();
        Tessel::JSONMigrations::instance().migrate(Datamodel::SharedCanvas::documentType(), document);
        benchmark::DoNotOptimize(QJsonDocument(document).toJson(QJsonDocument::Compact));
    }
}

/// A database at version 12 of the data model holding `kStrokes` old strokes, a tenth of them of two
/// points, which is no path.
class OldStrokes {
public:
    OldStrokes() {
        if (!m_database.isReady()) {
            throw std::runtime_error(m_database.error().toStdString());
        }
        if (!m_connection.openPostgres(m_database.connectionInfo())) {
            throw std::runtime_error(m_connection.lastError().toStdString());
        }
        auto lists = Datamodel::tavolaServerMigrationsPsql(QString());
        QList<std::shared_ptr<Tessel::DBMigrationList>> const older{lists[0], lists[1], lists[2],
                                                                    lists[3]->upTo(12)};
        auto const report = Tessel::DBMigrationRunner(m_connection).run(older);
        if (!report.succeeded()) {
            throw std::runtime_error(report.error.toStdString());
        }
        run(QStringLiteral(
            "INSERT INTO documents (id, type, created, modified) VALUES ('canvas', 'kx-tavola', 0, 0)"));
        run(QStringLiteral(
                "INSERT INTO nodes (id, document_id, type, name) SELECT md5(i::text)::uuid, 'canvas', "
                "'tavola_annotation', 'stroke' || i FROM generate_series(1, %1) AS i")
                .arg(kStrokes));
        run(QStringLiteral(
                "INSERT INTO tavola_annotations (id, line_width, points) SELECT md5(i::text)::uuid, 3, "
                "CASE WHEN i % 10 = 0 THEN '{\"(0,0)\",\"(1,1)\"}'::point[] ELSE "
                "'{\"(0,0)\",\"(1,1)\",\"(2,1)\",\"(3,0)\",\"(3.5,-2)\",\"(5,1)\",\"(6,0)\"}'::point[] END "
                "FROM generate_series(1, %1) AS i")
                .arg(kStrokes));
    }

    Tessel::SqlConnection& connection() { return m_connection; }

    void run(QString const& statement) {
        QString error;
        if (!m_connection.exec(statement, error)) {
            throw std::runtime_error(error.toStdString());
        }
    }

private:
    TestSupport::PostgresTestDatabase m_database;
    Tessel::SqlConnection m_connection;
};

/// Times `work` on a fresh database of old strokes, in one transaction.
template <typename Work>
void timeOnOldStrokes(benchmark::State& state, char const* figure, Work const& work) {
    for (auto _ : state) {
        try {
            OldStrokes strokes;
            auto const start = Clock::now();
            if (!strokes.connection().begin()) {
                throw std::runtime_error(strokes.connection().lastError().toStdString());
            }
            work(strokes.connection());
            if (!strokes.connection().commit()) {
                throw std::runtime_error(strokes.connection().lastError().toStdString());
            }
            double const seconds = std::chrono::duration<double>(Clock::now() - start).count();
            state.SetIterationTime(seconds);
            g_seconds[figure].push_back(seconds);
        } catch (std::exception const& failure) {
            state.SkipWithError(failure.what());
            return;
        }
    }
}

void convertOldStrokes(benchmark::State& state) {
    timeOnOldStrokes(state, "convert", [](Tessel::SqlConnection& connection) {
        Datamodel::VaryingWidthAnnotationPSQLMigration step(QStringLiteral("tavola_data_model"), 13);
        if (!step.migrate(connection)) {
            throw std::runtime_error(step.lastError().toStdString());
        }
    });
}

void updateRowsOneByOne(benchmark::State& state) {
    timeOnOldStrokes(state, "update", [](Tessel::SqlConnection& connection) {
        QSqlQuery update(connection.database());
        update.prepare(QStringLiteral("UPDATE tavola_annotations SET line_width = :width WHERE id = :id"));
        QSqlQuery select(connection.database());
        if (!select.exec(QStringLiteral("SELECT id, line_width, points FROM tavola_annotations"))) {
            throw std::runtime_error(select.lastError().text().toStdString());
        }
        while (select.next()) {
            update.bindValue(QStringLiteral(":width"), select.value(1).toFloat());
            update.bindValue(QStringLiteral(":id"), select.value(0).toString());
            if (!update.exec()) {
                throw std::runtime_error(update.lastError().text().toStdString());
            }
        }
    });
}

BENCHMARK(parseAndWrite)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(wholeJsonChain)->Unit(benchmark::kMillisecond)->Iterations(3)->UseManualTime();
BENCHMARK(readChainAndWrite)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(updateRowsOneByOne)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(convertOldStrokes)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

void printStrokeFigures() {
    double const convert = BenchReporting::median(g_seconds["convert"]);
    double const update = BenchReporting::median(g_seconds["update"]);
    if (convert <= 0 || update <= 0) {
        std::printf("strokes in PostgreSQL: not measured in this run\n");
        return;
    }
    std::printf("step 13 over %d old strokes: %.0f ms, %.0f rows per second\n", kStrokes, convert * 1e3,
                kStrokes / convert);
    std::printf("the same rows updated one by one: %.0f ms, %.0f rows per second\n", update * 1e3,
                kStrokes / update);
    std::printf("ratio step 13 / rows updated one by one = %.2fx\n", convert / update);
}

} // namespace

int main(int argc, char** argv) {
    // Step 13 tells of every stroke it deletes; ten thousand lines would drown the figures.
    Cobalt::Trace::setMaximumLevel(Cobalt::Trace::LEVEL_WARNING);
    benchmark::Initialize(&argc, argv);
    BenchReporting::RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\ncanvas of %d nodes stored by release 5, %d bytes of JSON\n", kNodes,
                static_cast<int>(storedCanvas().size()));
    BenchReporting::printRatio(reporter, "wholeJsonChain", "parseAndWrite", 2);
    std::printf("(reading, the chain and writing together: see readChainAndWrite)\n");
    printStrokeFigures();
    benchmark::Shutdown();
    return 0;
}
