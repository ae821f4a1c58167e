#include "attributes/AttributeAsset.hpp"
#include "attributes/AttributeBool.hpp"
#include "attributes/AttributeString.hpp"
#include "attributes/AttributeTimeStamp.hpp"
#include "attributes/AttributeVector2.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/StyleValue.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "tests/support/CountingListener.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>

using Basalt::Attribute;
using Basalt::AttributeT;
using Basalt::StyleValue;
using Cobalt::TimeStamp;
using Component = StyleValue::Component;
using TestSupport::CountingListener;
using Vector2f = Fathom::Vector2T<float>;
using Vector2i = Fathom::Vector2T<int>;

namespace {

Basalt::ArchiveElement elementWithText(QString const& tag, QString const& text) {
    Basalt::Archive archive;
    Basalt::ArchiveElement element = archive.createElement(tag);
    element.set(text);
    return element;
}

float const quietNan = std::numeric_limits<float>::quiet_NaN();
float const infinity = std::numeric_limits<float>::infinity();

} // namespace

// ============================================================ TimeStamp

TEST(AttributeTimeStamp, IsWrittenWithSetValueOrAssignment) {
    AttributeT<TimeStamp> attribute(nullptr, "modified", TimeStamp(10));
    CountingListener changes(attribute);

    attribute = TimeStamp(1700000000123456);
    EXPECT_EQ(attribute.value(), TimeStamp(1700000000123456));
    attribute.setValue(TimeStamp(5), Attribute::LAYER_ABOVE_USER);
    EXPECT_EQ(attribute.value(), TimeStamp(5));

    EXPECT_EQ(changes.count(), 2);
}

TEST(AttributeTimeStamp, HasNoSetOverloads) {
    AttributeT<TimeStamp> attribute(nullptr, "modified", TimeStamp(10));

    EXPECT_FALSE(attribute.set(5.0f));
    EXPECT_FALSE(attribute.set(5));
    EXPECT_FALSE(attribute.set(QStringLiteral("5")));
    EXPECT_FALSE(attribute.set(StyleValue{Component::integer(5)}));

    EXPECT_EQ(attribute.value(), TimeStamp(10));
}

TEST(AttributeTimeStamp, ArchiveTextIsTheTickCount) {
    AttributeT<TimeStamp> attribute(nullptr, "modified");
    attribute = TimeStamp(-42);
    Basalt::Archive archive;

    Basalt::ArchiveElement const element = attribute.serialize(archive);

    EXPECT_EQ(element.get().toStdString(), "-42");
    EXPECT_EQ(element.tag().toStdString(), "timestamp");
    EXPECT_EQ(attribute.type().toStdString(), "timestamp");
    EXPECT_EQ(attribute.asString().toStdString(), "-42");
}

TEST(AttributeTimeStamp, BadArchiveTextIsRefusedAndTheValueKept) {
    for (char const* text : {"soon", "", "12 34", "1.5"}) {
        SCOPED_TRACE(text);
        AttributeT<TimeStamp> attribute(nullptr, "modified", TimeStamp(10));

        EXPECT_FALSE(
            attribute.deserialize(elementWithText(QStringLiteral("timestamp"), QString::fromLatin1(text))));

        EXPECT_EQ(attribute.value(), TimeStamp(10));
        EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    }
}

TEST(AttributeTimeStamp, MessageCarriesATimeStamp) {
    AttributeT<TimeStamp> attribute(nullptr, "modified", TimeStamp(10));
    Cobalt::BinaryData wrong;
    wrong.writeInt64(99);
    Cobalt::BinaryData right;
    right.writeTimeStamp(TimeStamp(99));

    attribute.eventProcess(QByteArray(), wrong);
    EXPECT_EQ(attribute.value(), TimeStamp(10)) << "a 64-bit integer is no time stamp";

    attribute.eventProcess(QByteArray(), right);
    EXPECT_EQ(attribute.value(), TimeStamp(99));
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
}

// ============================================================ Vector2T<float>

TEST(AttributeVector2f, SetTakesTheVector) {
    AttributeT<Vector2f> attribute(nullptr, "offset");
    CountingListener changes(attribute);

    EXPECT_TRUE(attribute.set(Vector2f(1.5f, -2.25f)));

    EXPECT_EQ(attribute.value(), Vector2f(1.5f, -2.25f));
    EXPECT_EQ(changes.count(), 1);
}

TEST(AttributeVector2f, StyleValueWantsExactlyTwoNumbers) {
    struct Row {
        char const* label;
        StyleValue value;
        bool accepted;
        Vector2f expected;
    };
    Vector2f const kept(9.0f, 9.0f);
    Row const rows[] = {
        {"two numbers", StyleValue{Component::number(1.5f), Component::integer(2)}, true,
         Vector2f(1.5f, 2.0f)},
        {"one number", StyleValue{Component::number(1.5f)}, false, kept},
        {"three numbers",
         StyleValue{Component::number(1.0f), Component::number(2.0f), Component::number(3.0f)}, false, kept},
        {"number and keyword", StyleValue{Component::number(1.0f), Component::keyword("auto")}, false, kept},
        {"empty", StyleValue{}, false, kept},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.label);
        AttributeT<Vector2f> attribute(nullptr, "offset", kept);

        EXPECT_EQ(attribute.set(row.value, Attribute::LAYER_USER), row.accepted);

        EXPECT_EQ(attribute.value(), row.expected);
    }
}

// The message identifier says what it holds: the whole vector, or one component by index.
TEST(AttributeVector2f, MessageIdentifierChoosesWholeVectorOrOneComponent) {
    struct Row {
        char const* id;
        std::function<void(Cobalt::BinaryData&)> write;
        Vector2f expected;
    };
    Vector2f const start(1.0f, 2.0f);
    Row const rows[] = {
        {"", [](Cobalt::BinaryData& m) { m.writeVector2Float32(Vector2f(5.0f, 6.0f)); },
         Vector2f(5.0f, 6.0f)},
        {"0", [](Cobalt::BinaryData& m) { m.writeFloat32(7.0f); }, Vector2f(7.0f, 2.0f)},
        {"1", [](Cobalt::BinaryData& m) { m.writeFloat32(7.0f); }, Vector2f(1.0f, 7.0f)},
        {"2", [](Cobalt::BinaryData& m) { m.writeFloat32(7.0f); }, start},
        {"-1", [](Cobalt::BinaryData& m) { m.writeFloat32(7.0f); }, start},
        {"x", [](Cobalt::BinaryData& m) { m.writeFloat32(7.0f); }, start},
        {"", [](Cobalt::BinaryData& m) { m.writeVector2Int32(Vector2i(5, 6)); }, start},
        {"0", [](Cobalt::BinaryData& m) { m.writeInt32(7); }, start},
        {"", [](Cobalt::BinaryData&) {}, start},
    };
    for (Row const& row : rows) {
        Cobalt::BinaryData message;
        row.write(message);
        SCOPED_TRACE(::testing::Message() << "id '" << row.id << "', " << message.data().size() << " bytes");
        AttributeT<Vector2f> attribute(nullptr, "offset", Vector2f());
        attribute = start;

        attribute.eventProcess(QByteArray(row.id), message);

        EXPECT_EQ(attribute.value(), row.expected);
        EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    }
}

TEST(AttributeVector2f, ComponentMessageReplacesThatComponentOfTheShownValue) {
    AttributeT<Vector2f> attribute(nullptr, "offset");
    attribute = Vector2f(1.0f, 2.0f);
    attribute.setAnimatedValue(Vector2f(8.0f, 9.0f));
    Cobalt::BinaryData message;
    message.writeFloat32(5.0f);

    attribute.eventProcess("0", message);

    EXPECT_EQ(attribute.value(), Vector2f(5.0f, 9.0f));
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), Vector2f(5.0f, 9.0f));
}

TEST(AttributeVector2f, ArchiveTextIsTwoNumbers) {
    AttributeT<Vector2f> attribute(nullptr, "offset");
    attribute = Vector2f(1.5f, -2.0f);
    Basalt::Archive archive;

    Basalt::ArchiveElement const element = attribute.serialize(archive);

    EXPECT_EQ(element.get().toStdString(), "1.5 -2");
    EXPECT_EQ(element.tag().toStdString(), "vector2:float");
    EXPECT_EQ(attribute.type().toStdString(), "vector2:float");
    EXPECT_EQ(attribute.asString().toStdString(), "1.5 -2");
}

TEST(AttributeVector2f, BadArchiveTextIsRefusedAndTheValueKept) {
    for (char const* text : {"1", "a b", "", "1 2 3", "1,2"}) {
        SCOPED_TRACE(text);
        AttributeT<Vector2f> attribute(nullptr, "offset", Vector2f(9.0f, 9.0f));

        EXPECT_FALSE(attribute.deserialize(
            elementWithText(QStringLiteral("vector2:float"), QString::fromLatin1(text))));

        EXPECT_EQ(attribute.value(), Vector2f(9.0f, 9.0f));
        EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    }
}

// ============================================================ Vector2T<int>

TEST(AttributeVector2i, SetOfAFloatVectorTruncatesEachComponent) {
    AttributeT<Vector2i> attribute(nullptr, "cell");

    EXPECT_TRUE(attribute.set(Vector2f(1.9f, -1.9f)));

    EXPECT_EQ(attribute.value(), Vector2i(1, -1)) << "vectors truncate where integer attributes round";
}

TEST(AttributeVector2i, SetRefusesComponentsThatAreNotFinite) {
    Vector2f const rows[] = {Vector2f(quietNan, 1.0f), Vector2f(1.0f, infinity),
                             Vector2f(-infinity, -infinity)};
    for (Vector2f const& row : rows) {
        SCOPED_TRACE(::testing::Message() << row);
        AttributeT<Vector2i> attribute(nullptr, "cell", Vector2i(3, 4));
        CountingListener changes(attribute);

        EXPECT_FALSE(attribute.set(row));

        EXPECT_EQ(attribute.value(), Vector2i(3, 4));
        EXPECT_EQ(changes.count(), 0);
    }
}

TEST(AttributeVector2i, StyleValueTruncatesTowardZero) {
    AttributeT<Vector2i> attribute(nullptr, "cell");

    EXPECT_TRUE(attribute.set(StyleValue{Component::number(2.7f), Component::number(-2.7f)}));

    EXPECT_EQ(attribute.value(), Vector2i(2, -2));
}

TEST(AttributeVector2i, MessagesCarryIntegers) {
    struct Row {
        char const* id;
        std::function<void(Cobalt::BinaryData&)> write;
        Vector2i expected;
    };
    Vector2i const start(1, 2);
    Row const rows[] = {
        {"", [](Cobalt::BinaryData& m) { m.writeVector2Int32(Vector2i(5, -6)); }, Vector2i(5, -6)},
        {"0", [](Cobalt::BinaryData& m) { m.writeInt32(7); }, Vector2i(7, 2)},
        {"1", [](Cobalt::BinaryData& m) { m.writeInt32(7); }, Vector2i(1, 7)},
        {"2", [](Cobalt::BinaryData& m) { m.writeInt32(7); }, start},
        {"x", [](Cobalt::BinaryData& m) { m.writeInt32(7); }, start},
        {"", [](Cobalt::BinaryData& m) { m.writeVector2Float32(Vector2f(5.0f, 6.0f)); }, start},
        {"1", [](Cobalt::BinaryData& m) { m.writeFloat32(7.0f); }, start},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "id '" << row.id << "'");
        AttributeT<Vector2i> attribute(nullptr, "cell");
        attribute = start;
        Cobalt::BinaryData message;
        row.write(message);

        attribute.eventProcess(QByteArray(row.id), message);

        EXPECT_EQ(attribute.value(), row.expected);
    }
}

TEST(AttributeVector2i, ArchiveTextAndType) {
    AttributeT<Vector2i> attribute(nullptr, "cell");
    attribute = Vector2i(3, -4);
    Basalt::Archive archive;

    Basalt::ArchiveElement const element = attribute.serialize(archive);

    EXPECT_EQ(element.get().toStdString(), "3 -4");
    EXPECT_EQ(element.tag().toStdString(), "vector2:int");
    EXPECT_EQ(attribute.type().toStdString(), "vector2:int");
    AttributeT<Vector2i> target(nullptr, "cell");
    EXPECT_FALSE(target.deserialize(elementWithText(QStringLiteral("vector2:int"), QStringLiteral("3.5 4"))));
    EXPECT_EQ(target.value(), Vector2i());
}

// ============================================================ QString

TEST(AttributeString, SetTakesAnyTextWhateverTheUnit) {
    AttributeT<QString> attribute(nullptr, "title", QStringLiteral("untitled"));
    CountingListener changes(attribute);

    EXPECT_TRUE(attribute.set(QStringLiteral("plan"), Attribute::LAYER_USER, Attribute::UNIT_PERCENTAGE));

    EXPECT_TRUE(attribute == QStringLiteral("plan"));
    EXPECT_TRUE(attribute != QStringLiteral("untitled"));
    EXPECT_EQ(changes.count(), 1);
}

TEST(AttributeString, EqualTextIsNoChange) {
    AttributeT<QString> attribute(nullptr, "title", QStringLiteral("plan"));
    CountingListener changes(attribute);

    attribute = QString::fromLatin1("pl") + QString::fromLatin1("an");

    EXPECT_EQ(changes.count(), 0) << "equality is text equality";
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
}

TEST(AttributeString, ClearWritesAnEmptyTextOnTheUserLayer) {
    AttributeT<QString> attribute(nullptr, "title", QStringLiteral("untitled"));
    CountingListener changes(attribute);

    attribute.clear();

    EXPECT_TRUE(attribute.value().isEmpty());
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER) << "clear() writes, it doesn't clear a layer";
    EXPECT_EQ(changes.count(), 1);
}

TEST(AttributeString, NumericReadersParseTheText) {
    struct Row {
        char const* text;
        bool intOk;
        int asInt;
        bool floatOk;
        float asFloat;
    };
    Row const rows[] = {
        {"42", true, 42, true, 42.0f},
        {"2.5", false, 0, true, 2.5f},
        {"abc", false, 0, false, 0.0f},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.text);
        AttributeT<QString> attribute(nullptr, "title", QString::fromLatin1(row.text));
        bool intOk = !row.intOk;
        bool floatOk = !row.floatOk;
        EXPECT_EQ(attribute.asInt(&intOk), row.asInt);
        EXPECT_EQ(attribute.asFloat(&floatOk), row.asFloat);
        EXPECT_EQ(intOk, row.intOk);
        EXPECT_EQ(floatOk, row.floatOk);
    }
}

TEST(AttributeString, MessageCarriesUtf8) {
    AttributeT<QString> attribute(nullptr, "title");
    QString const text = QStringLiteral("Grüße ✓");
    Cobalt::BinaryData message;
    message.writeString(text.toUtf8());

    attribute.eventProcess(QByteArray(), message);

    EXPECT_EQ(attribute.value(), text);
}

TEST(AttributeString, ArchiveTextIsTakenAsItStands) {
    for (char const* text : {"  spaced  ", "", "12", "<b>&amp;</b>"}) {
        SCOPED_TRACE(text);
        AttributeT<QString> attribute(nullptr, "title", QStringLiteral("untitled"));

        EXPECT_TRUE(
            attribute.deserialize(elementWithText(QStringLiteral("string"), QString::fromLatin1(text))));

        EXPECT_EQ(attribute.value().toStdString(), text);
        EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
    }
}

TEST(AttributeString, TypeIsString) {
    EXPECT_EQ(AttributeT<QString>().type().toStdString(), "string");
}

// ============================================================ bool

TEST(AttributeBool, TextAndNumberForms) {
    AttributeT<bool> attribute(nullptr, "visible", false);
    Basalt::Archive archive;

    EXPECT_EQ(attribute.asString().toStdString(), "false");
    EXPECT_EQ(attribute.asInt(), 0);
    EXPECT_EQ(attribute.serialize(archive).get().toStdString(), "0");

    attribute = true;

    EXPECT_EQ(attribute.asString().toStdString(), "true");
    EXPECT_EQ(attribute.asInt(), 1);
    EXPECT_EQ(attribute.serialize(archive).get().toStdString(), "1");
    EXPECT_EQ(attribute.type().toStdString(), "bool");
    EXPECT_EQ(attribute.serialize(archive).tag().toStdString(), "bool");
}

TEST(AttributeBool, SetIntTakesNonZeroAsTrue) {
    AttributeT<bool> attribute(nullptr, "visible", false);

    EXPECT_TRUE(attribute.set(-3));
    EXPECT_TRUE(attribute.value());
    EXPECT_TRUE(attribute.set(0));
    EXPECT_FALSE(attribute.value());
}

// Text flags: "true", "false", "1", "0" in any case and trimmed; anything else is refused.
TEST(AttributeBool, TextIsReadAsAFlagOrRefused) {
    struct Row {
        char const* text;
        bool accepted;
        bool value;
    };
    Row const rows[] = {
        {"true", true, true},   {"TRUE", true, true},   {" True\n", true, true}, {"1", true, true},
        {"false", true, false}, {"False", true, false}, {"0", true, false},      {" 0 ", true, false},
        {"yes", false, false},  {"2", false, false},    {"", false, false},      {"truth", false, false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "'" << row.text << "'");
        for (bool const start : {false, true}) {
            bool const expected = row.accepted ? row.value : start;
            AttributeT<bool> bySet(nullptr, "visible", start);
            AttributeT<bool> byArchive(nullptr, "visible", start);

            EXPECT_EQ(bySet.set(QString::fromLatin1(row.text)), row.accepted);
            EXPECT_EQ(
                byArchive.deserialize(elementWithText(QStringLiteral("bool"), QString::fromLatin1(row.text))),
                row.accepted);

            EXPECT_EQ(bySet.value(), expected);
            EXPECT_EQ(byArchive.value(), expected);
            EXPECT_EQ(byArchive.isValueDefinedOnLayer(Attribute::LAYER_USER), row.accepted)
                << "refused text must write nothing";
        }
    }
}

TEST(AttributeBool, MessageCarriesABool) {
    AttributeT<bool> attribute(nullptr, "visible", false);
    Cobalt::BinaryData wrong;
    wrong.writeInt32(1);
    Cobalt::BinaryData right;
    right.writeBool(true);

    attribute.eventProcess(QByteArray(), wrong);
    EXPECT_FALSE(attribute.value());
    attribute.eventProcess(QByteArray(), right);
    EXPECT_TRUE(attribute.value());
}

// ============================================================ AttributeAsset

TEST(AttributeAsset, IsATextWithItsOwnType) {
    Basalt::AttributeAsset attribute(nullptr, "image");
    CountingListener changes(attribute);

    attribute = QStringLiteral("0a1b2c");

    EXPECT_EQ(attribute.value().toStdString(), "0a1b2c");
    EXPECT_EQ(attribute.type().toStdString(), "asset");
    EXPECT_EQ(changes.count(), 1);
    Basalt::Archive archive;
    Basalt::ArchiveElement const element = attribute.serialize(archive);
    EXPECT_EQ(element.get().toStdString(), "0a1b2c");
    EXPECT_EQ(element.property(QStringLiteral("type")).toStdString(), "asset");
}

TEST(AttributeAsset, TakesTextMessagesAndArchivesLikeAString) {
    Basalt::AttributeAsset attribute(nullptr, "image");
    Cobalt::BinaryData message;
    message.writeString("ff00");

    attribute.eventProcess(QByteArray(), message);
    EXPECT_EQ(attribute.value().toStdString(), "ff00");

    EXPECT_TRUE(attribute.deserialize(elementWithText(QStringLiteral("string"), QStringLiteral("beef"))));
    EXPECT_EQ(attribute.value().toStdString(), "beef");
    EXPECT_TRUE(attribute.set(QStringLiteral("cafe")));
    EXPECT_EQ(attribute.value().toStdString(), "cafe");
}
