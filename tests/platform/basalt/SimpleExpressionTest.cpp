#include "platform/basalt/SimpleExpression.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

using Basalt::SimpleExpression;

TEST(SimpleExpression, DefaultIsZeroWithoutParameters) {
    SimpleExpression const expression;
    EXPECT_EQ(expression.constant(), 0.0f);
    EXPECT_FALSE(expression.hasParameters());
    EXPECT_EQ(expression.evaluate(nullptr, 0), 0.0f);
}

TEST(SimpleExpression, ConstantEvaluatesToItselfWhateverTheParameters) {
    SimpleExpression const expression(12.5f);
    float const parameters[] = {3.0f, 4.0f};
    EXPECT_EQ(expression.evaluate(nullptr, 0), 12.5f);
    EXPECT_EQ(expression.evaluate(parameters, 2), 12.5f);
    EXPECT_FALSE(expression.hasParameters());
}

TEST(SimpleExpression, FiftyPercentOfParameterOneIsOneHalf) {
    SimpleExpression expression(50.0f);
    expression.replace(SimpleExpression::TAG_PERCENTAGE, 0);
    float const one = 1.0f;
    EXPECT_FLOAT_EQ(expression.evaluate(&one, 1), 0.5f);
    EXPECT_EQ(expression.constant(), 0.0f) << "the constant moves into the term";
    EXPECT_TRUE(expression.hasParameters());
}

namespace {

struct EvaluateRow {
    char const* what;
    std::function<SimpleExpression()> build;
    std::vector<float> parameters;
    float expected;
};

SimpleExpression percentOf(float percent, SimpleExpression::Param parameter) {
    SimpleExpression expression(percent);
    expression.replace(SimpleExpression::TAG_PERCENTAGE, parameter);
    return expression;
}

SimpleExpression timesParameter(float factor, SimpleExpression::Param parameter) {
    SimpleExpression expression(factor);
    expression.replace(SimpleExpression::TAG_PARAMETER, parameter);
    return expression;
}

std::vector<EvaluateRow> evaluateRows() {
    return {
        {"50 % of 1", [] { return percentOf(50.0f, 0); }, {1.0f}, 0.5f},
        {"50 % of 200", [] { return percentOf(50.0f, 0); }, {200.0f}, 100.0f},
        {"25 % of parameter 1", [] { return percentOf(25.0f, 1); }, {1000.0f, 8.0f}, 2.0f},
        {"-10 % of 30", [] { return percentOf(-10.0f, 0); }, {30.0f}, -3.0f},
        {"3 * parameter 1", [] { return timesParameter(3.0f, 1); }, {10.0f, 4.0f}, 12.0f},
        {"3 * parameter 0", [] { return timesParameter(3.0f, 0); }, {10.0f, 4.0f}, 30.0f},
        {"missing parameter contributes nothing",
         [] { return timesParameter(3.0f, 2); },
         {10.0f, 4.0f},
         0.0f},
        {"no parameters at all", [] { return percentOf(50.0f, 0); }, {}, 0.0f},
        {"sum of constant and terms",
         [] {
             SimpleExpression sum(2.0f);
             sum += percentOf(50.0f, 0);
             sum += SimpleExpression(3.0f);
             sum += timesParameter(2.0f, 1);
             return sum;
         },
         {4.0f, 5.0f},
         2.0f + 2.0f + 3.0f + 10.0f},
        {"sum with a missing parameter keeps the rest",
         [] {
             SimpleExpression sum(1.0f);
             sum += timesParameter(2.0f, 0);
             sum += timesParameter(100.0f, 5);
             return sum;
         },
         {4.0f},
         9.0f},
        {"two terms on one parameter add up",
         [] {
             SimpleExpression sum = percentOf(50.0f, 0);
             sum += percentOf(25.0f, 0);
             return sum;
         },
         {8.0f},
         6.0f},
    };
}

} // namespace

TEST(SimpleExpression, EvaluatesConstantPlusTermsOfTheParametersGiven) {
    for (EvaluateRow const& row : evaluateRows()) {
        SimpleExpression const expression = row.build();
        float const value = expression.evaluate(row.parameters.empty() ? nullptr : row.parameters.data(),
                                                row.parameters.size());
        EXPECT_FLOAT_EQ(value, row.expected) << row.what;
    }
}

TEST(SimpleExpression, NullParametersLeaveOnlyTheConstant) {
    SimpleExpression expression(4.0f);
    expression += percentOf(50.0f, 0);
    EXPECT_EQ(expression.evaluate(nullptr, 3), 4.0f) << "a null parameter array must not be read";
}

TEST(SimpleExpression, AddingCombinesConstantsAndKeepsTheTerms) {
    SimpleExpression sum(1.5f);
    SimpleExpression& result = (sum += SimpleExpression(2.0f));
    EXPECT_EQ(&result, &sum) << "+= returns the expression itself";
    EXPECT_EQ(sum.constant(), 3.5f);
    EXPECT_FALSE(sum.hasParameters());
    sum += percentOf(10.0f, 0);
    EXPECT_EQ(sum.constant(), 3.5f);
    EXPECT_TRUE(sum.hasParameters());
}

TEST(SimpleExpression, EqualityComparesConstantAndTerms) {
    EXPECT_EQ(SimpleExpression(2.0f), SimpleExpression(2.0f));
    EXPECT_NE(SimpleExpression(2.0f), SimpleExpression(3.0f));
    EXPECT_EQ(percentOf(50.0f, 0), percentOf(50.0f, 0));
    EXPECT_NE(percentOf(50.0f, 0), percentOf(50.0f, 1)) << "the parameter counts";
    EXPECT_NE(percentOf(50.0f, 0), percentOf(40.0f, 0)) << "the coefficient counts";
    EXPECT_NE(percentOf(50.0f, 0), SimpleExpression(0.0f)) << "a term counts even when the constant is equal";
    EXPECT_NE(percentOf(100.0f, 0), timesParameter(100.0f, 0)) << "a percentage is not a plain factor";
    SimpleExpression const copy = percentOf(50.0f, 0);
    EXPECT_TRUE(copy == percentOf(50.0f, 0));
    EXPECT_FALSE(copy != percentOf(50.0f, 0));
}
