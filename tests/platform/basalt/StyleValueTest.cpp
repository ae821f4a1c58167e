#include "platform/basalt/StyleValue.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

using Basalt::Attribute;
using Basalt::SimpleExpression;
using Basalt::StyleValue;
using Component = Basalt::StyleValue::Component;

namespace {

struct KindRow {
    char const* name;
    Component component;
    StyleValue::ValueType type;
    bool isNumber;
};

std::vector<KindRow> kindRows() {
    return {
        {"integer", Component::integer(3), StyleValue::TYPE_INT, true},
        {"number", Component::number(2.5f), StyleValue::TYPE_FLOAT, true},
        {"color", Component::color(Cobalt::Color(1.0f, 0.0f, 0.0f, 1.0f)), StyleValue::TYPE_COLOR, false},
        {"premultiplied color", Component::colorPMA(Cobalt::ColorPMA(0.5f, 0.0f, 0.0f, 0.5f)),
         StyleValue::TYPE_COLOR_PMA, false},
        {"string", Component::string("text"), StyleValue::TYPE_STRING, false},
        {"keyword", Component::keyword("auto"), StyleValue::TYPE_KEYWORD, false},
        {"expression", Component::expression(SimpleExpression(4.0f)), StyleValue::TYPE_EXPRESSION, false},
        {"empty", Component(), StyleValue::TYPE_NONE, false},
    };
}

} // namespace

TEST(StyleValueComponent, TypeNumbersAreFixed) {
    EXPECT_EQ(StyleValue::TYPE_NONE, 0);
    EXPECT_EQ(StyleValue::TYPE_INT, 1);
    EXPECT_EQ(StyleValue::TYPE_FLOAT, 2);
    EXPECT_EQ(StyleValue::TYPE_COLOR, 3);
    EXPECT_EQ(StyleValue::TYPE_COLOR_PMA, 4);
    EXPECT_EQ(StyleValue::TYPE_STRING, 5);
    EXPECT_EQ(StyleValue::TYPE_KEYWORD, 6);
    EXPECT_EQ(StyleValue::TYPE_EXPRESSION, 7);
}

TEST(StyleValueComponent, EachFactoryMakesItsKind) {
    for (KindRow const& row : kindRows()) {
        EXPECT_EQ(row.component.type(), row.type) << row.name;
        EXPECT_EQ(row.component.isNumber(), row.isNumber) << row.name;
        EXPECT_EQ(row.component.unit(), Attribute::UNIT_UNSPECIFIED) << row.name;
    }
}

TEST(StyleValueComponent, NumbersCarryTheirUnit) {
    EXPECT_EQ(Component::number(50.0f, Attribute::UNIT_PERCENTAGE).unit(), Attribute::UNIT_PERCENTAGE);
    EXPECT_EQ(Component::integer(7, Attribute::UNIT_NUMBER).unit(), Attribute::UNIT_NUMBER);
}

// The rules of the header: numbers to numbers, colours to colours, text and keywords to keywords; every
// component reads as its own kind.
TEST(StyleValueComponent, CanConvertFollowsTheConversionFamilies) {
    struct Row {
        char const* name;
        Component component;
        StyleValue::ValueType target;
        bool expected;
    };
    Row const rows[] = {
        {"integer to integer", Component::integer(1), StyleValue::TYPE_INT, true},
        {"integer to float", Component::integer(1), StyleValue::TYPE_FLOAT, true},
        {"float to integer", Component::number(1.5f), StyleValue::TYPE_INT, true},
        {"float to float", Component::number(1.5f), StyleValue::TYPE_FLOAT, true},
        {"color to color", Component::color(Cobalt::Color()), StyleValue::TYPE_COLOR, true},
        {"color to premultiplied", Component::color(Cobalt::Color()), StyleValue::TYPE_COLOR_PMA, true},
        {"premultiplied to color", Component::colorPMA(Cobalt::ColorPMA()), StyleValue::TYPE_COLOR, true},
        {"premultiplied to premultiplied", Component::colorPMA(Cobalt::ColorPMA()),
         StyleValue::TYPE_COLOR_PMA, true},
        {"string to keyword", Component::string("a"), StyleValue::TYPE_KEYWORD, true},
        {"keyword to keyword", Component::keyword("a"), StyleValue::TYPE_KEYWORD, true},
        {"string to string", Component::string("a"), StyleValue::TYPE_STRING, true},
        {"expression to expression", Component::expression(SimpleExpression(1.0f)),
         StyleValue::TYPE_EXPRESSION, true},
        {"integer to color", Component::integer(1), StyleValue::TYPE_COLOR, false},
        {"float to premultiplied", Component::number(1.0f), StyleValue::TYPE_COLOR_PMA, false},
        {"float to keyword", Component::number(1.0f), StyleValue::TYPE_KEYWORD, false},
        {"integer to string", Component::integer(1), StyleValue::TYPE_STRING, false},
        {"color to integer", Component::color(Cobalt::Color()), StyleValue::TYPE_INT, false},
        {"color to keyword", Component::color(Cobalt::Color()), StyleValue::TYPE_KEYWORD, false},
        {"string to float", Component::string("1"), StyleValue::TYPE_FLOAT, false},
        {"keyword to integer", Component::keyword("1"), StyleValue::TYPE_INT, false},
        {"keyword to color", Component::keyword("red"), StyleValue::TYPE_COLOR, false},
        {"expression to float", Component::expression(SimpleExpression(1.0f)), StyleValue::TYPE_FLOAT, false},
        {"expression to keyword", Component::expression(SimpleExpression(1.0f)), StyleValue::TYPE_KEYWORD,
         false},
        {"empty to integer", Component(), StyleValue::TYPE_INT, false},
        {"empty to color", Component(), StyleValue::TYPE_COLOR, false},
        {"empty to keyword", Component(), StyleValue::TYPE_KEYWORD, false},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(row.component.canConvert(row.target), row.expected) << row.name;
    }
}

TEST(StyleValueComponent, IntegerReadsBackExactlyOverTheWholeRange) {
    for (int value : {0, 1, -1, 16777217, -16777217, 123456789, std::numeric_limits<int>::max(),
                      std::numeric_limits<int>::min()}) {
        EXPECT_EQ(Component::integer(value).asInt(), value) << "an integer component must keep its value";
    }
}

TEST(StyleValueComponent, NumbersReadAsEachOther) {
    EXPECT_EQ(Component::integer(-42).asFloat(), -42.0f);
    EXPECT_EQ(Component::number(2.5f).asFloat(), 2.5f);
    EXPECT_EQ(Component::number(2.75f).asInt(), 2) << "a float reads as an integer toward zero";
    EXPECT_EQ(Component::number(-2.75f).asInt(), -2) << "a float reads as an integer toward zero";
}

// Converting an out-of-range float to int is undefined; the reader must give the nearest limit instead.
TEST(StyleValueComponent, FloatBeyondIntRangeReadsAsTheNearestLimit) {
    EXPECT_EQ(Component::number(1e10f).asInt(), std::numeric_limits<int>::max());
    EXPECT_EQ(Component::number(-1e10f).asInt(), std::numeric_limits<int>::min());
    EXPECT_EQ(Component::number(std::numeric_limits<float>::infinity()).asInt(),
              std::numeric_limits<int>::max());
    EXPECT_EQ(Component::number(-std::numeric_limits<float>::infinity()).asInt(),
              std::numeric_limits<int>::min());
    EXPECT_EQ(Component::number(std::numeric_limits<float>::quiet_NaN()).asInt(), 0);
    EXPECT_EQ(Component::number(2147483520.0f).asInt(), 2147483520) << "the largest float below 2^31 fits";
}

TEST(StyleValueComponent, ColorsReadAsEachOther) {
    Cobalt::Color const straight(1.0f, 0.5f, 0.25f, 0.5f);
    Cobalt::ColorPMA const premultiplied(0.5f, 0.25f, 0.125f, 0.5f);
    EXPECT_EQ(Component::color(straight).asColor(), straight);
    EXPECT_EQ(Component::color(straight).asColorPMA(), premultiplied);
    EXPECT_EQ(Component::colorPMA(premultiplied).asColorPMA(), premultiplied);
    EXPECT_EQ(Component::colorPMA(premultiplied).asColor(), straight);
}

TEST(StyleValueComponent, TextAndKeywordsReadAsKeywords) {
    EXPECT_EQ(Component::keyword("auto").asKeyword(), QByteArray("auto"));
    EXPECT_EQ(Component::string("some text").asKeyword(), QByteArray("some text"));
}

TEST(StyleValueComponent, ExpressionsReadAsThemselvesAndNumbersAsConstants) {
    SimpleExpression percent(50.0f);
    percent.replace(SimpleExpression::TAG_PERCENTAGE, 0);
    EXPECT_EQ(Component::expression(percent).asExpr(), percent);
    EXPECT_EQ(Component::number(3.5f).asExpr(), SimpleExpression(3.5f));
}

TEST(StyleValueComponent, ReadingAnotherKindGivesAnEmptyValue) {
    Component const red = Component::color(Cobalt::Color(1.0f, 0.0f, 0.0f, 1.0f));
    Component const word = Component::keyword("12");
    Component const number = Component::number(7.5f);
    EXPECT_EQ(red.asInt(), 0);
    EXPECT_EQ(red.asFloat(), 0.0f);
    EXPECT_TRUE(red.asKeyword().isEmpty());
    EXPECT_EQ(word.asFloat(), 0.0f) << "a keyword is no number, whatever it spells";
    EXPECT_EQ(word.asInt(), 0);
    EXPECT_EQ(word.asColor(), Cobalt::Color()) << "the empty colour";
    EXPECT_EQ(number.asColorPMA(), Cobalt::ColorPMA());
    EXPECT_TRUE(number.asKeyword().isEmpty());
    EXPECT_EQ(Component().asFloat(), 0.0f);
    EXPECT_EQ(Component().asExpr(), SimpleExpression());
}

TEST(StyleValueList, HoldsComponentsInOrder) {
    StyleValue value{Component::number(1.0f, Attribute::UNIT_NUMBER), Component::keyword("auto")};
    EXPECT_EQ(value.size(), 2);
    EXPECT_FALSE(value.isEmpty());
    value.append(Component::integer(3, Attribute::UNIT_PERCENTAGE));
    ASSERT_EQ(value.size(), 3);
    EXPECT_EQ(value.type(0), StyleValue::TYPE_FLOAT);
    EXPECT_EQ(value.unit(0), Attribute::UNIT_NUMBER);
    EXPECT_TRUE(value.isNumber(0));
    EXPECT_EQ(value.asFloat(0), 1.0f);
    EXPECT_EQ(value.type(1), StyleValue::TYPE_KEYWORD);
    EXPECT_EQ(value.asKeyword(1), QByteArray("auto"));
    EXPECT_FALSE(value.isNumber(1));
    EXPECT_EQ(value.type(2), StyleValue::TYPE_INT);
    EXPECT_EQ(value.unit(2), Attribute::UNIT_PERCENTAGE);
    EXPECT_EQ(value.asInt(2), 3);
    EXPECT_EQ(value[2].type(), StyleValue::TYPE_INT);
}

TEST(StyleValueList, DefaultIsEmpty) {
    StyleValue const value;
    EXPECT_TRUE(value.isEmpty());
    EXPECT_EQ(value.size(), 0);
}

TEST(StyleValueList, IndexOutOfRangeReadsAsAnEmptyComponent) {
    StyleValue const value{Component::number(5.0f, Attribute::UNIT_PERCENTAGE)};
    for (int index : {1, 2, 100, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(value.type(index), StyleValue::TYPE_NONE) << index;
        EXPECT_EQ(value.unit(index), Attribute::UNIT_UNSPECIFIED) << index;
        EXPECT_FALSE(value.isNumber(index)) << index;
        EXPECT_EQ(value.asFloat(index), 0.0f) << index;
        EXPECT_EQ(value.asInt(index), 0) << index;
        EXPECT_TRUE(value.asKeyword(index).isEmpty()) << index;
        EXPECT_EQ(value.asExpr(index), SimpleExpression()) << index;
        EXPECT_EQ(value[index].type(), StyleValue::TYPE_NONE) << index;
    }
}

TEST(StyleValueList, PartIsTheSingleComponentAtTheIndex) {
    StyleValue const value{Component::number(1.0f), Component::number(50.0f, Attribute::UNIT_PERCENTAGE)};
    StyleValue const second = value.part(1);
    ASSERT_EQ(second.size(), 1);
    EXPECT_EQ(second.asFloat(0), 50.0f);
    EXPECT_EQ(second.unit(0), Attribute::UNIT_PERCENTAGE);
    StyleValue const first = value.part(0);
    ASSERT_EQ(first.size(), 1);
    EXPECT_EQ(first.asFloat(0), 1.0f);
}
