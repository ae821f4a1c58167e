#include "attributes/AttributeEnum.hpp"
#include "attributes/EnumNames.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/StyleValue.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "tests/support/CountingListener.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using Basalt::Attribute;
using Basalt::AttributeT;
using Basalt::EnumNames;
using Basalt::StyleValue;
using Component = StyleValue::Component;
using TestSupport::CountingListener;

namespace EnumTestTypes {
enum class Shape { Circle = 0, Square = 1, Triangle = 2, Star = 7 };
} // namespace EnumTestTypes

using EnumTestTypes::Shape;
using ShapeAttribute = AttributeT<Shape>;

namespace {

// A default that no write in these tests produces, so that every accepted write is visible.
constexpr Shape unlistedShape = static_cast<Shape>(99);

// Declared in mixed case and out of order, as element declarations often are.
EnumNames const& shapeNames() {
    static EnumNames const names{{"Square", 1}, {"circle", 0}, {"TRIANGLE", 2}, {"Star", 7}};
    return names;
}

std::vector<std::pair<std::string, int>> rowsOf(EnumNames const& names) {
    std::vector<std::pair<std::string, int>> rows;
    for (auto const& row : names.rows()) {
        rows.emplace_back(row.first.toStdString(), row.second);
    }
    return rows;
}

Basalt::ArchiveElement elementWithText(QString const& text) {
    Basalt::Archive archive;
    Basalt::ArchiveElement element = archive.createElement(QStringLiteral("EnumTestTypes::Shape"));
    element.set(text);
    return element;
}

Cobalt::BinaryData nameMessage(QByteArray const& name) {
    Cobalt::BinaryData message;
    message.writeString(name);
    return message;
}

} // namespace

// ============================================================ EnumNames

TEST(EnumNames, NamesAreLowerCasedAndKeptInNameOrder) {
    std::vector<std::pair<std::string, int>> const expected = {
        {"circle", 0}, {"square", 1}, {"star", 7}, {"triangle", 2}};
    EXPECT_EQ(rowsOf(shapeNames()), expected);
    EXPECT_EQ(shapeNames().size(), 4);
}

// Names are lower-cased before they are sorted, and sorted by byte: '1' < '_' < 'a'.
TEST(EnumNames, OrderIsByteWiseOverTheLowerCasedNames) {
    EnumNames const names{{"Zeta", 1}, {"alpha", 2}, {"B_X", 3}, {"b1", 4}, {"ba", 5}};
    std::vector<std::pair<std::string, int>> const expected = {
        {"alpha", 2}, {"b1", 4}, {"b_x", 3}, {"ba", 5}, {"zeta", 1}};
    EXPECT_EQ(rowsOf(names), expected);
}

TEST(EnumNames, ReadingStopsAtTheFirstNullName) {
    EnumNames const names{{"first", 1}, {nullptr, 0}, {"after", 2}};
    int value = -1;

    EXPECT_EQ(names.size(), 1);
    EXPECT_TRUE(names.find("first", value));
    EXPECT_FALSE(names.find("after", value)) << "rows after a null name must be ignored";
    EXPECT_FALSE(names.contains(2));
}

TEST(EnumNames, SecondRowWithTheSameNameIsIgnored) {
    EnumNames const names{{"Open", 1}, {"OPEN", 2}, {"closed", 3}};
    int value = -1;

    EXPECT_EQ(names.size(), 2);
    ASSERT_TRUE(names.find("open", value));
    EXPECT_EQ(value, 1) << "the first row of a name wins";
    EXPECT_FALSE(names.contains(2));
}

TEST(EnumNames, FindTakesOnlyLowerCaseNames) {
    int value = -1;
    EXPECT_TRUE(shapeNames().find("triangle", value));
    EXPECT_EQ(value, 2);
    value = -1;
    EXPECT_FALSE(shapeNames().find("Triangle", value));
    EXPECT_EQ(value, -1) << "a failed find must leave the output alone";
}

TEST(EnumNames, NameOfANumberIsTheFirstInNameOrder) {
    EnumNames const names{{"zed", 3}, {"alpha", 3}, {"mid", 4}};

    EXPECT_EQ(names.name(3).toStdString(), "alpha");
    EXPECT_EQ(names.name(4).toStdString(), "mid");
    EXPECT_TRUE(names.name(5).isNull()) << "an unlisted number has a null name";
    EXPECT_TRUE(names.contains(4));
    EXPECT_FALSE(names.contains(5));
}

// ============================================================ the attribute: writes

TEST(AttributeEnum, SetByNameAcceptsAnyCase) {
    struct Row {
        char const* name;
        Shape expected;
    };
    Row const rows[] = {
        {"circle", Shape::Circle}, {"CIRCLE", Shape::Circle},     {"Square", Shape::Square},
        {"sTaR", Shape::Star},     {"triangle", Shape::Triangle},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        ShapeAttribute attribute(nullptr, "shape", unlistedShape, shapeNames());

        EXPECT_TRUE(attribute.set(QString::fromLatin1(row.name)));

        EXPECT_EQ(attribute.value(), row.expected);
        EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    }
}

TEST(AttributeEnum, SetByNameRefusesUnknownNamesAndUnits) {
    struct Row {
        char const* name;
        Attribute::ValueUnit unit;
    };
    Row const rows[] = {
        {"hexagon", Attribute::UNIT_UNSPECIFIED}, {"", Attribute::UNIT_UNSPECIFIED},
        {"circle ", Attribute::UNIT_UNSPECIFIED}, {"7", Attribute::UNIT_UNSPECIFIED},
        {"circle", Attribute::UNIT_NUMBER},       {"circle", Attribute::UNIT_PERCENTAGE},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "'" << row.name << "' unit " << row.unit);
        ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames());
        CountingListener changes(attribute);

        EXPECT_FALSE(attribute.set(QString::fromLatin1(row.name), Attribute::LAYER_USER, row.unit));

        EXPECT_EQ(attribute.value(), Shape::Square);
        EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER))
            << "a refused name writes nothing";
        EXPECT_EQ(changes.count(), 0);
    }
}

TEST(AttributeEnum, SetByNumberTakesListedNumbersOnly) {
    ShapeAttribute attribute(nullptr, "shape", Shape::Circle, shapeNames());
    CountingListener changes(attribute);

    EXPECT_TRUE(attribute.set(7));
    EXPECT_EQ(attribute.value(), Shape::Star);
    EXPECT_EQ(changes.count(), 1);

    EXPECT_FALSE(attribute.set(5));
    EXPECT_FALSE(attribute.set(-1));
    EXPECT_EQ(attribute.value(), Shape::Star) << "an unlisted number must write nothing";
    EXPECT_EQ(changes.count(), 1);
}

TEST(AttributeEnum, UnlistedNumbersAreWrittenWhenAllowed) {
    ShapeAttribute declared(nullptr, "shape", Shape::Circle, shapeNames(), true);
    EXPECT_TRUE(declared.allowUnlisted());
    EXPECT_TRUE(declared.set(5));
    EXPECT_EQ(static_cast<int>(declared.value()), 5);

    ShapeAttribute switched(nullptr, "shape", Shape::Circle, shapeNames());
    EXPECT_FALSE(switched.allowUnlisted()) << "unlisted numbers are refused unless declared otherwise";
    switched.setAllowUnlisted(true);
    EXPECT_TRUE(switched.set(-3));
    EXPECT_EQ(static_cast<int>(switched.value()), -3);
    EXPECT_FALSE(switched.set(QStringLiteral("pentagon"))) << "names must be listed even then";
}

TEST(AttributeEnum, StyleValueTakesOneKeywordWithoutUnit) {
    struct Row {
        char const* label;
        StyleValue value;
        bool accepted;
        Shape expected;
    };
    Row const rows[] = {
        {"keyword", StyleValue{Component::keyword("Triangle")}, true, Shape::Triangle},
        {"upper-case keyword", StyleValue{Component::keyword("STAR")}, true, Shape::Star},
        {"unknown keyword", StyleValue{Component::keyword("hexagon")}, false, Shape::Square},
        {"number", StyleValue{Component::integer(2)}, false, Shape::Square},
        {"number with unit", StyleValue{Component::integer(2, Attribute::UNIT_NUMBER)}, false, Shape::Square},
        {"two keywords", StyleValue{Component::keyword("star"), Component::keyword("circle")}, false,
         Shape::Square},
        {"empty", StyleValue{}, false, Shape::Square},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.label);
        ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames());

        EXPECT_EQ(attribute.set(row.value, Attribute::LAYER_USER), row.accepted);

        EXPECT_EQ(attribute.value(), row.expected);
    }
}

TEST(AttributeEnum, WriteBelowTheLayerInForceStaysHidden) {
    ShapeAttribute attribute(nullptr, "shape", Shape::Circle, shapeNames());
    attribute.set(QStringLiteral("star"), Attribute::LAYER_ABOVE_USER);
    CountingListener changes(attribute);

    EXPECT_TRUE(attribute.set(QStringLiteral("square"), Attribute::LAYER_USER));

    EXPECT_EQ(attribute.value(), Shape::Star);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), Shape::Square);
    EXPECT_EQ(changes.count(), 0);
}

// ============================================================ the attribute: reads

TEST(AttributeEnum, AsStringGivesTheLowerCasedListedName) {
    ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames());
    bool ok = false;

    EXPECT_EQ(attribute.asString(&ok).toStdString(), "square");
    EXPECT_TRUE(ok);
    attribute = Shape::Triangle;
    EXPECT_EQ(attribute.asString().toStdString(), "triangle");
    EXPECT_EQ(attribute.asString(nullptr, Attribute::LAYER_DEFAULT).toStdString(), "square");
}

TEST(AttributeEnum, AsStringOfAnUnlistedNumberGivesItsDecimalDigits) {
    struct Row {
        int number;
        char const* expected;
    };
    Row const rows[] = {{5, "5"}, {42, "42"}, {-3, "-3"}, {1000000, "1000000"}};
    for (Row const& row : rows) {
        SCOPED_TRACE(row.number);
        ShapeAttribute attribute(nullptr, "shape", Shape::Circle, shapeNames(), true);
        ASSERT_TRUE(attribute.set(row.number));
        EXPECT_EQ(attribute.asString().toStdString(), row.expected);
    }
}

TEST(AttributeEnum, AsIntGivesTheNumberPerLayer) {
    ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames());
    attribute = Shape::Star;
    bool ok = false;

    EXPECT_EQ(attribute.asInt(&ok), 7);
    EXPECT_TRUE(ok);
    EXPECT_EQ(attribute.asInt(nullptr, Attribute::LAYER_DEFAULT), 1);
    EXPECT_EQ(attribute.asInt(nullptr, Attribute::LAYER_CURRENT), 7);
}

TEST(AttributeEnum, AsFloatIsNotSupported) {
    ShapeAttribute attribute(nullptr, "shape", Shape::Star, shapeNames());
    bool ok = true;
    attribute.asFloat(&ok);
    EXPECT_FALSE(ok) << "enumerations read as int only";
}

TEST(AttributeEnum, TypeIsEnumAndTheDemangledName) {
    ShapeAttribute attribute(nullptr, "shape", Shape::Circle, shapeNames());
    EXPECT_EQ(attribute.type().toStdString(), "enum:EnumTestTypes::Shape");
}

TEST(AttributeEnum, AttributesOfAnEnumerationShareOneNameTable) {
    ShapeAttribute first(nullptr, "a", Shape::Circle, shapeNames());
    ShapeAttribute second(nullptr, "b", Shape::Star, shapeNames());
    EXPECT_EQ(&first.names(), &shapeNames());
    EXPECT_EQ(&second.names(), &shapeNames());
}

// ============================================================ archives: by number, or by name

TEST(AttributeEnum, ArchiveTextIsReadAsNumberOrName) {
    struct Row {
        char const* text;
        Shape expected;
    };
    Row const rows[] = {
        {"2", Shape::Triangle},        {"7", Shape::Star}, {"0", Shape::Circle}, {"star", Shape::Star},
        {"TRIANGLE", Shape::Triangle},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.text);
        ShapeAttribute attribute(nullptr, "shape", unlistedShape, shapeNames());

        EXPECT_TRUE(attribute.deserialize(elementWithText(QString::fromLatin1(row.text))));

        EXPECT_EQ(attribute.value(), row.expected);
        EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    }
}

TEST(AttributeEnum, ArchiveNumberOutsideTheTableIsRefusedAndChangesNothing) {
    for (char const* text : {"5", "-1", "3"}) {
        SCOPED_TRACE(text);
        ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames());
        CountingListener changes(attribute);

        EXPECT_FALSE(attribute.deserialize(elementWithText(QString::fromLatin1(text))));

        EXPECT_EQ(attribute.value(), Shape::Square);
        EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
        EXPECT_EQ(changes.count(), 0);
    }
}

TEST(AttributeEnum, ArchiveWithAnUnknownNameIsRefusedAndChangesNothing) {
    ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames());

    EXPECT_FALSE(attribute.deserialize(elementWithText(QStringLiteral("hexagon"))));

    EXPECT_EQ(attribute.value(), Shape::Square);
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(AttributeEnum, ArchiveNumberOutsideTheTableIsTakenWhenUnlistedAreAllowed) {
    ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames(), true);

    EXPECT_TRUE(attribute.deserialize(elementWithText(QStringLiteral("5"))));

    EXPECT_EQ(static_cast<int>(attribute.value()), 5);
}

TEST(AttributeEnum, SerializeWritesTheNumber) {
    ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames());
    attribute = Shape::Star;
    Basalt::Archive archive;

    Basalt::ArchiveElement const element = attribute.serialize(archive);

    ASSERT_FALSE(element.isNull());
    EXPECT_EQ(element.get().toStdString(), "7") << "archives carry the number, not the name";
    EXPECT_EQ(element.tag().toStdString(), "EnumTestTypes::Shape");
    EXPECT_EQ(element.name().toStdString(), "shape");
    EXPECT_EQ(element.property(QStringLiteral("type")).toStdString(), "enum:EnumTestTypes::Shape");
}

// ============================================================ messages: by name only

TEST(AttributeEnum, MessageCarriesTheNameInAnyCase) {
    for (QByteArray const& name : {QByteArray("triangle"), QByteArray("TRIANGLE"), QByteArray("Triangle")}) {
        SCOPED_TRACE(name.toStdString());
        ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames());
        CountingListener changes(attribute);
        Cobalt::BinaryData message = nameMessage(name);

        attribute.eventProcess(QByteArray(), message);

        EXPECT_EQ(attribute.value(), Shape::Triangle);
        EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
        EXPECT_EQ(changes.count(), 1);
    }
}

TEST(AttributeEnum, MessageWithAnUnknownNameChangesNothing) {
    ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames(), true);
    CountingListener changes(attribute);
    Cobalt::BinaryData message = nameMessage("hexagon");

    attribute.eventProcess(QByteArray(), message);

    EXPECT_EQ(attribute.value(), Shape::Square);
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(changes.count(), 0);
}

TEST(AttributeEnum, MessageThatIsNotANameIsDropped) {
    struct Row {
        char const* label;
        Cobalt::BinaryData message;
    };
    Cobalt::BinaryData number;
    number.writeInt32(2);
    Cobalt::BinaryData numberAsText = nameMessage("2");
    Cobalt::BinaryData truncated(nameMessage("triangle").data().chopped(1));
    Row const rows[] = {
        {"a number", number},
        {"a number as text", numberAsText},
        {"a truncated name", truncated},
        {"nothing", Cobalt::BinaryData()},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.label);
        ShapeAttribute attribute(nullptr, "shape", Shape::Square, shapeNames());
        Cobalt::BinaryData message = row.message;

        attribute.eventProcess(QByteArray(), message);

        EXPECT_EQ(attribute.value(), Shape::Square);
        EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    }
}
