#include "attributes/AttributeNumericT.hpp"
#include "platform/basalt/Archive.hpp"
#include "platform/basalt/SimpleExpression.hpp"
#include "platform/basalt/StyleValue.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "tests/support/CountingListener.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <type_traits>

using Basalt::Attribute;
using Basalt::AttributeT;
using Basalt::SimpleExpression;
using Basalt::StyleValue;
using Layer = Attribute::Layer;
using Component = StyleValue::Component;
using TestSupport::CountingListener;

namespace {

std::uint32_t bitsOf(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

float fromBits(std::uint32_t bits) {
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

float const quietNan = std::numeric_limits<float>::quiet_NaN();
float const infinity = std::numeric_limits<float>::infinity();

SimpleExpression percentOfParameter(float percent) {
    SimpleExpression expression(percent);
    expression.replace(SimpleExpression::TAG_PERCENTAGE, 0);
    return expression;
}

Basalt::ArchiveElement elementWithText(QString const& tag, QString const& text) {
    Basalt::Archive archive;
    Basalt::ArchiveElement element = archive.createElement(tag);
    element.set(text);
    return element;
}

} // namespace

// ============================================================ float: plain values and bit patterns

TEST(AttributeFloat, NegativeZeroOverZeroIsAChange) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    CountingListener changes(attribute);

    attribute.setValue(-0.0f, Attribute::LAYER_USER);

    EXPECT_EQ(changes.count(), 1) << "floats are compared by bit pattern, so -0 differs from 0";
    EXPECT_TRUE(std::signbit(attribute.value()));
}

TEST(AttributeFloat, ZeroOverNegativeZeroIsAChange) {
    AttributeT<float> attribute(nullptr, "x", -0.0f);
    CountingListener changes(attribute);

    attribute.setValue(0.0f, Attribute::LAYER_USER);

    EXPECT_EQ(changes.count(), 1);
    EXPECT_FALSE(std::signbit(attribute.value()));
}

TEST(AttributeFloat, NanOverTheSameNanIsNoChange) {
    float const quiet = fromBits(0x7fc00001u);
    AttributeT<float> attribute(nullptr, "x", 1.0f);
    CountingListener changes(attribute);

    attribute.setValue(quiet, Attribute::LAYER_USER);
    ASSERT_EQ(changes.count(), 1);
    attribute.setValue(quiet, Attribute::LAYER_USER);
    attribute.setValue(quiet, Attribute::LAYER_ABOVE_USER);

    EXPECT_EQ(changes.count(), 1) << "the same NaN bit pattern is the same value";
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_ABOVE_USER);
}

TEST(AttributeFloat, NanWithAnotherPayloadIsAChange) {
    AttributeT<float> attribute(nullptr, "x", fromBits(0x7fc00001u));
    CountingListener changes(attribute);

    attribute.setValue(fromBits(0x7fc00002u), Attribute::LAYER_USER);

    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(bitsOf(attribute.value()), 0x7fc00002u);
}

TEST(AttributeFloat, ClearingNegativeZeroOverZeroShowsTheDefaultsBitPattern) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute.setValue(-0.0f, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.clearValue(Attribute::LAYER_USER);

    EXPECT_EQ(bitsOf(attribute.value()), bitsOf(0.0f))
        << "the shown value must be the value of the layer in force";
    EXPECT_EQ(changes.count(), 1);
}

// ============================================================ float: percentages and expressions

TEST(AttributeFloat, PercentageKeepsItsExpressionAndStoresItsValueForParameterOne) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    CountingListener changes(attribute);

    EXPECT_TRUE(attribute.set(50.0f, Attribute::LAYER_USER, Attribute::UNIT_PERCENTAGE));

    EXPECT_FLOAT_EQ(attribute.value(), 0.5f);
    EXPECT_EQ(attribute.expressionParameter(), 1.0f);
    ASSERT_NE(attribute.expression(Attribute::LAYER_USER), nullptr);
    EXPECT_TRUE(*attribute.expression(Attribute::LAYER_USER) == percentOfParameter(50.0f));
    EXPECT_EQ(changes.count(), 1);
}

TEST(AttributeFloat, SetPercentageWorksOnTheGivenLayer) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);

    attribute.setPercentage(25.0f, Attribute::LAYER_ABOVE_USER);

    EXPECT_FLOAT_EQ(attribute.value(), 0.25f);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_ABOVE_USER);
    ASSERT_NE(attribute.expression(Attribute::LAYER_ABOVE_USER), nullptr);
    EXPECT_TRUE(*attribute.expression(Attribute::LAYER_ABOVE_USER) == percentOfParameter(25.0f));
    EXPECT_EQ(attribute.expression(Attribute::LAYER_USER), nullptr);
}

TEST(AttributeFloat, FreshAttributeHasNoExpressions) {
    AttributeT<float> attribute(nullptr, "x", 2.0f);
    for (Layer layer : {Attribute::LAYER_DEFAULT, Attribute::LAYER_BELOW_USER, Attribute::LAYER_USER,
                        Attribute::LAYER_ABOVE_USER}) {
        EXPECT_EQ(attribute.expression(layer), nullptr) << "layer " << layer;
    }
}

// Every plain write path drops a percentage kept on the layer it writes.
TEST(AttributeFloat, PlainWriteReplacesThePercentageOfItsLayer) {
    struct Row {
        char const* path;
        std::function<void(AttributeT<float>&)> write;
    };
    Row const rows[] = {
        {"set(float)", [](AttributeT<float>& a) { a.set(3.0f); }},
        {"set(float, UNIT_NUMBER)",
         [](AttributeT<float>& a) { a.set(3.0f, Attribute::LAYER_USER, Attribute::UNIT_NUMBER); }},
        {"set(int)", [](AttributeT<float>& a) { a.set(3); }},
        {"operator=", [](AttributeT<float>& a) { a = 3.0f; }},
        {"setValue", [](AttributeT<float>& a) { a.setValue(3.0f, Attribute::LAYER_USER); }},
        {"set(StyleValue)", [](AttributeT<float>& a) { a.set(StyleValue{Component::number(3.0f)}); }},
        {"eventProcess",
         [](AttributeT<float>& a) {
             Cobalt::BinaryData message;
             message.writeFloat32(3.0f);
             a.eventProcess(QByteArray(), message);
         }},
        {"deserialize", [](AttributeT<float>& a) { a.deserialize(elementWithText("float", "3")); }},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.path);
        AttributeT<float> attribute(nullptr, "x", 0.0f);
        attribute.set(50.0f, Attribute::LAYER_USER, Attribute::UNIT_PERCENTAGE);
        ASSERT_NE(attribute.expression(Attribute::LAYER_USER), nullptr);

        row.write(attribute);

        EXPECT_EQ(attribute.value(), 3.0f);
        EXPECT_EQ(attribute.expression(Attribute::LAYER_USER), nullptr)
            << "a plain write must drop the percentage";
    }
}

TEST(AttributeFloat, PlainWriteOfTheValueAPercentageGaveStillDropsThePercentage) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute = 0.5f;
    attribute = 0.5f;
    attribute.setPercentage(50.0f);
    ASSERT_EQ(attribute.value(), 0.5f);

    attribute = 0.5f;
    EXPECT_EQ(attribute.expression(Attribute::LAYER_USER), nullptr)
        << "a plain write replaces the percentage even when the number stays";
}

TEST(AttributeFloat, PercentageOnOneLayerSurvivesWritesOnAnother) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute.setPercentage(50.0f, Attribute::LAYER_DEFAULT);

    attribute.set(3.0f, Attribute::LAYER_USER);
    ASSERT_NE(attribute.expression(Attribute::LAYER_DEFAULT), nullptr);

    attribute.clearValue(Attribute::LAYER_USER);
    EXPECT_FLOAT_EQ(attribute.value(), 0.5f);
    EXPECT_NE(attribute.expression(Attribute::LAYER_DEFAULT), nullptr);
}

TEST(AttributeFloat, ClearValueDropsTheExpressionOfThatLayer) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute.setPercentage(50.0f, Attribute::LAYER_USER);

    attribute.clearValue(Attribute::LAYER_USER);

    EXPECT_EQ(attribute.expression(Attribute::LAYER_USER), nullptr);
    EXPECT_EQ(attribute.value(), 0.0f);
}

// The default stays defined while it is all there is, and keeps what makes it up.
TEST(AttributeFloat, ClearingTheDefaultWhileItIsInForceKeepsItsExpression) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute.setPercentage(50.0f, Attribute::LAYER_DEFAULT);
    ASSERT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);

    attribute.clearValue(Attribute::LAYER_DEFAULT);
    attribute.clearValue(Attribute::LAYER_CURRENT);

    EXPECT_NE(attribute.expression(Attribute::LAYER_DEFAULT), nullptr)
        << "a clear of the default in force must do nothing at all";
    EXPECT_FLOAT_EQ(attribute.value(), 0.5f);
}

TEST(AttributeFloat, SetAsDefaultsCarriesTheUserExpressionToTheDefault) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute.setPercentage(20.0f, Attribute::LAYER_DEFAULT);
    attribute.setPercentage(50.0f, Attribute::LAYER_USER);
    CountingListener changes(attribute);

    attribute.setAsDefaults();

    ASSERT_NE(attribute.expression(Attribute::LAYER_DEFAULT), nullptr);
    EXPECT_TRUE(*attribute.expression(Attribute::LAYER_DEFAULT) == percentOfParameter(50.0f))
        << "the user's expression must replace the default's";
    EXPECT_EQ(attribute.expression(Attribute::LAYER_USER), nullptr);
    EXPECT_FLOAT_EQ(attribute.valueOnLayer(Attribute::LAYER_DEFAULT), 0.5f);
    EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_FALSE(attribute.isChanged());
    EXPECT_EQ(changes.count(), 0);
}

TEST(AttributeFloat, SetAsDefaultsWithAPlainUserValueDropsTheDefaultsExpression) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute.setPercentage(20.0f, Attribute::LAYER_DEFAULT);
    attribute.set(3.0f, Attribute::LAYER_USER);

    attribute.setAsDefaults();

    EXPECT_EQ(attribute.expression(Attribute::LAYER_DEFAULT), nullptr);
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_DEFAULT), 3.0f);
}

TEST(AttributeFloat, SetAsDefaultsWithoutAUserValueKeepsTheDefaultsExpression) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute.setPercentage(20.0f, Attribute::LAYER_DEFAULT);

    attribute.setAsDefaults();

    EXPECT_NE(attribute.expression(Attribute::LAYER_DEFAULT), nullptr);
}

// When the clear of the user layer notifies (a layer below it differs), the default must be complete by then.
TEST(AttributeFloat, ListenerDuringSetAsDefaultsFindsTheExpressionAlreadyOnTheDefaultLayer) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute.set(7.0f, Attribute::LAYER_BELOW_USER);
    attribute.setPercentage(50.0f, Attribute::LAYER_USER);
    bool expressionSeen = false;
    CountingListener changes(
        attribute, [&] { expressionSeen = attribute.expression(Attribute::LAYER_DEFAULT) != nullptr; });

    attribute.setAsDefaults();

    ASSERT_EQ(changes.count(), 1) << "falling back to the layer below the user's shows 7";
    EXPECT_EQ(attribute.value(), 7.0f);
    EXPECT_TRUE(expressionSeen) << "the listener must see the moved expression";
    EXPECT_NE(attribute.expression(Attribute::LAYER_DEFAULT), nullptr);
}

TEST(AttributeFloat, ListenerDestroyingTheAttributeDuringSetAsDefaultsEndsItSafely) {
    auto* attribute = new AttributeT<float>(nullptr, "x", 0.0f);
    attribute->set(7.0f, Attribute::LAYER_BELOW_USER);
    attribute->setPercentage(50.0f, Attribute::LAYER_USER);
    int deletes = 0;
    attribute->addListener([&] { ++deletes; }, Attribute::ROLE_DELETE);
    attribute->addListener([attribute] { delete attribute; }, Attribute::ROLE_CHANGE);

    attribute->setAsDefaults();

    EXPECT_EQ(deletes, 1);
}

TEST(AttributeFloat, SetIntIgnoresThePercentageUnit) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);

    EXPECT_TRUE(attribute.set(50, Attribute::LAYER_USER, Attribute::UNIT_PERCENTAGE));

    EXPECT_EQ(attribute.value(), 50.0f);
    EXPECT_EQ(attribute.expression(Attribute::LAYER_USER), nullptr);
}

// One component: an expression or a percentage is kept and evaluated, a number is written, the rest refused.
TEST(AttributeFloat, StyleValueTakesExpressionsPercentagesAndNumbers) {
    SimpleExpression halfPlusTwo = percentOfParameter(50.0f);
    halfPlusTwo += SimpleExpression(2.0f);
    struct Row {
        char const* label;
        StyleValue value;
        bool accepted;
        float expected;
        bool keepsExpression;
    };
    Row const rows[] = {
        {"constant expression", StyleValue{Component::expression(SimpleExpression(2.5f))}, true, 2.5f, true},
        {"percentage expression", StyleValue{Component::expression(percentOfParameter(25.0f))}, true, 0.25f,
         true},
        {"mixed expression", StyleValue{Component::expression(halfPlusTwo)}, true, 2.5f, true},
        {"float", StyleValue{Component::number(3.0f)}, true, 3.0f, false},
        {"float with UNIT_NUMBER", StyleValue{Component::number(3.0f, Attribute::UNIT_NUMBER)}, true, 3.0f,
         false},
        {"integer", StyleValue{Component::integer(4)}, true, 4.0f, false},
        {"float percentage", StyleValue{Component::number(40.0f, Attribute::UNIT_PERCENTAGE)}, true, 0.4f,
         true},
        {"integer percentage", StyleValue{Component::integer(40, Attribute::UNIT_PERCENTAGE)}, true, 0.4f,
         true},
        {"keyword", StyleValue{Component::keyword("auto")}, false, 9.0f, false},
        {"string", StyleValue{Component::string("3")}, false, 9.0f, false},
        {"colour", StyleValue{Component::color(Cobalt::Color(1, 0, 0, 1))}, false, 9.0f, false},
        {"two numbers", StyleValue{Component::number(1.0f), Component::number(2.0f)}, false, 9.0f, false},
        {"empty", StyleValue{}, false, 9.0f, false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.label);
        AttributeT<float> attribute(nullptr, "x", 0.0f);
        attribute.set(9.0f);

        EXPECT_EQ(attribute.set(row.value, Attribute::LAYER_USER), row.accepted);

        EXPECT_FLOAT_EQ(attribute.value(), row.expected);
        EXPECT_EQ(attribute.expression(Attribute::LAYER_USER) != nullptr, row.keepsExpression);
    }
}

TEST(AttributeFloat, StyleValueKeepsTheExpressionItWasGiven) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    SimpleExpression const given = percentOfParameter(30.0f);

    attribute.set(StyleValue{Component::expression(given)}, Attribute::LAYER_USER);

    ASSERT_NE(attribute.expression(Attribute::LAYER_USER), nullptr);
    EXPECT_TRUE(*attribute.expression(Attribute::LAYER_USER) == given);
}

TEST(AttributeFloat, StyleValueBelowTheLayerInForceIsStoredHiddenWithItsExpression) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute.set(9.0f, Attribute::LAYER_ABOVE_USER);
    CountingListener changes(attribute);

    EXPECT_TRUE(attribute.set(StyleValue{Component::number(40.0f, Attribute::UNIT_PERCENTAGE)},
                              Attribute::LAYER_USER));

    EXPECT_EQ(attribute.value(), 9.0f);
    EXPECT_FLOAT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), 0.4f);
    EXPECT_NE(attribute.expression(Attribute::LAYER_USER), nullptr);
    EXPECT_EQ(changes.count(), 0);
}

TEST(AttributeFloat, StyleValueOnLayerCurrentGoesToTheLayerInForce) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute.set(9.0f, Attribute::LAYER_BELOW_USER);

    attribute.set(StyleValue{Component::expression(SimpleExpression(1.5f))}, Attribute::LAYER_CURRENT);

    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_BELOW_USER);
    EXPECT_EQ(attribute.value(), 1.5f);
    EXPECT_NE(attribute.expression(Attribute::LAYER_BELOW_USER), nullptr);
}

// ============================================================ float: readers

// Reads per layer argument: the shown value, the layer in force, or a slot whatever its flag says.
TEST(AttributeFloat, ReadersTakeTheValueTheLayerArgumentNames) {
    struct Row {
        Layer layer;
        float asFloat;
        int asInt;
        char const* asString;
    };
    // Default 1.75, user -2.5, shown 9.25 (an animated value), the other two slots never written.
    Row const rows[] = {
        {Attribute::LAYER_CURRENT_VALUE, 9.25f, 9, "9.25"}, {Attribute::LAYER_CURRENT, -2.5f, -2, "-2.5"},
        {Attribute::LAYER_DEFAULT, 1.75f, 1, "1.75"},       {Attribute::LAYER_BELOW_USER, 0.0f, 0, "0"},
        {Attribute::LAYER_USER, -2.5f, -2, "-2.5"},         {Attribute::LAYER_ABOVE_USER, 0.0f, 0, "0"},
    };
    AttributeT<float> attribute(nullptr, "x", 1.75f);
    attribute.set(-2.5f);
    attribute.setAnimatedValue(9.25f);
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "layer " << row.layer);
        bool floatOk = false;
        bool intOk = false;
        bool stringOk = false;
        EXPECT_EQ(attribute.asFloat(&floatOk, row.layer), row.asFloat);
        EXPECT_EQ(attribute.asInt(&intOk, row.layer), row.asInt) << "asInt truncates toward zero";
        EXPECT_EQ(attribute.asString(&stringOk, row.layer).toStdString(), row.asString);
        EXPECT_TRUE(floatOk);
        EXPECT_TRUE(intOk);
        EXPECT_TRUE(stringOk);
    }
}

TEST(AttributeFloat, AsIntSaturatesAndReadsNanAsZero) {
    struct Row {
        float value;
        int expected;
    };
    Row const rows[] = {
        {3e9f, std::numeric_limits<int>::max()},
        {-3e9f, std::numeric_limits<int>::min()},
        {infinity, std::numeric_limits<int>::max()},
        {-infinity, std::numeric_limits<int>::min()},
        {quietNan, 0},
        {2.9f, 2},
        {-2.9f, -2},
        {-0.5f, 0},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "value " << row.value);
        AttributeT<float> attribute(nullptr, "x", row.value);
        EXPECT_EQ(attribute.asInt(), row.expected);
    }
}

TEST(AttributeFloat, AsStringHasSixSignificantDigits) {
    AttributeT<float> attribute(nullptr, "x", 3.14159265f);
    EXPECT_EQ(attribute.asString().toStdString(), "3.14159");
}

TEST(AttributeFloat, BadArchiveTextStoresZeroAndSucceeds) {
    AttributeT<float> attribute(nullptr, "x", 5.0f);

    EXPECT_TRUE(attribute.deserialize(elementWithText("float", "not a number")));

    EXPECT_EQ(attribute.value(), 0.0f);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
}

// ============================================================ the integers

template <typename T>
class AttributeInteger : public ::testing::Test {};
using IntegerTypes = ::testing::Types<int, long, unsigned long>;
TYPED_TEST_SUITE(AttributeInteger, IntegerTypes);

TYPED_TEST(AttributeInteger, SetFloatRoundsHalfAwayFromZero) {
    using T = TypeParam;
    struct Row {
        float value;
        long expected;
    };
    Row const positive[] = {{0.4f, 0}, {0.5f, 1}, {1.4f, 1}, {1.5f, 2}, {2.49f, 2}, {2.5f, 3}, {7.0f, 7}};
    Row const negative[] = {{-0.4f, 0}, {-0.5f, -1}, {-1.4f, -1}, {-1.5f, -2}, {-2.5f, -3}, {-7.0f, -7}};
    auto check = [](Row const& row) {
        SCOPED_TRACE(::testing::Message() << "set(" << row.value << ")");
        AttributeT<T> attribute(nullptr, "n", 100);
        EXPECT_TRUE(attribute.set(row.value));
        EXPECT_EQ(attribute.value(), static_cast<T>(row.expected));
    };
    for (Row const& row : positive) {
        check(row);
    }
    if constexpr (std::is_signed_v<T>) {
        for (Row const& row : negative) {
            check(row);
        }
    }
}

TYPED_TEST(AttributeInteger, SetZeroFloatTakesTheNegativeBranchAndTruncatesToZero) {
    using T = TypeParam;
    for (float zero : {0.0f, -0.0f}) {
        SCOPED_TRACE(::testing::Message() << "sign bit " << std::signbit(zero));
        AttributeT<T> attribute(nullptr, "n", 0);
        attribute.set(5);
        CountingListener changes(attribute);

        EXPECT_TRUE(attribute.set(zero));

        EXPECT_EQ(attribute.value(), T(0)) << "0 - 0.5 truncates to 0, never to -1 or a wrapped value";
        EXPECT_EQ(changes.count(), 1);
    }
}

TYPED_TEST(AttributeInteger, SetFloatIgnoresTheUnit) {
    using T = TypeParam;
    AttributeT<T> attribute(nullptr, "n", 0);

    EXPECT_TRUE(attribute.set(2.5f, Attribute::LAYER_USER, Attribute::UNIT_PERCENTAGE));

    EXPECT_EQ(attribute.value(), T(3));
}

TYPED_TEST(AttributeInteger, NonFiniteNumbersAreRefusedAndTheValueKept) {
    using T = TypeParam;
    struct Row {
        char const* label;
        std::function<bool(AttributeT<T>&)> write;
    };
    Row const rows[] = {
        {"set(NaN)", [](AttributeT<T>& a) { return a.set(quietNan); }},
        {"set(infinity)", [](AttributeT<T>& a) { return a.set(infinity); }},
        {"set(-infinity)", [](AttributeT<T>& a) { return a.set(-infinity); }},
        {"StyleValue NaN", [](AttributeT<T>& a) { return a.set(StyleValue{Component::number(quietNan)}); }},
        {"StyleValue infinity",
         [](AttributeT<T>& a) { return a.set(StyleValue{Component::number(infinity)}); }},
        {"StyleValue infinite expression",
         [](AttributeT<T>& a) {
             return a.set(StyleValue{Component::expression(SimpleExpression(-infinity))});
         }},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.label);
        AttributeT<T> attribute(nullptr, "n", 0);
        attribute.set(5);
        CountingListener changes(attribute);

        EXPECT_FALSE(row.write(attribute));

        EXPECT_EQ(attribute.value(), T(5));
        EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
        EXPECT_EQ(changes.count(), 0) << "a refused write must leave the attribute as it was";
    }
}

TYPED_TEST(AttributeInteger, SetIntSignExtends) {
    using T = TypeParam;
    AttributeT<T> attribute(nullptr, "n", 0);

    EXPECT_TRUE(attribute.set(-2));

    if constexpr (std::is_same_v<T, unsigned long>) {
        EXPECT_EQ(attribute.value(), std::numeric_limits<unsigned long>::max() - 1);
    } else {
        EXPECT_EQ(attribute.value(), T(-2));
    }
}

// One component: an expression evaluated without parameters or a number, both truncated toward zero.
TYPED_TEST(AttributeInteger, StyleValueTakesExpressionsAndNumbersTruncated) {
    using T = TypeParam;
    SimpleExpression twoPlusHalf = percentOfParameter(50.0f);
    twoPlusHalf += SimpleExpression(2.0f);
    struct Row {
        char const* label;
        StyleValue value;
        bool accepted;
        long expected;
    };
    Row const rows[] = {
        {"constant expression", StyleValue{Component::expression(SimpleExpression(7.9f))}, true, 7},
        {"parameter term counts nothing", StyleValue{Component::expression(percentOfParameter(50.0f))}, true,
         0},
        {"constant plus term", StyleValue{Component::expression(twoPlusHalf)}, true, 2},
        {"float", StyleValue{Component::number(2.7f)}, true, 2},
        {"integer", StyleValue{Component::integer(5)}, true, 5},
        {"percentage unit is not applied", StyleValue{Component::number(40.0f, Attribute::UNIT_PERCENTAGE)},
         true, 40},
        {"keyword", StyleValue{Component::keyword("auto")}, false, 9},
        {"colour", StyleValue{Component::color(Cobalt::Color())}, false, 9},
        {"two numbers", StyleValue{Component::number(1.0f), Component::number(2.0f)}, false, 9},
        {"empty", StyleValue{}, false, 9},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.label);
        AttributeT<T> attribute(nullptr, "n", 0);
        attribute.set(9);

        EXPECT_EQ(attribute.set(row.value, Attribute::LAYER_USER), row.accepted);

        EXPECT_EQ(attribute.value(), static_cast<T>(row.expected));
    }
}

TEST(AttributeSignedInteger, StyleValueNegativeNumbersTruncateTowardZero) {
    AttributeT<int> small(nullptr, "n", 0);
    AttributeT<long> wide(nullptr, "n", 0);

    EXPECT_TRUE(small.set(StyleValue{Component::number(-2.7f)}));
    EXPECT_TRUE(wide.set(StyleValue{Component::expression(SimpleExpression(-3.9f))}));

    EXPECT_EQ(small.value(), -2);
    EXPECT_EQ(wide.value(), -3L);
}

TYPED_TEST(AttributeInteger, ReadersTakeTheValueTheLayerArgumentNames) {
    using T = TypeParam;
    struct Row {
        Layer layer;
        long value;
    };
    // Default 3, user 8, shown 11 (an animated value).
    Row const rows[] = {
        {Attribute::LAYER_CURRENT_VALUE, 11}, {Attribute::LAYER_CURRENT, 8}, {Attribute::LAYER_DEFAULT, 3},
        {Attribute::LAYER_BELOW_USER, 0},     {Attribute::LAYER_USER, 8},    {Attribute::LAYER_ABOVE_USER, 0},
    };
    AttributeT<T> attribute(nullptr, "n", 3);
    attribute.set(8);
    attribute.setAnimatedValue(11);
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "layer " << row.layer);
        bool floatOk = false;
        bool intOk = false;
        bool stringOk = false;
        EXPECT_EQ(attribute.asFloat(&floatOk, row.layer), static_cast<float>(row.value));
        EXPECT_EQ(attribute.asInt(&intOk, row.layer), static_cast<int>(row.value));
        EXPECT_EQ(attribute.asString(&stringOk, row.layer).toStdString(), std::to_string(row.value));
        EXPECT_TRUE(floatOk && intOk && stringOk) << "numbers always read";
    }
}

TYPED_TEST(AttributeInteger, BadArchiveTextStoresZeroAndSucceeds) {
    using T = TypeParam;
    AttributeT<T> attribute(nullptr, "n", 5);

    EXPECT_TRUE(attribute.deserialize(elementWithText("int", "twelve")));

    EXPECT_EQ(attribute.value(), T(0));
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
}

TEST(AttributeNumeric, TypeNamesThemselves) {
    struct Row {
        std::function<QByteArray()> type;
        char const* expected;
    };
    Row const rows[] = {
        {[] { return AttributeT<float>().type(); }, "float"},
        {[] { return AttributeT<int>().type(); }, "int"},
        {[] { return AttributeT<long>().type(); }, "long"},
        {[] { return AttributeT<unsigned long>().type(); }, "unsigned long"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.type().toStdString(), row.expected);
    }
}

TEST(AttributeNumeric, MessagesAreReadWithTheWidthOfTheType) {
    AttributeT<int> small(nullptr, "n", 1);
    AttributeT<long> wide(nullptr, "n", 1);
    Cobalt::BinaryData int32;
    int32.writeInt32(-5);
    Cobalt::BinaryData int64;
    int64.writeInt64(-5000000000L);

    small.eventProcess(QByteArray(), int64);
    wide.eventProcess(QByteArray(), int32);
    EXPECT_EQ(small.value(), 1) << "an int reads a 32-bit integer only";
    EXPECT_EQ(wide.value(), 1) << "a long reads a 64-bit integer only";

    int32.rewind();
    int64.rewind();
    small.eventProcess(QByteArray(), int32);
    wide.eventProcess(QByteArray(), int64);
    EXPECT_EQ(small.value(), -5);
    EXPECT_EQ(wide.value(), -5000000000L);
}

// ============================================================ long and unsigned long

TEST(AttributeLong, KeepsValuesBeyondThirtyTwoBits) {
    AttributeT<long> attribute(nullptr, "n", 0);

    attribute = -5000000000L;

    EXPECT_EQ(attribute.asString().toStdString(), "-5000000000");
    EXPECT_EQ(attribute.asFloat(), -5e9f);
    EXPECT_TRUE(attribute.deserialize(elementWithText("long", "-9223372036854775808")));
    EXPECT_EQ(attribute.value(), std::numeric_limits<long>::min());
}

TEST(AttributeUnsignedLong, StyleValueFromTwoToTheSixtyThreeOnDoesNotOverflow) {
    struct Row {
        float number;
        unsigned long expected;
    };
    Row const rows[] = {
        {std::ldexp(1.0f, 63), 1ul << 63},
        {std::ldexp(1.5f, 63), 3ul << 62},
        {std::ldexp(0x1.fffffep-1f, 64), 18446742974197923840ul}, // the largest float below 2^64
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "number " << row.number);
        AttributeT<unsigned long> attribute(nullptr, "n", 0);
        EXPECT_TRUE(attribute.set(StyleValue{Component::number(row.number)}));
        EXPECT_EQ(attribute.value(), row.expected);
    }
}

TEST(AttributeUnsignedLong, MessagesCarryTheSignedSixtyFourBitPattern) {
    struct Row {
        std::int64_t sent;
        unsigned long expected;
    };
    Row const rows[] = {
        {-1, std::numeric_limits<unsigned long>::max()},
        {std::numeric_limits<std::int64_t>::min(), 1ul << 63},
        {42, 42ul},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(::testing::Message() << "sent " << row.sent);
        AttributeT<unsigned long> attribute(nullptr, "n", 0);
        Cobalt::BinaryData message;
        message.writeInt64(row.sent);
        attribute.eventProcess(QByteArray(), message);
        EXPECT_EQ(attribute.value(), row.expected);
    }
}

TEST(AttributeUnsignedLong, ReadsAndWritesTheTopOfItsRange) {
    AttributeT<unsigned long> attribute(nullptr, "n", 0);

    EXPECT_TRUE(attribute.deserialize(elementWithText("unsigned long", "18446744073709551615")));

    EXPECT_EQ(attribute.value(), std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(attribute.asString().toStdString(), "18446744073709551615");
    EXPECT_EQ(attribute.asFloat(), 18446744073709551616.0f);
    EXPECT_EQ(attribute.asInt(), std::numeric_limits<int>::max()) << "asInt saturates";
}

TYPED_TEST(AttributeInteger, ArchiveTextIsReadInBaseTen) {
    using T = TypeParam;
    struct Row {
        char const* text;
        long expected;
    };
    Row const rows[] = {{"010", 10}, {"0x1F", 0}, {"42", 42}, {"+7", 7}};
    for (Row const& row : rows) {
        SCOPED_TRACE(row.text);
        AttributeT<T> attribute(nullptr, "n", 5);
        EXPECT_TRUE(attribute.deserialize(elementWithText("int", QString::fromLatin1(row.text))));
        EXPECT_EQ(attribute.value(), static_cast<T>(row.expected));
    }
}
