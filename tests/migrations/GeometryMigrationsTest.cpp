// The steps of the canvas chain that move and resize stored elements: tables get their cells, notes their
// padding and their size back, anchors their corner, tables lose their border. Each test builds a small
// stored document, runs one step and decodes what it wrote.

#include "tests/support/CapturedLog.hpp"

#include "migrations/GeometryMigrations.hpp"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtEndian>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using Datamodel::AnchorOriginJSONMigration;
using Datamodel::BrokenNoteSizeJSONMigration;
using Datamodel::NotePaddingJSONMigration;
using Datamodel::TableBorderJSONMigration;
using Datamodel::TableCellSizeMigration;

namespace {

// The stored form is encoded and decoded here on its own, not through the helpers the steps use, so that
// a mistake shared by both can't hide.

QByteArray singleBytes(std::initializer_list<float> values) {
    QByteArray bytes;
    for (float value : values) {
        std::uint32_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        bits = qToLittleEndian(bits);
        bytes.append(reinterpret_cast<char const*>(&bits), sizeof bits);
    }
    return bytes;
}

QByteArray intBytes(std::initializer_list<std::int32_t> values) {
    QByteArray bytes;
    for (std::int32_t value : values) {
        std::int32_t const little = qToLittleEndian(value);
        bytes.append(reinterpret_cast<char const*>(&little), sizeof little);
    }
    return bytes;
}

/// A stored single-valued attribute holding `bytes`.
QJsonObject attribute(QString const& name, QByteArray const& bytes) {
    return QJsonObject{{QStringLiteral("name"), name},
                       {QStringLiteral("value"), QString::fromLatin1(bytes.toBase64())}};
}

/// A stored attribute holding singles: one for "scale", two for "location" and "size".
QJsonObject attribute(QString const& name, std::initializer_list<float> values) {
    return attribute(name, singleBytes(values));
}

QJsonObject node(QString const& id, QString const& type, QJsonArray const& attributes) {
    return QJsonObject{{QStringLiteral("id"), id},
                       {QStringLiteral("parentId"), QStringLiteral("root")},
                       {QStringLiteral("type"), type},
                       {QStringLiteral("attributes"), attributes}};
}

QJsonObject documentOf(QJsonArray const& nodes) {
    return QJsonObject{{QStringLiteral("nodes"), nodes}};
}

QJsonObject nodeAt(QJsonObject const& document, int index) {
    return document.value(QStringLiteral("nodes")).toArray().at(index).toObject();
}

/// The node's first attribute named `name`; empty when it has none.
QJsonObject attributeOf(QJsonObject const& node, QString const& name) {
    for (QJsonValue const& value : node.value(QStringLiteral("attributes")).toArray()) {
        if (value.toObject().value(QStringLiteral("name")).toString() == name) {
            return value.toObject();
        }
    }
    return {};
}

int countOf(QJsonObject const& node, QString const& name) {
    int count = 0;
    for (QJsonValue const& value : node.value(QStringLiteral("attributes")).toArray()) {
        count += value.toObject().value(QStringLiteral("name")).toString() == name ? 1 : 0;
    }
    return count;
}

std::vector<float> singlesIn(QString const& text) {
    QByteArray const bytes = QByteArray::fromBase64(text.toLatin1());
    EXPECT_EQ(bytes.size() % 4, 0) << "a stored value of singles holds whole singles";
    std::vector<float> singles;
    for (int at = 0; at + 4 <= bytes.size(); at += 4) {
        std::uint32_t bits;
        std::memcpy(&bits, bytes.constData() + at, sizeof bits);
        bits = qFromLittleEndian(bits);
        float single;
        std::memcpy(&single, &bits, sizeof single);
        singles.push_back(single);
    }
    return singles;
}

/// Every single the node's attribute `name` holds under "value", in order.
std::vector<float> singlesOf(QJsonObject const& node, QString const& name) {
    return singlesIn(attributeOf(node, name).value(QStringLiteral("value")).toString());
}

/// The singles of a stored vector attribute, one per element of "values".
std::vector<float> vectorOf(QJsonObject const& node, QString const& name) {
    std::vector<float> singles;
    for (QJsonValue const& value : attributeOf(node, name).value(QStringLiteral("values")).toArray()) {
        std::vector<float> const element = singlesIn(value.toString());
        EXPECT_EQ(element.size(), 1u) << "each element of a stored vector of singles holds one single";
        singles.insert(singles.end(), element.begin(), element.end());
    }
    return singles;
}

float singleOfBits(std::uint32_t bits) {
    float single;
    std::memcpy(&single, &bits, sizeof single);
    return single;
}

/// Compact JSON text, for comparisons that print readably when they fail.
std::string textOf(QJsonObject const& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

using Step = std::function<bool(QJsonObject& document)>;

template <typename Migration>
Step stepOf(int version) {
    auto migration = std::make_shared<Migration>(version);
    return [migration](QJsonObject& document) {
        QJsonObject context;
        return migration->migrate(context, document);
    };
}

QString const s_note = QStringLiteral("tavola_note");
QString const s_anchor = QStringLiteral("tavola_anchor");
QString const s_table = QStringLiteral("tavola_table");

} // namespace

// --- Versions

TEST(TableCellSizeMigration, IsStepSevenOfItsOwnAccord) {
    EXPECT_EQ(TableCellSizeMigration().version(), 7);
}

TEST(GeometryJSONMigrations, EachStepIsNumberedByTheVersionItIsBuiltWith) {
    EXPECT_EQ(NotePaddingJSONMigration(16).version(), 16);
    EXPECT_EQ(AnchorOriginJSONMigration(18).version(), 18);
    EXPECT_EQ(TableBorderJSONMigration(20).version(), 20);
    EXPECT_EQ(BrokenNoteSizeJSONMigration(21).version(), 21);
    EXPECT_EQ(NotePaddingJSONMigration(3).version(), 3) << "the number is the one given, not a fixed one";
}

// --- Step 7: a table's cells

TEST(TableCellSizeMigration, ATableOfThreeColumnsByTwoRowsSharesItsWidthInThirdsAndItsHeightInHalves) {
    QJsonObject document = documentOf(
        {node(QStringLiteral("t"), s_table, {attribute(QStringLiteral("grid-size"), intBytes({3, 2}))})});
    QJsonObject context;

    EXPECT_TRUE(TableCellSizeMigration().migrate(context, document));

    QJsonObject const table = nodeAt(document, 0);
    float const nearestThird = singleOfBits(0x3EAAAAABu);
    EXPECT_EQ(vectorOf(table, QStringLiteral("column-widths")),
              (std::vector<float>{nearestThird, nearestThird, nearestThird}))
        << "three columns each take the single nearest a third";
    EXPECT_EQ(vectorOf(table, QStringLiteral("row-heights")), (std::vector<float>{0.5f, 0.5f}))
        << "two rows each take a half";
    EXPECT_EQ(
        attributeOf(table, QStringLiteral("column-widths")).value(QStringLiteral("values")).toArray().at(0),
        QJsonValue(QStringLiteral("q6qqPg==")))
        << "a width is stored as the Base64 text of its 4 little-endian bytes";
    EXPECT_EQ(attributeOf(table, QStringLiteral("column-widths")).keys(),
              (QStringList{QStringLiteral("name"), QStringLiteral("values")}))
        << "the new vector attribute holds its name and its values, nothing else";
    EXPECT_EQ(attributeOf(table, QStringLiteral("row-heights")).keys(),
              (QStringList{QStringLiteral("name"), QStringLiteral("values")}))
        << "the new vector attribute holds its name and its values, nothing else";
}

TEST(TableCellSizeMigration, ATableWithAFourByteGridSizeGetsOneColumnAndOneRowOfTheWholeSize) {
    QJsonObject document = documentOf(
        {node(QStringLiteral("t"), s_table, {attribute(QStringLiteral("grid-size"), intBytes({3}))})});
    QJsonObject context;

    EXPECT_TRUE(TableCellSizeMigration().migrate(context, document));

    QJsonObject const table = nodeAt(document, 0);
    EXPECT_EQ(vectorOf(table, QStringLiteral("column-widths")), (std::vector<float>{1.0f}))
        << "an unreadable grid size counts as one column";
    EXPECT_EQ(vectorOf(table, QStringLiteral("row-heights")), (std::vector<float>{1.0f}))
        << "an unreadable grid size counts as one row";
}

TEST(TableCellSizeMigration, TheGridSizeIsTheFirstOfExactlyEightBytesAndOneByOneWithoutOne) {
    struct Row {
        char const* what;
        QJsonArray attributes;
        int columns;
        int rows;
    };
    QString const gridSize = QStringLiteral("grid-size");
    std::vector<Row> const rows = {
        {"eight bytes", {attribute(gridSize, intBytes({3, 2}))}, 3, 2},
        {"no attributes", {}, 1, 1},
        {"no grid size", {attribute(QStringLiteral("size"), intBytes({3, 2}))}, 1, 1},
        {"four bytes", {attribute(gridSize, intBytes({3}))}, 1, 1},
        {"twelve bytes", {attribute(gridSize, intBytes({3, 2, 5}))}, 1, 1},
        {"no value", {QJsonObject{{QStringLiteral("name"), gridSize}}}, 1, 1},
        {"a short one before a good one",
         {attribute(gridSize, intBytes({3})), attribute(gridSize, intBytes({4, 6}))},
         4,
         6},
        {"two good ones",
         {attribute(gridSize, intBytes({4, 6})), attribute(gridSize, intBytes({7, 8}))},
         4,
         6},
        {"negative counts", {attribute(gridSize, intBytes({-2, 0}))}, -2, 0},
        {"a corrupt count of two billion columns", {attribute(gridSize, intBytes({2000000000, 2}))}, 1, 1},
        {"a corrupt count of rows before a good one",
         {attribute(gridSize, intBytes({2, 70000})), attribute(gridSize, intBytes({4, 6}))},
         4,
         6},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        Fathom::Vector2T<int> const grid =
            TableCellSizeMigration().getGridSize(node(QStringLiteral("t"), s_table, row.attributes));
        EXPECT_EQ(grid.x, row.columns) << "the columns are the first int of the grid size";
        EXPECT_EQ(grid.y, row.rows) << "the rows are the second int of the grid size";
    }
}

TEST(TableCellSizeMigration, AFloatArrayHoldsCountCopiesOfTheValueAndNoneForACountBelowOne) {
    struct Row {
        int count;
        std::vector<float> values;
    };
    std::vector<Row> const rows = {{3, {0.25f, 0.25f, 0.25f}}, {1, {0.25f}}, {0, {}}, {-2, {}}};
    for (Row const& row : rows) {
        SCOPED_TRACE(row.count);
        QJsonObject const array =
            TableCellSizeMigration().floatArray(0.25f, row.count, QStringLiteral("widths"));
        EXPECT_EQ(array.keys(), (QStringList{QStringLiteral("name"), QStringLiteral("values")}))
            << "a float array holds its name and its values, nothing else";
        EXPECT_EQ(array.value(QStringLiteral("name")).toString(), QStringLiteral("widths"))
            << "a float array bears the name it is given";
        EXPECT_EQ(array.value(QStringLiteral("values")).toArray().size(), static_cast<int>(row.values.size()))
            << "a float array holds as many values as it is asked for";
        EXPECT_EQ(vectorOf(node(QStringLiteral("t"), s_table, {array}), QStringLiteral("widths")), row.values)
            << "every value of a float array is the value given";
    }
}

TEST(TableCellSizeMigration, OnlyTablesChangeAndEverythingElseIsCarriedAlongInItsPlace) {
    QJsonObject table = node(QStringLiteral("t"), s_table,
                             {attribute(QStringLiteral("grid-size"), intBytes({2, 4})),
                              attribute(QStringLiteral("size"), {400.0f, 300.0f})});
    table.insert(QStringLiteral("locked"), true);
    QJsonObject const note =
        node(QStringLiteral("n"), s_note, {attribute(QStringLiteral("grid-size"), intBytes({2, 4}))});
    QJsonObject document = documentOf({note, table});
    document.insert(QStringLiteral("title"), QStringLiteral("Plans"));
    QJsonObject context;

    EXPECT_TRUE(TableCellSizeMigration().migrate(context, document));

    EXPECT_EQ(document.value(QStringLiteral("title")), QJsonValue(QStringLiteral("Plans")))
        << "the document's other keys are carried along";
    ASSERT_EQ(document.value(QStringLiteral("nodes")).toArray().size(), 2)
        << "every node stays in the document";
    EXPECT_EQ(textOf(nodeAt(document, 0)), textOf(note)) << "a node of another type is left as it was";
    QJsonObject const migrated = nodeAt(document, 1);
    EXPECT_EQ(migrated.value(QStringLiteral("locked")), QJsonValue(true))
        << "a table's other keys are carried along";
    EXPECT_EQ(migrated.value(QStringLiteral("id")), QJsonValue(QStringLiteral("t")))
        << "nodes keep their order";
    QJsonArray const attributes = migrated.value(QStringLiteral("attributes")).toArray();
    ASSERT_EQ(attributes.size(), 4) << "a table keeps its attributes and gains two";
    EXPECT_EQ(attributes.at(0), table.value(QStringLiteral("attributes")).toArray().at(0))
        << "a table's attributes are kept as they were";
    EXPECT_EQ(attributes.at(1), table.value(QStringLiteral("attributes")).toArray().at(1))
        << "a table's attributes are kept as they were";
    EXPECT_EQ(attributes.at(2).toObject().value(QStringLiteral("name")),
              QJsonValue(QStringLiteral("column-widths")))
        << "the column widths come after the table's attributes";
    EXPECT_EQ(attributes.at(3).toObject().value(QStringLiteral("name")),
              QJsonValue(QStringLiteral("row-heights")))
        << "the row heights come last";
    EXPECT_EQ(vectorOf(migrated, QStringLiteral("row-heights")),
              (std::vector<float>{0.25f, 0.25f, 0.25f, 0.25f}))
        << "four rows each take a quarter";
}

TEST(TableCellSizeMigration, ATableWithoutAttributesGetsOneColumnAndOneRow) {
    QJsonObject table{{QStringLiteral("id"), QStringLiteral("t")}, {QStringLiteral("type"), s_table}};
    QJsonObject document = documentOf({table});
    QJsonObject context;

    EXPECT_TRUE(TableCellSizeMigration().migrate(context, document));

    QJsonObject const migrated = nodeAt(document, 0);
    EXPECT_EQ(migrated.value(QStringLiteral("attributes")).toArray().size(), 2)
        << "a table without attributes gets exactly the two new ones";
    EXPECT_EQ(vectorOf(migrated, QStringLiteral("column-widths")), (std::vector<float>{1.0f}))
        << "a table without a grid size has one column";
    EXPECT_EQ(vectorOf(migrated, QStringLiteral("row-heights")), (std::vector<float>{1.0f}))
        << "a table without a grid size has one row";
}

TEST(TableCellSizeMigration, ADocumentWithoutNodesKeepsItsOtherKeysAndHasNoNodesAfter) {
    QJsonObject document{{QStringLiteral("title"), QStringLiteral("Empty")}};
    QJsonObject context;

    EXPECT_TRUE(TableCellSizeMigration().migrate(context, document));

    EXPECT_EQ(document.value(QStringLiteral("title")), QJsonValue(QStringLiteral("Empty")))
        << "the document's other keys are carried along";
    EXPECT_FALSE(document.contains(QStringLiteral("nodes"))) << "a document without nodes stays without them";
}

// --- Step 16: a note's padding

TEST(NotePaddingJSONMigration, ANoteGrowsByItsPaddingAndMovesUpAndLeftWhateverItsScale) {
    struct Row {
        char const* what;
        QJsonArray extra;
    };
    std::vector<Row> const rows = {
        {"no scale", {}},
        {"scale 2", {attribute(QStringLiteral("scale"), {2.0f})}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        QJsonArray attributes{attribute(QStringLiteral("location"), {100.0f, 100.0f}),
                              attribute(QStringLiteral("size"), {200.0f, 150.0f})};
        for (QJsonValue const& extra : row.extra) {
            attributes.append(extra);
        }
        QJsonObject document = documentOf({node(QStringLiteral("n"), s_note, attributes)});

        EXPECT_TRUE(stepOf<NotePaddingJSONMigration>(16)(document));

        QJsonObject const note = nodeAt(document, 0);
        EXPECT_EQ(singlesOf(note, QStringLiteral("location")), (std::vector<float>{70.0f, 70.0f}))
            << "a note moves up and left by its padding";
        EXPECT_EQ(singlesOf(note, QStringLiteral("size")), (std::vector<float>{260.0f, 210.0f}))
            << "a note grows by its padding on both sides";
        EXPECT_EQ(note.value(QStringLiteral("attributes")).toArray().size(), attributes.size())
            << "a note gains and loses no attribute";
    }
}

TEST(NotePaddingJSONMigration, ANoteWithOnlyOneOfLocationAndSizeGetsOnlyThatChange) {
    QJsonObject document = documentOf(
        {node(QStringLiteral("located"), s_note, {attribute(QStringLiteral("location"), {10.0f, 20.0f})}),
         node(QStringLiteral("sized"), s_note, {attribute(QStringLiteral("size"), {10.0f, 20.0f})})});

    EXPECT_TRUE(stepOf<NotePaddingJSONMigration>(16)(document));

    EXPECT_EQ(singlesOf(nodeAt(document, 0), QStringLiteral("location")),
              (std::vector<float>{-20.0f, -10.0f}))
        << "a note without a size still moves";
    EXPECT_EQ(countOf(nodeAt(document, 0), QStringLiteral("size")), 0)
        << "a note without a size gets none here";
    EXPECT_EQ(singlesOf(nodeAt(document, 1), QStringLiteral("size")), (std::vector<float>{70.0f, 80.0f}))
        << "a note without a location still grows";
    EXPECT_EQ(countOf(nodeAt(document, 1), QStringLiteral("location")), 0)
        << "a note without a location gets none here";
}

TEST(NotePaddingJSONMigration, ANoteWithAFourByteLocationKeepsAllItsValuesAndOneWarningIsWritten) {
    QJsonObject const broken = node(QStringLiteral("broken"), s_note,
                                    {attribute(QStringLiteral("size"), {200.0f, 150.0f}),
                                     attribute(QStringLiteral("location"), {100.0f})});
    QJsonObject document = documentOf(
        {broken, node(QStringLiteral("sound"), s_note, {attribute(QStringLiteral("size"), {1.0f, 2.0f})})});
    TestSupport::CapturedLog log;

    EXPECT_TRUE(stepOf<NotePaddingJSONMigration>(16)(document)) << "a broken note doesn't fail the step";

    EXPECT_EQ(textOf(nodeAt(document, 0)), textOf(broken))
        << "a note that can't be read keeps every value, even those read before the failure";
    EXPECT_EQ(singlesOf(nodeAt(document, 1), QStringLiteral("size")), (std::vector<float>{61.0f, 62.0f}))
        << "the notes after a broken one are migrated all the same";
    EXPECT_EQ(log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING),
              (std::vector<std::string>{"NotePaddingJSONMigration # Failed to migrate node broken: "
                                        "BundleReader::read # tried to read past the end"}))
        << "one warning names the broken note and why";
}

TEST(NotePaddingJSONMigration, NodesOfOtherTypesAndNotesWithoutGeometryAreLeftAsTheyWere) {
    QJsonObject const anchor =
        node(QStringLiteral("a"), s_anchor, {attribute(QStringLiteral("location"), {100.0f, 100.0f})});
    QJsonObject const bare{{QStringLiteral("id"), QStringLiteral("bare")}, {QStringLiteral("type"), s_note}};
    QJsonObject const titled =
        node(QStringLiteral("titled"), s_note, {attribute(QStringLiteral("title"), QByteArray("Hi"))});
    QJsonObject const before = documentOf({anchor, bare, titled});
    QJsonObject document = before;

    EXPECT_TRUE(stepOf<NotePaddingJSONMigration>(16)(document));

    EXPECT_EQ(textOf(document), textOf(before))
        << "other types, notes without attributes and notes without location or size don't change";
}

// --- Step 18: an anchor's corner

TEST(AnchorOriginJSONMigration, AnAnchorMovesFromItsCentreToItsCornerByHalfItsScaledSize) {
    struct Row {
        char const* what;
        QJsonArray attributes;
        std::vector<float> location;
    };
    QJsonObject const location = attribute(QStringLiteral("location"), {100.0f, 100.0f});
    std::vector<Row> const rows = {
        {"size 40 by 20, scale 2",
         {location, attribute(QStringLiteral("size"), {40.0f, 20.0f}),
          attribute(QStringLiteral("scale"), {2.0f})},
         {60.0f, 80.0f}},
        {"scale and size before the location",
         {attribute(QStringLiteral("scale"), {2.0f}), attribute(QStringLiteral("size"), {40.0f, 20.0f}),
          location},
         {60.0f, 80.0f}},
        {"no scale", {location, attribute(QStringLiteral("size"), {40.0f, 20.0f})}, {80.0f, 90.0f}},
        {"no size, scale 1", {location, attribute(QStringLiteral("scale"), {1.0f})}, {100.5f, 100.5f}},
        {"no size, scale 2", {location, attribute(QStringLiteral("scale"), {2.0f})}, {101.0f, 101.0f}},
        {"neither size nor scale", {location}, {100.5f, 100.5f}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        QJsonObject document = documentOf({node(QStringLiteral("a"), s_anchor, row.attributes)});

        EXPECT_TRUE(stepOf<AnchorOriginJSONMigration>(18)(document));

        QJsonObject const anchor = nodeAt(document, 0);
        EXPECT_EQ(singlesOf(anchor, QStringLiteral("location")), row.location)
            << "the new location is the old one less half the scaled size (-1 by -1 without one)";
        QJsonArray const after = anchor.value(QStringLiteral("attributes")).toArray();
        ASSERT_EQ(after.size(), row.attributes.size()) << "an anchor gains and loses no attribute";
        for (int i = 0; i < after.size(); ++i) {
            if (after.at(i).toObject().value(QStringLiteral("name")) !=
                QJsonValue(QStringLiteral("location"))) {
                EXPECT_EQ(after.at(i), row.attributes.at(i)) << "only the location of an anchor changes";
            }
        }
    }
}

TEST(AnchorOriginJSONMigration, AnAnchorWithoutLocationAndOtherTypesAreLeftAsTheyWere) {
    QJsonObject const unplaced =
        node(QStringLiteral("a"), s_anchor,
             {attribute(QStringLiteral("size"), {40.0f, 20.0f}), attribute(QStringLiteral("scale"), {2.0f})});
    QJsonObject const note =
        node(QStringLiteral("n"), s_note, {attribute(QStringLiteral("location"), {1.0f, 2.0f})});
    QJsonObject const bare{{QStringLiteral("id"), QStringLiteral("bare")},
                           {QStringLiteral("type"), s_anchor}};
    QJsonObject const before = documentOf({unplaced, note, bare});
    QJsonObject document = before;

    EXPECT_TRUE(stepOf<AnchorOriginJSONMigration>(18)(document));

    EXPECT_EQ(textOf(document), textOf(before)) << "nothing to move means nothing changes";
}

// --- Step 20: a table's border

TEST(TableBorderJSONMigration, ATableMovesInByItsScaledBorderAndShrinksByItsBorderUnscaled) {
    struct Row {
        char const* what;
        QJsonArray scales;
        std::vector<float> location;
    };
    std::vector<Row> const rows = {
        {"scale 2", {attribute(QStringLiteral("scale"), {2.0f})}, {130.0f, 130.0f}},
        {"no scale", {}, {115.0f, 115.0f}},
        {"two scales, the first counts",
         {attribute(QStringLiteral("scale"), {2.0f}), attribute(QStringLiteral("scale"), {3.0f})},
         {130.0f, 130.0f}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        QJsonArray attributes{attribute(QStringLiteral("location"), {100.0f, 100.0f}),
                              attribute(QStringLiteral("size"), {400.0f, 300.0f})};
        for (QJsonValue const& scale : row.scales) {
            attributes.append(scale);
        }
        QJsonObject document = documentOf({node(QStringLiteral("t"), s_table, attributes)});

        EXPECT_TRUE(stepOf<TableBorderJSONMigration>(20)(document));

        QJsonObject const table = nodeAt(document, 0);
        EXPECT_EQ(singlesOf(table, QStringLiteral("location")), row.location)
            << "a table moves down and right by its border times its scale";
        EXPECT_EQ(singlesOf(table, QStringLiteral("size")), (std::vector<float>{370.0f, 270.0f}))
            << "a table shrinks by its border on both sides, whatever its scale";
        QJsonArray const after = table.value(QStringLiteral("attributes")).toArray();
        ASSERT_EQ(after.size(), attributes.size()) << "a table gains and loses no attribute";
        for (int i = 2; i < after.size(); ++i) {
            EXPECT_EQ(after.at(i), attributes.at(i)) << "a table's scale doesn't change";
        }
    }
}

TEST(TableBorderJSONMigration, TablesWithoutGeometryAndOtherTypesAreLeftAsTheyWere) {
    QJsonObject const scaledOnly =
        node(QStringLiteral("t"), s_table, {attribute(QStringLiteral("scale"), {2.0f})});
    QJsonObject const note =
        node(QStringLiteral("n"), s_note, {attribute(QStringLiteral("size"), {400.0f, 300.0f})});
    QJsonObject const bare{{QStringLiteral("id"), QStringLiteral("bare")}, {QStringLiteral("type"), s_table}};
    QJsonObject const before = documentOf({scaledOnly, note, bare});
    QJsonObject document = before;

    EXPECT_TRUE(stepOf<TableBorderJSONMigration>(20)(document));

    EXPECT_EQ(textOf(document), textOf(before)) << "nothing to move or resize means nothing changes";
}

// --- Step 21: a note's lost size

TEST(BrokenNoteSizeJSONMigration, ANoteWithoutSizeGetsThreeHundredSixtyByThreeHundredSixtyAtTheEnd) {
    QJsonObject const location = attribute(QStringLiteral("location"), {5.0f, 6.0f});
    QJsonObject document = documentOf(
        {node(QStringLiteral("n"), s_note, {location}),
         QJsonObject{{QStringLiteral("id"), QStringLiteral("bare")}, {QStringLiteral("type"), s_note}}});

    EXPECT_TRUE(stepOf<BrokenNoteSizeJSONMigration>(21)(document));

    QJsonArray const attributes = nodeAt(document, 0).value(QStringLiteral("attributes")).toArray();
    ASSERT_EQ(attributes.size(), 2) << "a note without size gains one attribute";
    EXPECT_EQ(attributes.at(0), QJsonValue(location)) << "the note's attributes stay as they were";
    QJsonObject const size = attributes.at(1).toObject();
    EXPECT_EQ(size.keys(), (QStringList{QStringLiteral("name"), QStringLiteral("value")}))
        << "the new size holds its name and its value, nothing else";
    EXPECT_EQ(size.value(QStringLiteral("name")), QJsonValue(QStringLiteral("size")))
        << "the new attribute is a size";
    EXPECT_EQ(singlesIn(size.value(QStringLiteral("value")).toString()), (std::vector<float>{360.0f, 360.0f}))
        << "a lost size comes back as 360 by 360";
    EXPECT_EQ(singlesOf(nodeAt(document, 1), QStringLiteral("size")), (std::vector<float>{360.0f, 360.0f}))
        << "a note without attributes gets its size too";
}

TEST(BrokenNoteSizeJSONMigration, ANoteWithASizeEvenUnreadableAndOtherTypesAreLeftAsTheyWere) {
    QJsonObject const sized =
        node(QStringLiteral("n"), s_note, {attribute(QStringLiteral("size"), {1.0f, 2.0f})});
    QJsonObject const short_ = node(QStringLiteral("s"), s_note, {attribute(QStringLiteral("size"), {1.0f})});
    QJsonObject const table = node(QStringLiteral("t"), s_table, {});
    QJsonObject const before = documentOf({sized, short_, table});
    QJsonObject document = before;
    TestSupport::CapturedLog log;

    EXPECT_TRUE(stepOf<BrokenNoteSizeJSONMigration>(21)(document));

    EXPECT_EQ(textOf(document), textOf(before))
        << "a note with a size of any length keeps it; a table gets none";
    EXPECT_TRUE(log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING).empty()) << "a size is found, never read";
}

TEST(BrokenNoteSizeJSONMigration, ANoteWithoutSizeIsOnlyMovedAtStepSixteenThenGetsItsSizeAtStepTwentyOne) {
    QJsonObject document = documentOf(
        {node(QStringLiteral("n"), s_note, {attribute(QStringLiteral("location"), {100.0f, 100.0f})})});

    EXPECT_TRUE(stepOf<NotePaddingJSONMigration>(16)(document));
    EXPECT_EQ(singlesOf(nodeAt(document, 0), QStringLiteral("location")), (std::vector<float>{70.0f, 70.0f}))
        << "step 16 moves a note without a size";
    EXPECT_EQ(countOf(nodeAt(document, 0), QStringLiteral("size")), 0) << "step 16 gives a note no size";

    EXPECT_TRUE(stepOf<BrokenNoteSizeJSONMigration>(21)(document));
    EXPECT_EQ(singlesOf(nodeAt(document, 0), QStringLiteral("location")), (std::vector<float>{70.0f, 70.0f}))
        << "step 21 doesn't move a note";
    EXPECT_EQ(singlesOf(nodeAt(document, 0), QStringLiteral("size")), (std::vector<float>{360.0f, 360.0f}))
        << "step 21 gives the note its size back";
}

// --- What the steps from 16 on share

TEST(GeometryJSONMigrations, ANodeWithTooShortAValueIsLoggedAndLeftWhileTheOthersAreMigrated) {
    struct Row {
        char const* what;
        Step step;
        QString type;
        QJsonArray broken;
        char const* warning;
    };
    char const* const pastTheEnd = "BundleReader::read # tried to read past the end";
    std::vector<Row> const rows = {
        {"note, short size",
         stepOf<NotePaddingJSONMigration>(16),
         s_note,
         {attribute(QStringLiteral("location"), {1.0f, 2.0f}), attribute(QStringLiteral("size"), {1.0f})},
         "NotePaddingJSONMigration # Failed to migrate node broken: "},
        {"anchor, short scale",
         stepOf<AnchorOriginJSONMigration>(18),
         s_anchor,
         {attribute(QStringLiteral("location"), {1.0f, 2.0f}),
          attribute(QStringLiteral("scale"), QByteArray("ab"))},
         "AnchorOriginJSONMigration # Failed to migrate node broken: "},
        {"anchor, short size",
         stepOf<AnchorOriginJSONMigration>(18),
         s_anchor,
         {attribute(QStringLiteral("location"), {1.0f, 2.0f}), attribute(QStringLiteral("size"), {1.0f})},
         "AnchorOriginJSONMigration # Failed to migrate node broken: "},
        {"anchor, short location",
         stepOf<AnchorOriginJSONMigration>(18),
         s_anchor,
         {attribute(QStringLiteral("location"), {1.0f})},
         "AnchorOriginJSONMigration # Failed to migrate node broken: "},
        {"table, short scale",
         stepOf<TableBorderJSONMigration>(20),
         s_table,
         {attribute(QStringLiteral("location"), {1.0f, 2.0f}),
          attribute(QStringLiteral("scale"), QByteArray())},
         "TableBorderJSONMigration # Failed to migrate node broken: "},
        {"table, short size",
         stepOf<TableBorderJSONMigration>(20),
         s_table,
         {attribute(QStringLiteral("location"), {1.0f, 2.0f}), attribute(QStringLiteral("size"), {1.0f})},
         "TableBorderJSONMigration # Failed to migrate node broken: "},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        QJsonObject const broken = node(QStringLiteral("broken"), row.type, row.broken);
        QJsonObject const sound =
            node(QStringLiteral("sound"), row.type, {attribute(QStringLiteral("location"), {1.0f, 2.0f})});
        QJsonObject document = documentOf({broken, sound});
        TestSupport::CapturedLog log;

        EXPECT_TRUE(row.step(document)) << "a broken node doesn't fail the step";

        EXPECT_EQ(textOf(nodeAt(document, 0)), textOf(broken))
            << "a node that can't be read is left as it was";
        EXPECT_NE(singlesOf(nodeAt(document, 1), QStringLiteral("location")),
                  (std::vector<float>{1.0f, 2.0f}))
            << "the nodes after a broken one are migrated all the same";
        EXPECT_EQ(log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING),
                  (std::vector<std::string>{std::string(row.warning) + pastTheEnd}))
            << "one warning names the step, the broken node and why";
    }
}

TEST(GeometryJSONMigrations, ADocumentWithoutNodesPassesEveryStepFromSixteenOnUnchanged) {
    struct Row {
        char const* what;
        Step step;
    };
    std::vector<Row> const rows = {
        {"note padding", stepOf<NotePaddingJSONMigration>(16)},
        {"anchor origin", stepOf<AnchorOriginJSONMigration>(18)},
        {"table border", stepOf<TableBorderJSONMigration>(20)},
        {"broken note size", stepOf<BrokenNoteSizeJSONMigration>(21)},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        QJsonObject const before{{QStringLiteral("title"), QStringLiteral("Empty")},
                                 {QStringLiteral("versions"), QJsonObject{{QStringLiteral("canvas"), 15}}}};
        QJsonObject document = before;

        EXPECT_TRUE(row.step(document)) << "a document without nodes is no failure";

        EXPECT_EQ(textOf(document), textOf(before)) << "a document without nodes is left as it was";
    }
}

TEST(GeometryJSONMigrations, AMigratedNodeKeepsItsOtherKeysAndItsPlace) {
    struct Row {
        char const* what;
        Step step;
        QString type;
    };
    std::vector<Row> const rows = {
        {"note padding", stepOf<NotePaddingJSONMigration>(16), s_note},
        {"anchor origin", stepOf<AnchorOriginJSONMigration>(18), s_anchor},
        {"table border", stepOf<TableBorderJSONMigration>(20), s_table},
        {"broken note size", stepOf<BrokenNoteSizeJSONMigration>(21), s_note},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        QJsonObject migrated =
            node(QStringLiteral("m"), row.type, {attribute(QStringLiteral("location"), {100.0f, 100.0f})});
        migrated.insert(QStringLiteral("locked"), true);
        QJsonObject const other{{QStringLiteral("id"), QStringLiteral("o")},
                                {QStringLiteral("type"), QStringLiteral("tavola_image")}};
        QJsonObject document = documentOf({other, migrated});
        document.insert(QStringLiteral("title"), QStringLiteral("Plans"));

        EXPECT_TRUE(row.step(document));

        EXPECT_EQ(document.value(QStringLiteral("title")), QJsonValue(QStringLiteral("Plans")))
            << "the document's other keys are carried along";
        EXPECT_EQ(textOf(nodeAt(document, 0)), textOf(other)) << "a node of another type is left as it was";
        QJsonObject const after = nodeAt(document, 1);
        EXPECT_NE(after.value(QStringLiteral("attributes")), migrated.value(QStringLiteral("attributes")))
            << "the node of the step's type is migrated";
        for (QString const& key : {QStringLiteral("id"), QStringLiteral("parentId"), QStringLiteral("type"),
                                   QStringLiteral("locked")}) {
            EXPECT_EQ(after.value(key), migrated.value(key)) << "a migrated node keeps its other keys";
        }
    }
}

// --- Big documents: their nodes are read by two threads, and what comes out must be what one would make.

TEST(GeometryJSONMigrations, EveryNoteOfABigDocumentMovesInPlaceAndADamagedOneInTheSecondHalfStaysAlone) {
    constexpr int notes = 6000;
    constexpr int damaged = 4500;
    QJsonArray nodes;
    for (int i = 0; i < notes; ++i) {
        QJsonObject const location = i == damaged
                                         ? attribute(QStringLiteral("location"), {1.0f})
                                         : attribute(QStringLiteral("location"), {100.0f + i, 100.0f});
        nodes.append(node(QStringLiteral("n%1").arg(i), s_note, {location}));
    }
    QJsonObject document = documentOf(nodes);
    TestSupport::CapturedLog log;

    ASSERT_TRUE(stepOf<Datamodel::NotePaddingJSONMigration>(16)(document));

    for (int i = 0; i < notes; ++i) {
        QJsonObject const migrated = nodeAt(document, i);
        ASSERT_EQ(migrated.value(QStringLiteral("id")).toString(), QStringLiteral("n%1").arg(i))
            << "order kept";
        if (i == damaged) {
            EXPECT_EQ(textOf(migrated), textOf(nodes.at(i).toObject())) << "the damaged note stays as it was";
        } else {
            ASSERT_EQ(singlesOf(migrated, QStringLiteral("location")), (std::vector<float>{70.0f + i, 70.0f}))
                << "note " << i;
        }
    }
    EXPECT_EQ(log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING),
              std::vector<std::string>{
                  "NotePaddingJSONMigration # Failed to migrate node n4500: BundleReader::read # "
                  "tried to read past the end"});
}
