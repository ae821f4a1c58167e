// The steps that carried stored strokes forward: containers removed, lists made one blob, points made
// Bezier nodes.

#include "migrations/AnnotationMigrations.hpp"
#include "migrations/StoredForm.hpp"
#include "tests/support/ExceptionMessage.hpp"

#include <gtest/gtest.h>

#include <cstring>

using Datamodel::storedBytes;

namespace {

QJsonObject node(QString const& id, QString const& parent, QString const& type, QJsonArray attributes = {}) {
    return QJsonObject{{"id", id}, {"parentId", parent}, {"type", type}, {"attributes", attributes}};
}

QJsonObject singleAttribute(QString const& name, QByteArray const& bytes) {
    return QJsonObject{{"name", name}, {"value", QString::fromLatin1(bytes.toBase64())}};
}

/// A "points" attribute in the form of step 8: one blob of two-float points.
QJsonObject pointsAttribute(std::initializer_list<float> coordinates, int size) {
    return QJsonObject{{"name", "points"},
                       {"values", QString::fromLatin1(Datamodel::singlesBytes(coordinates).toBase64())},
                       {"size", size}};
}

QJsonObject documentOf(QJsonArray nodes) {
    return QJsonObject{{"nodes", nodes}};
}

QJsonObject nodeAt(QJsonObject const& document, int index) {
    return document.value("nodes").toArray().at(index).toObject();
}

QStringList attributeNames(QJsonObject const& node) {
    QStringList names;
    for (QJsonValue const& attribute : node.value("attributes").toArray()) {
        names << attribute.toObject().value("name").toString();
    }
    return names;
}

template <typename Migration>
QJsonObject migrated(QJsonObject document) {
    QJsonObject context;
    EXPECT_TRUE(Migration().migrate(context, document)) << "every step returns true";
    return document;
}

} // namespace

TEST(AnnotationJSONMigration, StrokesMoveToWhereTheirContainerHungAndTheContainerGoes) {
    QJsonObject const document = migrated<Datamodel::AnnotationJSONMigration>(documentOf(
        {node("canvas", "", "tavola_shared_canvas"), node("box", "canvas", "tavola_annotation_container"),
         node("stroke", "box", "tavola_annotation"), node("note", "box", "tavola_note")}));
    QJsonArray const nodes = document.value("nodes").toArray();
    ASSERT_EQ(nodes.size(), 3) << "the container is gone";
    EXPECT_EQ(nodeAt(document, 1).value("id").toString(), QStringLiteral("stroke"));
    EXPECT_EQ(nodeAt(document, 1).value("parentId").toString(), QStringLiteral("canvas"));
    EXPECT_EQ(nodeAt(document, 2).value("parentId").toString(), QStringLiteral("box"))
        << "only strokes are moved";
}

TEST(AnnotationJSONMigration, AContainerInAContainerResolvesOneLevelOnly) {
    QJsonObject const document = migrated<Datamodel::AnnotationJSONMigration>(
        documentOf({node("outer", "canvas", "tavola_annotation_container"),
                    node("inner", "outer", "tavola_annotation_container"),
                    node("stroke", "inner", "tavola_annotation")}));
    ASSERT_EQ(document.value("nodes").toArray().size(), 1);
    EXPECT_EQ(nodeAt(document, 0).value("parentId").toString(), QStringLiteral("outer"))
        << "the map is applied once";
}

TEST(AnnotationJSONMigration, AStrokeLosesTheAttributesNobodyReads) {
    QJsonArray const attributes{singleAttribute("finished", "\x01"), singleAttribute("line-width", "abcd"),
                                singleAttribute("line-depth", "abcd"),
                                singleAttribute("line-points-minimum-distance", "abcd")};
    QJsonObject const document = migrated<Datamodel::AnnotationJSONMigration>(
        documentOf({node("stroke", "canvas", "tavola_annotation", attributes),
                    node("note", "canvas", "tavola_note", attributes)}));
    EXPECT_EQ(attributeNames(nodeAt(document, 0)), QStringList{QStringLiteral("line-width")});
    EXPECT_EQ(attributeNames(nodeAt(document, 1)).size(), 4) << "other types keep theirs";
}

TEST(VectorContainerJSONMigration, ValuesStoredOneByOneBecomeOneBlobWithTheirCount) {
    QJsonArray const perValue{QString::fromLatin1(QByteArray("abcd").toBase64()),
                              QString::fromLatin1(QByteArray("efgh").toBase64())};
    QJsonObject const document = migrated<Datamodel::VectorContainerJSONMigration>(
        documentOf({node("table", "canvas", "tavola_table",
                         {QJsonObject{{"name", "column-widths"}, {"values", perValue}},
                          QJsonObject{{"name", "row-heights"}, {"values", QJsonArray{}}}})}));
    QJsonArray const attributes = nodeAt(document, 0).value("attributes").toArray();
    EXPECT_EQ(storedBytes(attributes.at(0).toObject().value("values")), QByteArray("abcdefgh"));
    EXPECT_EQ(attributes.at(0).toObject().value("size").toInt(), 2);
    EXPECT_EQ(attributes.at(1).toObject().value("values").toString(), QStringLiteral(""))
        << "an empty array becomes an empty string";
    EXPECT_EQ(attributes.at(1).toObject().value("size").toInt(-1), 0);
}

TEST(VectorContainerJSONMigration, AListAlreadyStoredAsOneStringPassesUntouched) {
    QJsonObject const original =
        documentOf({node("stroke", "canvas", "tavola_annotation",
                         {QJsonObject{{"name", "points"}, {"values", "AAAA"}, {"size", 1}}}),
                    node("bare", "canvas", "tavola_note")});
    EXPECT_EQ(migrated<Datamodel::VectorContainerJSONMigration>(original), original);
}

TEST(VaryingWidthAnnotationJSONMigration, PointsBecomeBezierNodesCarryingHalfTheLineWidth) {
    QJsonObject const document = migrated<Datamodel::VaryingWidthAnnotationJSONMigration>(
        documentOf({node("stroke", "canvas", "tavola_annotation",
                         {singleAttribute("line-width", Datamodel::singlesBytes({6.0f})),
                          pointsAttribute({1, 2, 3, 4, 5, 6, 7, 8}, 4)})}));
    QJsonObject const points = nodeAt(document, 0).value("attributes").toArray().at(1).toObject();
    EXPECT_EQ(points.value("size").toInt(), 2);
    QByteArray const expected =
        Datamodel::singlesBytes({1, 2, 3, 1, 2, 3, 3, 4, 3, 5, 6, 3, 7, 8, 3, 7, 8, 3});
    EXPECT_EQ(storedBytes(points.value("values")), expected);
}

TEST(VaryingWidthAnnotationJSONMigration, APathThatCantBeConvertedLeavesAnEmptyStroke) {
    QJsonObject const document = migrated<Datamodel::VaryingWidthAnnotationJSONMigration>(
        documentOf({node("stroke", "canvas", "tavola_annotation", {pointsAttribute({1, 2, 3, 4}, 2)})}));
    ASSERT_EQ(document.value("nodes").toArray().size(), 1) << "the stroke stays in the document";
    QJsonObject const points = nodeAt(document, 0).value("attributes").toArray().at(0).toObject();
    EXPECT_EQ(points.value("size").toInt(-1), 0);
    EXPECT_EQ(points.value("values").toString(), QStringLiteral(""));
}

TEST(VaryingWidthAnnotationJSONMigration, WithoutALineWidthTheWidthIsOne) {
    QJsonObject const points = Datamodel::migrateAnnotation(QJsonArray{}, pointsAttribute({5, 6}, 1));
    EXPECT_EQ(storedBytes(points.value("values")),
              Datamodel::singlesBytes({5, 6, 0.5f, 5, 6, 0.5f, 5, 6, 0.5f}));
}

TEST(VaryingWidthAnnotationJSONMigration, ValuesTooShortToReadThrowOutOfTheStep) {
    char const* const message = "BundleReader::read # tried to read past the end";
    EXPECT_EQ(TestSupport::messageOf<std::out_of_range>([] {
                  Datamodel::migrateAnnotation({}, pointsAttribute({1, 2}, 2));
              }),
              message)
        << "more points announced than stored";
    EXPECT_EQ(
        TestSupport::messageOf<std::out_of_range>([] {
            Datamodel::migrateAnnotation({singleAttribute("line-width", "ab")}, pointsAttribute({1, 2}, 1));
        }),
        message)
        << "a line width of two bytes";
}

// A big document is read by two threads: a stroke that can't be read in the second half must still leave
// the whole document as it was, as it does in a small one.
TEST(VaryingWidthAnnotationJSONMigration, AStrokeTooShortToReadLeavesABigDocumentAsItWas) {
    constexpr int strokes = 6000;
    QJsonArray nodes;
    for (int i = 0; i < strokes; ++i) {
        nodes.append(
            node(QStringLiteral("s%1").arg(i), "canvas", "tavola_annotation",
                 {i == 5000 ? pointsAttribute({1, 2}, 4) : pointsAttribute({0, 0, 1, 0, 2, 0, 3, 0}, 4)}));
    }
    QJsonObject document = documentOf(nodes);
    QJsonObject const before = document;
    QJsonObject context;
    EXPECT_EQ(TestSupport::messageOf<std::out_of_range>(
                  [&] { Datamodel::VaryingWidthAnnotationJSONMigration().migrate(context, document); }),
              "BundleReader::read # tried to read past the end");
    EXPECT_EQ(document, before);
}

TEST(VaryingWidthAnnotationJSONMigration, EveryStrokeOfABigDocumentBecomesNodesInPlace) {
    constexpr int strokes = 6000;
    QJsonArray nodes;
    for (int i = 0; i < strokes; ++i) {
        nodes.append(node(QStringLiteral("s%1").arg(i), "canvas", "tavola_annotation",
                          {pointsAttribute({0, 0, 1, 0, 2, 0, static_cast<float>(i), 0}, 4)}));
    }
    QJsonObject const document = migrated<Datamodel::VaryingWidthAnnotationJSONMigration>(documentOf(nodes));
    for (int i = 0; i < strokes; ++i) {
        QJsonObject const points = nodeAt(document, i).value("attributes").toArray().at(0).toObject();
        ASSERT_EQ(nodeAt(document, i).value("id").toString(), QStringLiteral("s%1").arg(i));
        ASSERT_EQ(points.value("size").toInt(), 2) << "stroke " << i;
        QByteArray const bytes = storedBytes(points.value("values"));
        float lastPointX = 0;
        std::memcpy(&lastPointX, bytes.constData() + 36 + 12, sizeof lastPointX);
        ASSERT_EQ(lastPointX, static_cast<float>(i)) << "stroke " << i << " keeps its own last point";
    }
}
