#include "attributes/AttributeColor.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/StyleValue.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "tests/support/CountingListener.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

using Basalt::Attribute;
using Basalt::AttributeT;
using Basalt::StyleValue;
using Cobalt::Color;
using Cobalt::ColorPMA;
using Component = StyleValue::Component;
using TestSupport::CountingListener;

namespace {

constexpr float byte(int value) {
    return static_cast<float>(value) / 255.0f;
}

template <typename C>
void expectComponents(C const& color, float red, float green, float blue, float alpha) {
    EXPECT_FLOAT_EQ(color.red, red);
    EXPECT_FLOAT_EQ(color.green, green);
    EXPECT_FLOAT_EQ(color.blue, blue);
    EXPECT_FLOAT_EQ(color.alpha, alpha);
}

Basalt::ArchiveElement elementWithText(QString const& tag, QString const& text) {
    Basalt::Archive archive;
    Basalt::ArchiveElement element = archive.createElement(tag);
    element.set(text);
    return element;
}

// A colour no parse produces, so "left alone" and "overwritten" can be told apart.
constexpr Color sentinel(0.125f, 0.25f, 0.375f, 0.625f);
constexpr ColorPMA sentinelPMA(0.125f, 0.25f, 0.375f, 0.625f);

struct ColorRow {
    char const* text;
    float red;
    float green;
    float blue;
    float alpha;
};

} // namespace

// ============================================================ text

TEST(AttributeColor, SetTextTakesNamesAndNotationsAsTheyAre) {
    ColorRow const rows[] = {
        {"red", 1.0f, 0.0f, 0.0f, 1.0f},
        {"Blue", 0.0f, 0.0f, 1.0f, 1.0f},
        {"transparent", 0.0f, 0.0f, 0.0f, 0.0f},
        {"#00ff0080", 0.0f, 1.0f, 0.0f, byte(0x80)},
        {"#abc", byte(0xaa), byte(0xbb), byte(0xcc), 1.0f},
        {"rgb(255, 128, 0)", 1.0f, byte(128), 0.0f, 1.0f},
        {"rgba(0, 0, 255, 0.5)", 0.0f, 0.0f, 1.0f, 0.5f},
    };
    for (ColorRow const& row : rows) {
        SCOPED_TRACE(row.text);
        AttributeT<Color> attribute(nullptr, "fill", sentinel);
        CountingListener changes(attribute);

        EXPECT_TRUE(attribute.set(QString::fromLatin1(row.text)));

        expectComponents(attribute.value(), row.red, row.green, row.blue, row.alpha);
        EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
        EXPECT_EQ(changes.count(), 1);
    }
}

TEST(AttributeColorPMA, SetTextMultipliesRedGreenAndBlueByAlpha) {
    ColorRow const rows[] = {
        {"rgba(255, 0, 0, 0.5)", 0.5f, 0.0f, 0.0f, 0.5f},
        {"white", 1.0f, 1.0f, 1.0f, 1.0f},
        {"transparent", 0.0f, 0.0f, 0.0f, 0.0f},
        {"#ffffff40", byte(0x40), byte(0x40), byte(0x40), byte(0x40)},
        {"rgba(0, 255, 255, 0.25)", 0.0f, 0.25f, 0.25f, 0.25f},
    };
    for (ColorRow const& row : rows) {
        SCOPED_TRACE(row.text);
        AttributeT<ColorPMA> attribute(nullptr, "fill", sentinelPMA);

        EXPECT_TRUE(attribute.set(QString::fromLatin1(row.text)));

        expectComponents(attribute.value(), row.red, row.green, row.blue, row.alpha);
    }
}

TEST(AttributeColor, SetTextRefusesWhatIsNoColourAndAnyUnit) {
    struct Row {
        char const* text;
        Attribute::ValueUnit unit;
    };
    Row const rows[] = {
        {"notacolour", Attribute::UNIT_UNSPECIFIED},
        {"", Attribute::UNIT_UNSPECIFIED},
        {"#12", Attribute::UNIT_UNSPECIFIED},
        {"rgb(1, 2)", Attribute::UNIT_UNSPECIFIED},
        {"red", Attribute::UNIT_NUMBER},
        {"red", Attribute::UNIT_PERCENTAGE},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "'" << row.text << "' unit " << row.unit);
        AttributeT<Color> straight(nullptr, "fill", sentinel);
        AttributeT<ColorPMA> premultiplied(nullptr, "fill", sentinelPMA);
        CountingListener changes(straight);

        EXPECT_FALSE(straight.set(QString::fromLatin1(row.text), Attribute::LAYER_USER, row.unit));
        EXPECT_FALSE(premultiplied.set(QString::fromLatin1(row.text), Attribute::LAYER_USER, row.unit));

        EXPECT_EQ(straight.value(), sentinel);
        EXPECT_EQ(premultiplied.value(), sentinelPMA);
        EXPECT_FALSE(straight.isValueDefinedOnLayer(Attribute::LAYER_USER))
            << "a refused text writes nothing";
        EXPECT_EQ(changes.count(), 0);
    }
}

// ============================================================ vectors and style values

TEST(AttributeColor, SetVector4TakesTheFourNumbersAsGiven) {
    AttributeT<Color> attribute(nullptr, "fill");

    EXPECT_TRUE(attribute.set(Fathom::Vector4T<float>(2.0f, -1.0f, 0.5f, 0.25f)));

    expectComponents(attribute.value(), 2.0f, -1.0f, 0.5f, 0.25f);
}

TEST(AttributeColorPMA, SetVector4MultipliesTheFirstThreeByTheFourth) {
    AttributeT<ColorPMA> attribute(nullptr, "fill");

    EXPECT_TRUE(attribute.set(Fathom::Vector4T<float>(1.0f, 0.5f, 0.2f, 0.5f)));

    expectComponents(attribute.value(), 0.5f, 0.25f, 0.1f, 0.5f);
}

// A colour component converts to the attribute's form; a keyword or text is read as a colour name.
TEST(AttributeColor, StyleValueTakesColoursAndColourNames) {
    struct Row {
        char const* label;
        StyleValue value;
        bool accepted;
        Color straight;         // expected in a straight attribute
        ColorPMA premultiplied; // expected in a premultiplied one
    };
    Row const rows[] = {
        {"straight colour", StyleValue{Component::color(Color(1.0f, 0.5f, 0.0f, 0.5f))}, true,
         Color(1.0f, 0.5f, 0.0f, 0.5f), ColorPMA(0.5f, 0.25f, 0.0f, 0.5f)},
        {"premultiplied colour", StyleValue{Component::colorPMA(ColorPMA(0.5f, 0.25f, 0.0f, 0.5f))}, true,
         Color(1.0f, 0.5f, 0.0f, 0.5f), ColorPMA(0.5f, 0.25f, 0.0f, 0.5f)},
        {"keyword", StyleValue{Component::keyword("Red")}, true, Color(1.0f, 0.0f, 0.0f, 1.0f),
         ColorPMA(1.0f, 0.0f, 0.0f, 1.0f)},
        {"text", StyleValue{Component::string("transparent")}, true, Color(0.0f, 0.0f, 0.0f, 0.0f),
         ColorPMA(0.0f, 0.0f, 0.0f, 0.0f)},
        {"unknown keyword", StyleValue{Component::keyword("bogus")}, false, sentinel, sentinelPMA},
        {"number", StyleValue{Component::number(1.0f)}, false, sentinel, sentinelPMA},
        {"two colours", StyleValue{Component::color(Color()), Component::color(Color())}, false, sentinel,
         sentinelPMA},
        {"empty", StyleValue{}, false, sentinel, sentinelPMA},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.label);
        AttributeT<Color> straight(nullptr, "fill", sentinel);
        AttributeT<ColorPMA> premultiplied(nullptr, "fill", sentinelPMA);

        EXPECT_EQ(straight.set(row.value, Attribute::LAYER_USER), row.accepted);
        EXPECT_EQ(premultiplied.set(row.value, Attribute::LAYER_USER), row.accepted);

        expectComponents(straight.value(), row.straight.red, row.straight.green, row.straight.blue,
                         row.straight.alpha);
        expectComponents(premultiplied.value(), row.premultiplied.red, row.premultiplied.green,
                         row.premultiplied.blue, row.premultiplied.alpha);
    }
}

// ============================================================ readers

TEST(AttributeColor, AsStringWritesRgbaWithChannelsTimes255) {
    struct Row {
        Color color;
        char const* expected;
    };
    Row const rows[] = {
        {Color(1.0f, 0.0f, 0.0f, 1.0f), "rgba(255, 0, 0, 1)"},
        {Color(0.2f, 0.4f, 0.6f, 0.8f), "rgba(51, 102, 153, 0.8)"},
        {Color(0.0f, 0.0f, 0.0f, 0.0f), "rgba(0, 0, 0, 0)"},
        {Color(0.5f, 1.0f, 0.25f, 0.125f), "rgba(127.5, 255, 63.75, 0.125)"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.expected);
        AttributeT<Color> attribute(nullptr, "fill", row.color);
        bool ok = false;
        EXPECT_EQ(attribute.asString(&ok).toStdString(), row.expected);
        EXPECT_TRUE(ok);
    }
}

TEST(AttributeColorPMA, AsStringWritesRgbaPmaOfThePremultipliedChannels) {
    AttributeT<ColorPMA> attribute(nullptr, "fill");
    ASSERT_TRUE(attribute.set(QStringLiteral("rgba(255, 0, 0, 0.5)")));

    EXPECT_EQ(attribute.asString().toStdString(), "rgba_pma(127.5, 0, 0, 0.5)");
    EXPECT_EQ(attribute.asString(nullptr, Attribute::LAYER_DEFAULT).toStdString(), "rgba_pma(0, 0, 0, 1)")
        << "the default of a colour is opaque black";
}

TEST(AttributeColor, NumericReadersAreNotSupported) {
    AttributeT<Color> attribute(nullptr, "fill");
    bool floatOk = true;
    bool intOk = true;
    attribute.asFloat(&floatOk);
    attribute.asInt(&intOk);
    EXPECT_FALSE(floatOk);
    EXPECT_FALSE(intOk);
}

// ============================================================ comparisons as floats

TEST(AttributeColor, NegativeZeroOverZeroInAColourIsNoChange) {
    AttributeT<Color> straight(nullptr, "fill", Color(0.0f, 0.0f, 0.0f, 1.0f));
    AttributeT<ColorPMA> premultiplied(nullptr, "fill", ColorPMA(0.0f, 0.0f, 0.0f, 1.0f));
    CountingListener straightChanges(straight);
    CountingListener premultipliedChanges(premultiplied);

    straight.setValue(Color(-0.0f, 0.0f, -0.0f, 1.0f), Attribute::LAYER_USER);
    premultiplied.setValue(ColorPMA(0.0f, -0.0f, 0.0f, 1.0f), Attribute::LAYER_USER);

    EXPECT_EQ(straightChanges.count(), 0) << "colours compare as floats, where -0 equals 0";
    EXPECT_EQ(premultipliedChanges.count(), 0);
    EXPECT_EQ(straight.currentLayer(), Attribute::LAYER_USER);
    EXPECT_FALSE(straight.isChanged());
    EXPECT_FALSE(premultiplied.isChanged());
    EXPECT_FALSE(std::signbit(straight.value().red)) << "an equal write leaves the shown value alone";
}

TEST(AttributeColor, ColourHoldingNanIsAChangeEveryTime) {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    AttributeT<Color> attribute(nullptr, "fill");
    CountingListener changes(attribute);

    attribute.setValue(Color(nan, 0.0f, 0.0f, 1.0f), Attribute::LAYER_USER);
    attribute.setValue(Color(nan, 0.0f, 0.0f, 1.0f), Attribute::LAYER_USER);

    EXPECT_EQ(changes.count(), 2) << "as floats a NaN equals nothing, itself included";
}

TEST(AttributeColor, IsChangedComparesAllFourComponents) {
    Color const base(0.25f, 0.5f, 0.75f, 1.0f);
    struct Row {
        char const* label;
        Color user;
        bool changed;
    };
    Row const rows[] = {
        {"same", base, false},
        {"red", Color(0.3f, 0.5f, 0.75f, 1.0f), true},
        {"green", Color(0.25f, 0.6f, 0.75f, 1.0f), true},
        {"blue", Color(0.25f, 0.5f, 0.7f, 1.0f), true},
        {"alpha", Color(0.25f, 0.5f, 0.75f, 0.9f), true},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.label);
        AttributeT<Color> attribute(nullptr, "fill", base);
        CountingListener changes(attribute);

        attribute = row.user;

        EXPECT_EQ(attribute.isChanged(), row.changed);
        EXPECT_EQ(changes.count(), row.changed ? 1 : 0);
    }
}

// ============================================================ archives and messages

TEST(AttributeColor, ArchiveTextIsTheFourFloatsSeparatedByBlanks) {
    AttributeT<Color> straight(nullptr, "fill");
    AttributeT<ColorPMA> premultiplied(nullptr, "stroke");
    straight = Color(1.0f, 0.5f, 0.25f, 1.0f);
    premultiplied = ColorPMA(0.5f, 0.25f, 0.0f, 0.5f);
    Basalt::Archive archive;

    Basalt::ArchiveElement const first = straight.serialize(archive);
    Basalt::ArchiveElement const second = premultiplied.serialize(archive);

    ASSERT_FALSE(first.isNull());
    ASSERT_FALSE(second.isNull());
    EXPECT_EQ(first.get().toStdString(), "1 0.5 0.25 1");
    EXPECT_EQ(first.tag().toStdString(), "Cobalt::Color");
    EXPECT_EQ(first.property(QStringLiteral("type")).toStdString(), "Cobalt::Color");
    EXPECT_EQ(second.get().toStdString(), "0.5 0.25 0 0.5");
    EXPECT_EQ(second.tag().toStdString(), "color");
    EXPECT_EQ(second.property(QStringLiteral("type")).toStdString(), "color");
}

TEST(AttributeColor, ArchiveTextRoundTrips) {
    AttributeT<Color> source(nullptr, "fill");
    source = Color(0.125f, 0.5f, 0.75f, 0.25f);
    Basalt::Archive archive;
    Basalt::ArchiveElement const element = source.serialize(archive);
    AttributeT<Color> target(nullptr, "fill");

    EXPECT_TRUE(target.deserialize(element));

    EXPECT_EQ(target.value(), source.value());
    EXPECT_EQ(target.currentLayer(), Attribute::LAYER_USER);
}

TEST(AttributeColor, BadArchiveTextStoresOpaqueBlackAndSucceeds) {
    for (char const* text : {"garbage", "1 0 0", "", "1 0 0 1 extra"}) {
        SCOPED_TRACE(text);
        AttributeT<Color> straight(nullptr, "fill", sentinel);
        AttributeT<ColorPMA> premultiplied(nullptr, "fill", sentinelPMA);

        EXPECT_TRUE(straight.deserialize(
            elementWithText(QStringLiteral("Cobalt::Color"), QString::fromLatin1(text))));
        EXPECT_TRUE(
            premultiplied.deserialize(elementWithText(QStringLiteral("color"), QString::fromLatin1(text))));

        EXPECT_EQ(straight.value(), Color(0.0f, 0.0f, 0.0f, 1.0f));
        EXPECT_EQ(premultiplied.value(), ColorPMA(0.0f, 0.0f, 0.0f, 1.0f));
        EXPECT_EQ(straight.currentLayer(), Attribute::LAYER_USER);
    }
}

TEST(AttributeColor, MessagesAreIgnored) {
    struct Row {
        char const* label;
        std::function<void(Cobalt::BinaryData&)> write;
    };
    Row const rows[] = {
        {"name", [](Cobalt::BinaryData& m) { m.writeString("red"); }},
        {"number", [](Cobalt::BinaryData& m) { m.writeFloat32(1.0f); }},
        {"vector", [](Cobalt::BinaryData& m) { m.writeVector2Float32(Fathom::Vector2T<float>(1.0f, 0.0f)); }},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.label);
        AttributeT<Color> straight(nullptr, "fill", sentinel);
        AttributeT<ColorPMA> premultiplied(nullptr, "fill", sentinelPMA);
        CountingListener changes(straight);
        Cobalt::BinaryData message;
        row.write(message);

        straight.eventProcess(QByteArray(), message);
        message.rewind();
        premultiplied.eventProcess(QByteArray(), message);

        EXPECT_EQ(straight.value(), sentinel);
        EXPECT_EQ(premultiplied.value(), sentinelPMA);
        EXPECT_FALSE(straight.isValueDefinedOnLayer(Attribute::LAYER_USER));
        EXPECT_EQ(changes.count(), 0);
    }
}

TEST(AttributeColor, TypeNamesThemselves) {
    EXPECT_EQ(AttributeT<Color>().type().toStdString(), "Cobalt::Color");
    EXPECT_EQ(AttributeT<ColorPMA>().type().toStdString(), "color");
}

TEST(AttributeColor, DefaultIsOpaqueBlack) {
    AttributeT<Color> straight(nullptr, "fill");
    AttributeT<ColorPMA> premultiplied(nullptr, "fill");
    EXPECT_EQ(straight.value(), Color(0.0f, 0.0f, 0.0f, 1.0f));
    EXPECT_EQ(premultiplied.value(), ColorPMA(0.0f, 0.0f, 0.0f, 1.0f));
}
