// The chains registered when the library loads, and an old stored canvas carried through the whole of its
// chain, live.

#include "tests/support/LiveSites.hpp"

#include "canvas/Annotation.hpp"
#include "canvas/Note.hpp"
#include "client/ClientState.hpp"
#include "client/EmblemFolder.hpp"
#include "index/ServerIndex.hpp"
#include "migrations/AnnotationMigrations.hpp"
#include "migrations/GeometryMigrations.hpp"
#include "migrations/MigrationChains.hpp"
#include "migrations/StoredForm.hpp"
#include "platform/tessel/StoredDocument.hpp"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <typeindex>

using Datamodel::SharedCanvas;
using Tessel::JSONMigrations;

namespace {

QJsonObject attribute(QString const& name, std::initializer_list<float> singles) {
    return QJsonObject{{"name", name},
                       {"value", QString::fromLatin1(Datamodel::singlesBytes(singles).toBase64())}};
}

/// A canvas as a release of chain version 5 stored it: a stroke under a container, its points one string
/// each, and a note whose box didn't include its padding yet.
QJsonObject canvasOfVersion5() {
    QJsonArray points;
    points.append(QString::fromLatin1(Datamodel::singlesBytes({10.0f, 20.0f}).toBase64()));
    QJsonArray const nodes{
        QJsonObject{{"id", "canvas"}, {"type", "tavola_shared_canvas"}, {"attributes", QJsonArray{}}},
        QJsonObject{{"id", "box"}, {"parentId", "canvas"}, {"type", "tavola_annotation_container"}},
        QJsonObject{{"id", "stroke"},
                    {"parentId", "box"},
                    {"type", "tavola_annotation"},
                    {"attributes", QJsonArray{attribute("line-width", {4.0f}),
                                              QJsonObject{{"name", "points"}, {"values", points}},
                                              attribute("finished", {1.0f})}}},
        QJsonObject{
            {"id", "note"},
            {"parentId", "canvas"},
            {"type", "tavola_note"},
            {"attributes", QJsonArray{attribute("location", {100, 100}), attribute("size", {200, 150})}}},
    };
    return QJsonObject{{"nodes", nodes}, {"versions", QJsonObject{{"kx-tavola", 5}}}};
}

} // namespace

TEST(MigrationChains, TheCanvasChainHasItsThirtyTwoStepsWithTheRewritesAtTheirNumbers) {
    auto const chain = JSONMigrations::instance().migrationList(SharedCanvas::documentType());
    ASSERT_NE(chain, nullptr) << "loading the library registers the chain";
    ASSERT_EQ(chain->lastVersion(), 32);
    std::map<int, std::type_index> const rewrites{
        {6, typeid(Datamodel::AnnotationJSONMigration)},
        {7, typeid(Datamodel::TableCellSizeMigration)},
        {8, typeid(Datamodel::VectorContainerJSONMigration)},
        {9, typeid(Datamodel::VaryingWidthAnnotationJSONMigration)},
        {16, typeid(Datamodel::NotePaddingJSONMigration)},
        {18, typeid(Datamodel::AnchorOriginJSONMigration)},
        {20, typeid(Datamodel::TableBorderJSONMigration)},
        {21, typeid(Datamodel::BrokenNoteSizeJSONMigration)},
    };
    for (auto const& step : chain->migrations()) {
        auto const rewrite = rewrites.find(step->version());
        std::type_index const expected =
            rewrite == rewrites.end() ? std::type_index(typeid(Tessel::JSONEmptyMigration)) : rewrite->second;
        EXPECT_EQ(std::type_index(typeid(*step)), expected) << "step " << step->version();
    }
}

TEST(MigrationChains, TheEmblemChainHasFourEmptyStepsAndTheOtherTypesNone) {
    auto const emblem = JSONMigrations::instance().migrationList(Datamodel::EmblemActionMap::documentType());
    ASSERT_NE(emblem, nullptr);
    EXPECT_EQ(emblem->lastVersion(), 4);
    for (auto const& step : emblem->migrations()) {
        EXPECT_EQ(std::type_index(typeid(*step)), std::type_index(typeid(Tessel::JSONEmptyMigration)));
    }
    for (QByteArray const& type :
         {Datamodel::ClientState::documentType(), Datamodel::EmblemFolder::documentType(),
          Datamodel::ServerIndex::documentType()}) {
        EXPECT_EQ(JSONMigrations::instance().migrationList(type), nullptr)
            << type.constData() << " has no chain";
    }
}

TEST(MigrationChains, ADocumentWithoutNodesPassesEveryStepUnchanged) {
    for (QJsonObject const& original : {QJsonObject{}, QJsonObject{{"nodes", QJsonArray{}}}}) {
        QJsonObject document = original;
        Tessel::JSONMigrationReport const report =
            JSONMigrations::instance().migrate(SharedCanvas::documentType(), document);
        EXPECT_TRUE(report.stepsFailed.empty()) << "each step returns true";
        EXPECT_EQ(report.stepsRun.size(), 32u);
        document.remove("versions");
        EXPECT_EQ(document, original);
    }
}

TEST(MigrationChains, NodesWithoutAttributesPassTheWholeChain) {
    QJsonArray nodes;
    for (char const* type : {"tavola_note", "tavola_anchor", "tavola_table", "tavola_annotation"}) {
        nodes.append(QJsonObject{{"id", type}, {"type", type}});
    }
    QJsonObject document{{"nodes", nodes}};
    Tessel::JSONMigrationReport const report =
        JSONMigrations::instance().migrate(SharedCanvas::documentType(), document);
    EXPECT_TRUE(report.stepsFailed.empty());
    EXPECT_EQ(report.toVersion, 32);
}

TEST(MigrationChains, ACanvasOfVersionFiveComesForwardWhole) {
    QJsonObject document = canvasOfVersion5();
    Tessel::JSONMigrationReport const report =
        JSONMigrations::instance().migrate(SharedCanvas::documentType(), document);
    EXPECT_EQ(report.fromVersion, 5);
    EXPECT_EQ(report.toVersion, 32);
    EXPECT_EQ(JSONMigrations::reachedVersion(document, SharedCanvas::documentType()), 32);

    QJsonArray const nodes = document.value("nodes").toArray();
    ASSERT_EQ(nodes.size(), 3) << "the container is gone";
    QJsonObject const stroke = nodes.at(1).toObject();
    EXPECT_EQ(stroke.value("parentId").toString(), QStringLiteral("canvas"));
    QJsonArray const strokeAttributes = stroke.value("attributes").toArray();
    ASSERT_EQ(strokeAttributes.size(), 2) << "line-width and points; finished is gone";
    QJsonObject const points = strokeAttributes.at(1).toObject();
    EXPECT_EQ(points.value("size").toInt(), 1) << "one point became one node";
    EXPECT_EQ(Datamodel::storedBytes(points.value("values")),
              Datamodel::singlesBytes({10, 20, 2, 10, 20, 2, 10, 20, 2}));
    QJsonArray const noteAttributes = nodes.at(2).toObject().value("attributes").toArray();
    EXPECT_EQ(Datamodel::storedBytes(noteAttributes.at(0).toObject().value("value")),
              Datamodel::singlesBytes({70, 70}));
    EXPECT_EQ(Datamodel::storedBytes(noteAttributes.at(1).toObject().value("value")),
              Datamodel::singlesBytes({260, 210}));
}

TEST(MigrationChains, AServerOpensAnOldStoredCanvasAsTheCurrentReleaseHasIt) {
    QTemporaryDir directory;
    ASSERT_TRUE(directory.isValid());
    QString error;
    ASSERT_TRUE(Tessel::StoredDocument::write(QDir(directory.path()).filePath("canvas.json"),
                                              canvasOfVersion5(), error));
    TestSupport::LiveSites sites(QStringLiteral("26.07.5"), nullptr, directory.path());
    auto& a = sites.join("a");

    auto* note = dynamic_cast<Datamodel::Note*>(a.canvas().attribute("note"));
    ASSERT_NE(note, nullptr);
    EXPECT_EQ(note->location.value(), Fathom::Vector2T<float>(70, 70));
    EXPECT_EQ(note->size.value(), Fathom::SizeT<float>(260, 210));
    auto* stroke = dynamic_cast<Datamodel::Annotation*>(a.canvas().attribute("stroke"));
    ASSERT_NE(stroke, nullptr) << "the stroke hangs from the canvas now";
    EXPECT_EQ(stroke->points.size(), 1u);
}
