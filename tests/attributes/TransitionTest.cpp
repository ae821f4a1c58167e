#include "attributes/Transition.hpp"
#include "attributes/AttributeT.hpp"
#include "attributes/EnumNames.hpp"
#include "platform/basalt/TransitionManager.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

using Basalt::Attribute;
using Basalt::AttributeT;
using Basalt::BezierTimingFunction;
using Basalt::TransitionManagerT;
using Basalt::TransitionParameters;

namespace TransitionTestTypes {
enum class Phase { Idle = 0, Running = 1, Done = 2 };
} // namespace TransitionTestTypes

namespace {

using TransitionTestTypes::Phase;

Basalt::EnumNames const& phaseNames() {
    static Basalt::EnumNames const names{{"idle", 0}, {"running", 1}, {"done", 2}};
    return names;
}

// A curve symmetric about its middle: at progress 0.5 it gives exactly 0.5, elsewhere it stays within 1e-4
// of the progress. That makes the halfway value of every type exact.
constexpr float curveX1 = 0.25f;
constexpr float curveY1 = 0.25f;
constexpr float curveX2 = 0.75f;
constexpr float curveY2 = 0.75f;

TransitionParameters animated(float duration, float delay = 0.0f) {
    return TransitionParameters{duration, delay, curveX1, curveY1, curveX2, curveY2};
}

TransitionParameters switchedOff() {
    return TransitionParameters{0.0f, 0.0f, curveX1, curveY1, curveX2, curveY2};
}

float curve(float progress) {
    return BezierTimingFunction(curveX1, curveY1, curveX2, curveY2).y(progress);
}

template <typename T>
void advance(float dt) {
    TransitionManagerT<T>::instance()->update(dt);
}

template <typename T>
int activeTransitions() {
    return TransitionManagerT<T>::instance()->countActiveTransitions();
}

/// Every shown value a listener of ROLE_CHANGE saw, in order.
template <typename T>
struct ChangeLog {
    explicit ChangeLog(AttributeT<T>& attribute) {
        attribute.addListener([this, &attribute] { seen.push_back(attribute.value()); },
                              Attribute::ROLE_CHANGE);
    }
    std::size_t count() const { return seen.size(); }
    std::vector<T> seen;
};

template <typename T>
std::unique_ptr<AttributeT<T>> makeAttribute(T const& defaultValue) {
    if constexpr (std::is_enum_v<T>) {
        return std::make_unique<AttributeT<T>>(nullptr, "animated", defaultValue, phaseNames());
    } else {
        return std::make_unique<AttributeT<T>>(nullptr, "animated", defaultValue);
    }
}

// ---------------------------------------------------------------------------------------------------------
// An independent rendering of the timing curve, in double: the damped Newton solve of x(t) = p with at most
// five steps, then y(t).

double bezierComponent(double t, double a, double b) {
    double const u = 1.0 - t;
    return 3.0 * u * u * t * a + 3.0 * u * t * t * b + t * t * t;
}

double bezierDerivative(double t, double a, double b) {
    // d/dt of 3u²t·a + 3ut²·b + t³, expanded term by term.
    double const u = 1.0 - t;
    double const ofFirst = 3.0 * a * (u * u - 2.0 * u * t);
    double const ofSecond = 3.0 * b * (2.0 * u * t - t * t);
    return ofFirst + ofSecond + 3.0 * t * t;
}

double referenceCurve(double p, double x1, double y1, double x2, double y2, int maximumSteps) {
    double t = p;
    for (int step = 0; step < maximumSteps; ++step) {
        double const error = p - bezierComponent(t, x1, x2);
        if (std::fabs(error) < 0.0001) {
            break;
        }
        t = std::clamp(t + 0.9 * error / bezierDerivative(t, x1, x2), 0.0, 1.0);
    }
    return bezierComponent(t, y1, y2);
}

struct CurveRow {
    char const* label;
    float x1, y1, x2, y2;
};

CurveRow const curveRows[] = {
    {"ease", 0.25f, 0.1f, 0.25f, 1.0f},        {"ease-in", 0.42f, 0.0f, 1.0f, 1.0f},
    {"ease-out", 0.0f, 0.0f, 0.58f, 1.0f},     {"ease-in-out", 0.42f, 0.0f, 0.58f, 1.0f},
    {"straight ends", 0.0f, 0.0f, 1.0f, 1.0f}, {"symmetric", 0.25f, 0.25f, 0.75f, 0.75f},
    {"overshoot", 0.3f, -0.5f, 0.7f, 1.5f},
};

float const progressSamples[] = {0.0f, 0.05f, 0.1f,  0.2f, 0.25f, 0.3f,  0.4f, 0.5f,
                                 0.6f, 0.7f,  0.75f, 0.8f, 0.9f,  0.95f, 1.0f};

} // namespace

// ---------------------------------------------------------------------------------------------------------
// The timing curve

TEST(TimingCurve, ControlPointsOnTheDiagonalThirdsGiveTheProgressItself) {
    // With (1/3, 1/3) and (2/3, 2/3) both coordinates of the curve are t, so y = p.
    BezierTimingFunction const identity(1.0f / 3.0f, 1.0f / 3.0f, 2.0f / 3.0f, 2.0f / 3.0f);
    for (float const p : progressSamples) {
        EXPECT_NEAR(identity.y(p), p, 1e-6) << "at progress " << p;
    }
}

TEST(TimingCurve, ControlPointsOnTheDiagonalGiveTheProgressWithinTheSolverTolerance) {
    // (0, 0) and (1, 1): y(t) = x(t), so y is p up to how far the solver leaves x(t) from p.
    BezierTimingFunction const straight(0.0f, 0.0f, 1.0f, 1.0f);
    for (float const p : {0.1f, 0.25f, 0.4f, 0.5f, 0.6f, 0.75f, 0.9f}) {
        EXPECT_NEAR(straight.y(p), p, 1e-4) << "at progress " << p;
    }
}

TEST(TimingCurve, MatchesTheDampedNewtonSolveForCommonCurves) {
    for (CurveRow const& row : curveRows) {
        BezierTimingFunction const function(row.x1, row.y1, row.x2, row.y2);
        for (float const p : progressSamples) {
            double const expected = referenceCurve(p, row.x1, row.y1, row.x2, row.y2, 5);
            EXPECT_NEAR(function.y(p), expected, 1e-6) << row.label << " at progress " << p;
            EXPECT_NEAR(BezierTimingFunction::evaluate(p, row.x1, row.y1, row.x2, row.y2), expected, 1e-6)
                << row.label << " at progress " << p << ": evaluate must be the same procedure as y";
        }
    }
}

TEST(TimingCurve, StartsAtZeroAndEndsAtOneForEveryCurve) {
    for (CurveRow const& row : curveRows) {
        BezierTimingFunction const function(row.x1, row.y1, row.x2, row.y2);
        EXPECT_FLOAT_EQ(function.y(0.0f), 0.0f) << row.label;
        EXPECT_FLOAT_EQ(function.y(1.0f), 1.0f) << row.label;
    }
}

TEST(TimingCurve, StopsAfterFiveStepsEvenWhenTheSolveHasNotConverged) {
    // Near the flat ends of these curves five damped steps leave x(t) visibly away from p; the bounded
    // cost is wanted, so the result is the fifth step's, not the converged one.
    struct Row {
        CurveRow curve;
        float p;
    };
    Row const rows[] = {{{"ease-in", 0.42f, 0.0f, 1.0f, 1.0f}, 0.99f},
                        {{"ease-out", 0.0f, 0.0f, 0.58f, 1.0f}, 0.01f}};
    for (Row const& row : rows) {
        CurveRow const& c = row.curve;
        double const afterFive = referenceCurve(row.p, c.x1, c.y1, c.x2, c.y2, 5);
        double const converged = referenceCurve(row.p, c.x1, c.y1, c.x2, c.y2, 200);
        ASSERT_GT(std::fabs(afterFive - converged), 1e-4) << c.label << ": the row must show the step limit";
        float const y = BezierTimingFunction(c.x1, c.y1, c.x2, c.y2).y(row.p);
        EXPECT_NEAR(y, afterFive, 1e-6) << c.label << " at " << row.p << ": at most five steps";
    }
}

// ---------------------------------------------------------------------------------------------------------
// The value per type

namespace {

template <typename T>
void expectSameValue(T const& actual, T const& expected, char const* what) {
    if constexpr (std::is_same_v<T, QString>) {
        EXPECT_EQ(actual.toStdString(), expected.toStdString()) << what;
    } else if constexpr (std::is_enum_v<T>) {
        EXPECT_EQ(static_cast<int>(actual), static_cast<int>(expected)) << what;
    } else {
        EXPECT_EQ(actual, expected) << what;
    }
}

constexpr unsigned long twoTo63 = 1ul << 63;

// One row per type: the value at the start, the target, and the value at y = 0.5.
struct FloatRow {
    using Value = float;
    static Value from() { return 2.0f; }
    static Value to() { return 10.0f; }
    static Value halfway() { return 6.0f; }
};
struct IntUpRow {
    using Value = int;
    static Value from() { return 0; }
    static Value to() { return 5; }
    static Value halfway() { return 3; } // 2.5 rounds away from zero
};
struct IntDownRow {
    using Value = int;
    static Value from() { return 0; }
    static Value to() { return -5; }
    static Value halfway() { return -3; } // -2.5 rounds away from zero
};
struct LongRow {
    using Value = long;
    static Value from() { return -7; }
    static Value to() { return 0; }
    static Value halfway() { return -4; }
};
struct UnsignedLongRow {
    using Value = unsigned long;
    static Value from() { return twoTo63; }
    static Value to() { return twoTo63 + (1ul << 41); }
    static Value halfway() { return twoTo63 + (1ul << 40); }
};
struct TimeStampRow {
    using Value = Cobalt::TimeStamp;
    static Value from() { return Cobalt::TimeStamp(1000); }
    static Value to() { return Cobalt::TimeStamp(1005); }
    static Value halfway() { return Cobalt::TimeStamp(1003); }
};
struct Vector2IntRow {
    using Value = Fathom::Vector2T<int>;
    static Value from() { return Value(0, 0); }
    static Value to() { return Value(5, -5); }
    static Value halfway() { return Value(3, -3); }
};
struct Vector2FloatRow {
    using Value = Fathom::Vector2T<float>;
    static Value from() { return Value(0.0f, 2.0f); }
    static Value to() { return Value(4.0f, 10.0f); }
    static Value halfway() { return Value(2.0f, 6.0f); }
};
struct ColorRow {
    using Value = Cobalt::Color;
    static Value from() { return Value(0.0f, 0.0f, 0.0f, 1.0f); }
    static Value to() { return Value(1.0f, 0.5f, 0.25f, 0.0f); }
    static Value halfway() { return Value(0.5f, 0.25f, 0.125f, 0.5f); }
};
struct ColorPMARow {
    using Value = Cobalt::ColorPMA;
    static Value from() { return Value(0.0f, 0.0f, 0.0f, 1.0f); }
    static Value to() { return Value(0.5f, 1.0f, 0.0f, 0.5f); }
    static Value halfway() { return Value(0.25f, 0.5f, 0.0f, 0.75f); }
};
struct StringRow {
    using Value = QString;
    static Value from() { return QStringLiteral("before"); }
    static Value to() { return QStringLiteral("after"); }
    static Value halfway() { return to(); } // switches at y = 0.5 itself
};
struct EnumRow {
    using Value = Phase;
    static Value from() { return Phase::Idle; }
    static Value to() { return Phase::Done; }
    static Value halfway() { return Phase::Done; }
};

template <typename Row>
class TransitionValueByType : public ::testing::Test {};

using TransitionRows =
    ::testing::Types<FloatRow, IntUpRow, IntDownRow, LongRow, UnsignedLongRow, TimeStampRow, Vector2IntRow,
                     Vector2FloatRow, ColorRow, ColorPMARow, StringRow, EnumRow>;
TYPED_TEST_SUITE(TransitionValueByType, TransitionRows);

} // namespace

TYPED_TEST(TransitionValueByType, HalfwayValueFollowsTheBlendRuleOfTheType) {
    using T = typename TypeParam::Value;
    auto attribute = makeAttribute<T>(TypeParam::from());
    attribute->setTransitionParameters(animated(1.0f));
    attribute->setValue(TypeParam::to(), Attribute::LAYER_USER);
    expectSameValue(attribute->value(), TypeParam::from(), "a new target must not show before time passes");
    expectSameValue(attribute->valueOnLayer(Attribute::LAYER_USER), TypeParam::to(),
                    "the stored layer changes at once");

    advance<T>(0.5f);
    expectSameValue(attribute->value(), TypeParam::halfway(), "value at y = 0.5");
    advance<T>(0.5f);
    expectSameValue(attribute->value(), TypeParam::to(), "value at the end");
}

TEST(TransitionValue, FloatBlendsAlongTheCurve) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    attribute.setTransitionParameters(animated(1.0f));
    attribute = 8.0f;
    advance<float>(0.25f);
    EXPECT_FLOAT_EQ(attribute.value(), 8.0f * curve(0.25f));
    advance<float>(0.5f);
    EXPECT_FLOAT_EQ(attribute.value(), 8.0f * curve(0.75f));
}

TEST(TransitionValue, IntegersRoundHalfAwayFromZeroRatherThanTruncate) {
    // y(0.25) is a little below 0.25, so the blends are 24.99... and -24.99...: truncation would give 24.
    struct Row {
        int to;
        int expected;
    };
    Row const rows[] = {{100, 25}, {-100, -25}};
    ASSERT_LT(curve(0.25f), 0.25f);
    ASSERT_GT(curve(0.25f), 0.2499f);
    for (Row const& row : rows) {
        AttributeT<int> attribute(nullptr, "count", 0);
        attribute.setTransitionParameters(animated(1.0f));
        attribute = row.to;
        advance<int>(0.25f);
        EXPECT_EQ(attribute.value(), row.expected) << "towards " << row.to;
    }
}

TEST(TransitionValue, IntegersAreBlendedInFloatBeforeRounding) {
    // 100000001 has no float of its own: in float the halfway blend is 50000000 exactly, where a wider
    // type would give 50000000.5 and round it up.
    AttributeT<int> count(nullptr, "count", 0);
    AttributeT<Cobalt::TimeStamp> time(nullptr, "time", Cobalt::TimeStamp(0));
    count.setTransitionParameters(animated(1.0f));
    time.setTransitionParameters(animated(1.0f));
    count = 100000001;
    time = Cobalt::TimeStamp(100000001);
    advance<int>(0.5f);
    advance<Cobalt::TimeStamp>(0.5f);
    EXPECT_EQ(count.value(), 50000000) << "(1 - y) * from + y * to is computed in float";
    EXPECT_EQ(time.value(), Cobalt::TimeStamp(50000000)) << "(1 - y) * from + y * to is computed in float";
}

TEST(TransitionValue, EnumerationSwitchesAtHalfTheCurve) {
    AttributeT<Phase> attribute(nullptr, "phase", Phase::Idle, phaseNames());
    attribute.setTransitionParameters(animated(1.0f));
    attribute = Phase::Running;
    advance<Phase>(0.375f);
    EXPECT_EQ(static_cast<int>(attribute.value()), static_cast<int>(Phase::Idle));
    advance<Phase>(0.125f);
    EXPECT_EQ(static_cast<int>(attribute.value()), static_cast<int>(Phase::Running));
}

// ---------------------------------------------------------------------------------------------------------
// Entries and the manager

TEST(TransitionManager, InstanceIsOnePerValueTypeAndListed) {
    auto* const floats = TransitionManagerT<float>::instance();
    EXPECT_EQ(floats, TransitionManagerT<float>::instance());
    EXPECT_NE(static_cast<Basalt::TransitionManager*>(floats),
              static_cast<Basalt::TransitionManager*>(TransitionManagerT<int>::instance()));
    auto const& all = Basalt::TransitionManager::instances();
    EXPECT_NE(std::find(all.begin(), all.end(), floats), all.end());
}

TEST(TransitionManager, CreateGivesAnIdleEntryAtItsEnd) {
    AttributeT<float> attribute(nullptr, "opacity", 0.5f);
    ChangeLog<float> log(attribute);
    int const activeBefore = activeTransitions<float>();
    std::size_t const entriesBefore = TransitionManagerT<float>::instance()->entryCount();

    TransitionParameters const parameters{2.0f, 0.5f, 0.1f, 0.2f, 0.3f, 0.4f};
    attribute.setTransitionParameters(parameters);

    auto const* entry = attribute.transition();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->attribute, &attribute);
    EXPECT_EQ(entry->progress, 1.0f);
    EXPECT_EQ(entry->from, 0.5f);
    EXPECT_EQ(entry->to, 0.5f);
    EXPECT_EQ(entry->speed, 0.5f) << "speed is 1 / duration";
    EXPECT_EQ(entry->duration, 2.0f);
    EXPECT_EQ(entry->delay, 0.5f);
    EXPECT_EQ(entry->x1, 0.1f);
    EXPECT_EQ(entry->y1, 0.2f);
    EXPECT_EQ(entry->x2, 0.3f);
    EXPECT_EQ(entry->y2, 0.4f);
    EXPECT_FALSE(entry->isActive());
    EXPECT_EQ(TransitionManagerT<float>::instance()->entryCount(), entriesBefore + 1);
    EXPECT_EQ(activeTransitions<float>(), activeBefore) << "a new entry is idle";

    advance<float>(0.5f);
    EXPECT_EQ(attribute.value(), 0.5f);
    EXPECT_EQ(log.count(), 0u) << "an idle entry must not touch the value";
}

TEST(TransitionManager, CountActiveTransitionsCountsRunningAndDelayedEntriesWithAnAttribute) {
    int const before = activeTransitions<float>();
    AttributeT<float> running(nullptr, "running", 0.0f);
    AttributeT<float> delayed(nullptr, "delayed", 0.0f);
    AttributeT<float> idle(nullptr, "idle", 0.0f);
    running.setTransitionParameters(animated(1.0f));
    delayed.setTransitionParameters(animated(1.0f, 5.0f));
    idle.setTransitionParameters(animated(1.0f));
    EXPECT_EQ(activeTransitions<float>(), before);

    running = 1.0f;
    delayed = 1.0f;
    EXPECT_EQ(activeTransitions<float>(), before + 2);

    {
        auto leaving = std::make_unique<AttributeT<float>>(nullptr, "leaving", 0.0f);
        leaving->setTransitionParameters(animated(1.0f));
        *leaving = 1.0f;
        EXPECT_EQ(activeTransitions<float>(), before + 3);
    }
    EXPECT_EQ(activeTransitions<float>(), before + 2) << "an entry whose attribute left is not counted";

    advance<float>(1.0f);
    EXPECT_EQ(activeTransitions<float>(), before + 1) << "the finished one is idle, the delayed one waits";
    EXPECT_EQ(running.value(), 1.0f);
}

TEST(TransitionManager, DeadEntriesAreDroppedOnTheNextUpdate) {
    auto* const manager = TransitionManagerT<float>::instance();
    advance<float>(0.0f); // drop what earlier tests left behind
    std::size_t const baseline = manager->entryCount();

    AttributeT<float> first(nullptr, "first", 0.0f);
    auto middle = std::make_unique<AttributeT<float>>(nullptr, "middle", 0.0f);
    AttributeT<float> last(nullptr, "last", 0.0f);
    for (AttributeT<float>* attribute : {&first, middle.get(), &last}) {
        attribute->setTransitionParameters(animated(1.0f));
    }
    ASSERT_EQ(manager->entryCount(), baseline + 3);

    middle.reset();
    EXPECT_EQ(manager->entryCount(), baseline + 3) << "the entry stays until the manager walks";
    advance<float>(0.0f);
    EXPECT_EQ(manager->entryCount(), baseline + 2);

    // The entry moved into the freed slot still belongs to its attribute, and both keep animating.
    ASSERT_NE(first.transition(), nullptr);
    ASSERT_NE(last.transition(), nullptr);
    EXPECT_EQ(first.transition()->attribute, &first);
    EXPECT_EQ(last.transition()->attribute, &last);
    first = 10.0f;
    last = 20.0f;
    advance<float>(0.5f);
    EXPECT_FLOAT_EQ(first.value(), 5.0f);
    EXPECT_FLOAT_EQ(last.value(), 10.0f);
}

TEST(TransitionManager, UpdateAllDrivesEveryTypedManager) {
    AttributeT<int> count(nullptr, "count", 0);
    AttributeT<float> opacity(nullptr, "opacity", 0.0f);
    count.setTransitionParameters(animated(1.0f));
    opacity.setTransitionParameters(animated(1.0f));
    count = 10;
    opacity = 1.0f;
    Basalt::TransitionManager::updateAll(0.5f);
    EXPECT_EQ(count.value(), 5);
    EXPECT_FLOAT_EQ(opacity.value(), 0.5f);
}

TEST(TransitionParameters, ChangingThemDuringARunKeepsItGoingForward) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    attribute.setTransitionParameters(animated(1.0f));
    attribute = 10.0f;
    advance<float>(0.25f);
    float const shown = attribute.value();

    TransitionParameters const slower{4.0f, 1.0f, 0.1f, 0.2f, 0.3f, 0.4f};
    attribute.setTransitionParameters(slower);
    auto const* entry = attribute.transition();
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->speed, 0.25f);
    EXPECT_EQ(entry->progress, 0.25f) << "progress stays";
    EXPECT_EQ(entry->from, 0.0f);
    EXPECT_EQ(entry->to, 10.0f);
    EXPECT_EQ(entry->duration, 4.0f);
    EXPECT_EQ(entry->delay, 1.0f);
    EXPECT_EQ(entry->x1, 0.1f);
    EXPECT_EQ(entry->y2, 0.4f);
    EXPECT_EQ(attribute.value(), shown) << "new parameters must not move the value by themselves";
}

TEST(TransitionParameters, ChangingThemWhileTurnedBackKeepsItGoingBack) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    attribute.setTransitionParameters(animated(1.0f));
    attribute = 10.0f;
    advance<float>(0.5f);
    attribute = 0.0f;
    ASSERT_LT(attribute.transition()->speed, 0.0f);

    attribute.setTransitionParameters(animated(2.0f));
    EXPECT_EQ(attribute.transition()->speed, -0.5f) << "the sign of speed is the direction and must stay";
    EXPECT_EQ(attribute.transition()->progress, 0.5f);
}

TEST(TransitionParameters, SwitchingOffWithoutATransitionChangesNothing) {
    AttributeT<float> attribute(nullptr, "opacity", 3.0f);
    ChangeLog<float> log(attribute);
    attribute.setTransitionParameters(switchedOff());
    EXPECT_EQ(attribute.transition(), nullptr);
    EXPECT_EQ(attribute.value(), 3.0f);
    EXPECT_EQ(log.count(), 0u);
}

TEST(TransitionFloat, UserWriteAfterTheTransitionIsSwitchedOnIsAnimated) {
    AttributeT<float> attribute(nullptr, "x", 0.0f);
    attribute = 1.0f;
    attribute = 1.0f;
    attribute.setTransitionParameters(animated(1.0f));

    attribute = 2.0f;
    EXPECT_EQ(attribute.value(), 1.0f) << "repeated user writes must not skip a transition set since";
    advance<float>(1.0f);
    EXPECT_EQ(attribute.value(), 2.0f);
    attribute.setTransitionParameters(switchedOff());
}

TEST(TransitionAnimatedValue, ShowsAndEmitsOnlyWhenTheValueDiffers) {
    AttributeT<float> attribute(nullptr, "opacity", 1.0f);
    ChangeLog<float> log(attribute);
    attribute.setAnimatedValue(0.25f);
    EXPECT_EQ(attribute.value(), 0.25f);
    ASSERT_EQ(log.count(), 1u);
    EXPECT_EQ(log.seen[0], 0.25f) << "the listener reads the new value";
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_DEFAULT), 1.0f) << "no stored layer is written";
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);

    attribute.setAnimatedValue(0.25f);
    EXPECT_EQ(log.count(), 1u) << "the same value must not notify";
}

TEST(TransitionAnimatedValue, ColourShowsAndEmitsOnlyWhenTheValueDiffers) {
    AttributeT<Cobalt::ColorPMA> attribute(nullptr, "fill", Cobalt::ColorPMA(0.0f, 0.0f, 0.0f, 1.0f));
    ChangeLog<Cobalt::ColorPMA> log(attribute);
    Cobalt::ColorPMA const red(1.0f, 0.0f, 0.0f, 1.0f);
    attribute.setAnimatedValue(red);
    EXPECT_EQ(attribute.value(), red);
    attribute.setAnimatedValue(red);
    EXPECT_EQ(log.count(), 1u);
    EXPECT_FALSE(attribute.isChanged()) << "the layer in force is still the default";
}

TEST(TransitionEmitChange, WithATransitionAimsAtTheLayerInForceInsteadOfNotifying) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    ChangeLog<float> log(attribute);
    attribute.setTransitionParameters(animated(1.0f));
    attribute.setAnimatedValue(4.0f); // shown value off the layer in force, as mid-run
    ASSERT_EQ(log.count(), 1u);

    attribute.emitChange();
    EXPECT_EQ(log.count(), 1u) << "with a transition the override must not call the listeners itself";
    EXPECT_EQ(attribute.transition()->from, 4.0f);
    EXPECT_EQ(attribute.transition()->to, 0.0f);
    EXPECT_TRUE(attribute.transition()->isActive());
    advance<float>(1.0f);
    EXPECT_EQ(attribute.value(), 0.0f);
    EXPECT_EQ(log.count(), 2u);
}

TEST(TransitionLayers, ClearingTheUserLayerDuringARunTurnsBackToTheDefault) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    attribute.setTransitionParameters(animated(1.0f));
    attribute = 10.0f;
    advance<float>(0.5f);
    float const shown = attribute.value();
    attribute.clearValue(Attribute::LAYER_USER);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);
    EXPECT_EQ(attribute.value(), shown) << "the value must not jump";
    EXPECT_LT(attribute.transition()->speed, 0.0f) << "the default is where the run came from";
    advance<float>(0.5f);
    EXPECT_EQ(attribute.value(), 0.0f);
}

// ---------------------------------------------------------------------------------------------------------
// The edge cases of a running transition

namespace {

struct LayerWalkMode {
    char const* label;
    bool enableThenDisable;
};

LayerWalkMode const layerWalkModes[] = {{"never animated", false}, {"animated, then switched off", true}};

} // namespace

TEST(TransitionEdgeCases, WithTransitionsOffTheLayerRulesHoldUnchanged) {
    for (LayerWalkMode const& mode : layerWalkModes) {
        SCOPED_TRACE(mode.label);
        AttributeT<float> attribute(nullptr, "opacity", 1.0f);
        if (mode.enableThenDisable) {
            attribute.setTransitionParameters(animated(1.0f));
            attribute.setTransitionParameters(switchedOff());
        }
        ASSERT_EQ(attribute.transition(), nullptr);
        ChangeLog<float> log(attribute);

        attribute = 5.0f;
        EXPECT_EQ(attribute.value(), 5.0f) << "without a transition a write shows at once";
        EXPECT_EQ(log.count(), 1u);

        attribute.setValue(7.0f, Attribute::LAYER_DEFAULT);
        EXPECT_EQ(attribute.value(), 5.0f);
        EXPECT_EQ(log.count(), 1u) << "a write under the layer in force must not notify";

        attribute.clearValue(Attribute::LAYER_USER);
        EXPECT_EQ(attribute.value(), 7.0f);
        EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_DEFAULT);
        EXPECT_EQ(log.count(), 2u);

        attribute.setValue(7.0f, Attribute::LAYER_USER);
        EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_USER);
        EXPECT_FALSE(attribute.isChanged());
        EXPECT_EQ(log.count(), 2u) << "a write equal to the shown value must not notify";

        attribute.setValue(9.0f, Attribute::LAYER_ABOVE_USER);
        attribute.clearValue(Attribute::LAYER_BELOW_USER);
        EXPECT_FALSE(attribute.isValueDefinedOnLayer(Attribute::LAYER_BELOW_USER));
        EXPECT_EQ(log.count(), 3u) << "clearing a layer that isn't in force must not notify";
        attribute.clearValue(Attribute::LAYER_ABOVE_USER);
        EXPECT_EQ(attribute.value(), 7.0f);
        EXPECT_EQ(log.count(), 4u);
        EXPECT_EQ(attribute.transition(), nullptr);
    }
}

TEST(TransitionEdgeCases, SettingTheStartAgainTurnsTheRunBackFromWhereItStandsWithoutANewDelay) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    ChangeLog<float> log(attribute);
    attribute.setTransitionParameters(animated(1.0f, 0.5f));
    attribute = 10.0f;
    advance<float>(0.5f);  // the delay
    advance<float>(0.25f); // a quarter of the way
    float const shown = attribute.value();
    ASSERT_FLOAT_EQ(shown, 10.0f * curve(0.25f));
    std::size_t const changesBefore = log.count();

    attribute = 0.0f;
    auto const* entry = attribute.transition();
    EXPECT_EQ(attribute.value(), shown) << "turning back must not jump";
    EXPECT_EQ(log.count(), changesBefore);
    EXPECT_LT(entry->speed, 0.0f);
    EXPECT_EQ(entry->progress, 0.25f) << "it turns back from where it stands";
    EXPECT_EQ(entry->from, 0.0f);
    EXPECT_EQ(entry->to, 10.0f);

    advance<float>(0.125f);
    EXPECT_FLOAT_EQ(attribute.value(), 10.0f * curve(0.125f)) << "it moves back at once, with no new delay";
    advance<float>(0.125f);
    EXPECT_EQ(attribute.value(), 0.0f);
    EXPECT_FALSE(entry->isActive());
    EXPECT_EQ(log.count(), changesBefore + 2);
}

TEST(TransitionEdgeCases, SettingTheTargetAgainAfterTurningBackTurnsItForwardAgain) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    attribute.setTransitionParameters(animated(1.0f, 0.5f));
    attribute = 10.0f;
    advance<float>(0.5f);
    advance<float>(0.5f);
    attribute = 0.0f;
    advance<float>(0.25f);
    float const shown = attribute.value();
    ASSERT_FLOAT_EQ(shown, 10.0f * curve(0.25f));

    attribute = 10.0f;
    auto const* entry = attribute.transition();
    EXPECT_GT(entry->speed, 0.0f);
    EXPECT_EQ(entry->progress, 0.25f);
    EXPECT_EQ(attribute.value(), shown);
    advance<float>(0.25f);
    EXPECT_FLOAT_EQ(attribute.value(), 10.0f * curve(0.5f)) << "forward again at once, with no new delay";
    advance<float>(0.5f);
    EXPECT_EQ(attribute.value(), 10.0f);
}

TEST(TransitionEdgeCases, SettingANewTargetDuringARunStartsAFreshRunFromTheShownValue) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    ChangeLog<float> log(attribute);
    attribute.setTransitionParameters(animated(1.0f, 0.5f));
    attribute = 10.0f;
    advance<float>(0.5f);
    advance<float>(0.25f);
    float const shown = attribute.value();
    std::size_t const changesBefore = log.count();

    attribute = 5.0f;
    auto const* entry = attribute.transition();
    EXPECT_EQ(entry->from, shown);
    EXPECT_EQ(entry->to, 5.0f);
    EXPECT_EQ(entry->speed, 1.0f);
    EXPECT_EQ(entry->progress, -0.5f) << "a fresh run waits its delay again";
    EXPECT_EQ(attribute.value(), shown);

    advance<float>(0.5f);
    EXPECT_EQ(attribute.value(), shown) << "the value stands still through the delay";
    EXPECT_EQ(log.count(), changesBefore);
    advance<float>(0.5f);
    EXPECT_FLOAT_EQ(attribute.value(), 0.5f * shown + 0.5f * 5.0f);
    advance<float>(0.5f);
    EXPECT_EQ(attribute.value(), 5.0f);
}

TEST(TransitionEdgeCases, SettingTheShownValueWithAnotherTargetInForceRetargetsToIt) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    ChangeLog<float> log(attribute);
    attribute.setTransitionParameters(animated(1.0f, 0.5f));
    attribute = 10.0f;
    advance<float>(0.5f);
    advance<float>(0.25f);
    float const shown = attribute.value();
    std::size_t const changesBefore = log.count();

    attribute = shown;
    auto const* entry = attribute.transition();
    EXPECT_EQ(attribute.valueOnLayer(Attribute::LAYER_USER), shown);
    EXPECT_EQ(entry->from, shown);
    EXPECT_EQ(entry->to, shown) << "the run must now aim at the value written";
    EXPECT_EQ(entry->progress, -0.5f);
    EXPECT_EQ(log.count(), changesBefore) << "the shown value didn't change";

    advance<float>(1.5f);
    EXPECT_EQ(attribute.value(), shown) << "the old target must not be reached any more";
    EXPECT_EQ(log.count(), changesBefore);
}

TEST(TransitionEdgeCases, SettingTheShownValueWhenItIsAlreadyTheTargetChangesNothing) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    attribute.setTransitionParameters(animated(1.0f, 0.5f));
    attribute = 10.0f;
    advance<float>(0.5f);
    advance<float>(0.25f);
    float const shown = attribute.value();
    attribute = shown;     // retargets to the shown value: a fresh run in its delay
    advance<float>(0.25f); // part of that delay
    auto const* entry = attribute.transition();
    ASSERT_EQ(entry->progress, -0.25f);

    ChangeLog<float> log(attribute);
    attribute = shown;
    EXPECT_EQ(entry->progress, -0.25f) << "the same target must not restart the run";
    EXPECT_EQ(entry->from, shown);
    EXPECT_EQ(entry->to, shown);
    EXPECT_EQ(log.count(), 0u);

    attribute.setValue(shown, Attribute::LAYER_ABOVE_USER);
    EXPECT_EQ(attribute.currentLayer(), Attribute::LAYER_ABOVE_USER);
    EXPECT_EQ(entry->progress, -0.25f) << "moving the same value up a layer must not restart the run either";
    EXPECT_EQ(log.count(), 0u);
}

TEST(TransitionEdgeCases, SwitchingParametersOffDuringARunJumpsToTheTargetWithOneChange) {
    AttributeT<float> attribute(nullptr, "opacity", 0.0f);
    ChangeLog<float> log(attribute);
    attribute.setTransitionParameters(animated(1.0f));
    attribute = 10.0f;
    advance<float>(0.25f);
    ASSERT_EQ(log.count(), 1u);
    int const activeBefore = activeTransitions<float>();

    attribute.setTransitionParameters(switchedOff());
    EXPECT_EQ(attribute.value(), 10.0f);
    ASSERT_EQ(log.count(), 2u) << "the jump is one change";
    EXPECT_EQ(log.seen[1], 10.0f);
    EXPECT_EQ(attribute.transition(), nullptr);
    EXPECT_EQ(activeTransitions<float>(), activeBefore - 1) << "the entry no longer counts";

    advance<float>(1.0f);
    EXPECT_EQ(log.count(), 2u) << "the detached entry must not move the value";
    attribute = 3.0f;
    EXPECT_EQ(attribute.value(), 3.0f) << "with transitions off a write shows at once";
    EXPECT_EQ(log.count(), 3u);
}

TEST(TransitionEdgeCases, StringAttributeChangesAtHalfwayAndEmitsNothingAtTheEnd) {
    AttributeT<QString> attribute(nullptr, "label", QStringLiteral("before"));
    ChangeLog<QString> log(attribute);
    attribute.setTransitionParameters(animated(2.0f));
    attribute = QStringLiteral("after");
    EXPECT_EQ(log.count(), 0u);

    for (int step = 1; step <= 3; ++step) {
        advance<QString>(0.25f);
        EXPECT_EQ(attribute.value(), QStringLiteral("before")) << "progress " << step * 0.125;
    }
    EXPECT_EQ(log.count(), 0u) << "no change while y is below 0.5";

    advance<QString>(0.25f);
    EXPECT_EQ(attribute.value(), QStringLiteral("after")) << "y = 0.5 shows the target";
    ASSERT_EQ(log.count(), 1u);
    EXPECT_EQ(log.seen[0], QStringLiteral("after"));

    for (int step = 5; step <= 8; ++step) {
        advance<QString>(0.25f);
    }
    EXPECT_EQ(attribute.value(), QStringLiteral("after"));
    EXPECT_EQ(log.count(), 1u) << "reaching the end with the value already shown must not emit again";
    EXPECT_FALSE(attribute.transition()->isActive());
}

TEST(TransitionEdgeCases, DuringTheDelayTheShownValueStandsStillAndTheEntryCountsAsActive) {
    AttributeT<float> attribute(nullptr, "opacity", 2.0f);
    ChangeLog<float> log(attribute);
    attribute.setTransitionParameters(animated(1.0f, 1.0f));
    int const before = activeTransitions<float>();
    attribute = 4.0f;
    EXPECT_EQ(activeTransitions<float>(), before + 1);
    EXPECT_LT(attribute.transition()->progress, 0.0f);

    for (int step = 0; step < 3; ++step) {
        advance<float>(0.25f);
        EXPECT_EQ(attribute.value(), 2.0f) << "step " << step;
        EXPECT_EQ(activeTransitions<float>(), before + 1) << "step " << step;
    }
    EXPECT_EQ(log.count(), 0u);
    advance<float>(0.25f); // the delay ends: y = 0 shows the start, which is no change
    EXPECT_EQ(log.count(), 0u);
    advance<float>(0.5f);
    EXPECT_FLOAT_EQ(attribute.value(), 3.0f);
    EXPECT_EQ(log.count(), 1u);
}

TEST(TransitionEdgeCases, DestroyingAnAttributeInItsOwnListenerDuringUpdateLeavesTheWalkSound) {
    constexpr int count = 5;
    constexpr int doomed = 2;
    std::vector<AttributeT<float>*> attributes(count);
    std::vector<int> changes(count, 0);
    for (int i = 0; i < count; ++i) {
        attributes[i] = new AttributeT<float>(nullptr, "animated", 0.0f);
        attributes[i]->setTransitionParameters(animated(1.0f));
        attributes[i]->addListener(
            [&attributes, &changes, i] {
                ++changes[i];
                if (i == doomed) {
                    delete attributes[i];
                    attributes[i] = nullptr;
                }
            },
            Attribute::ROLE_CHANGE);
    }
    for (AttributeT<float>* attribute : attributes) {
        *attribute = 10.0f;
    }

    advance<float>(0.25f);
    ASSERT_EQ(attributes[doomed], nullptr) << "the listener must have run";
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(changes[i], 1) << "attribute " << i << " must be advanced exactly once";
    }
    for (int step = 2; step <= 4; ++step) {
        advance<float>(0.25f);
    }
    for (int i = 0; i < count; ++i) {
        if (i == doomed) {
            continue;
        }
        EXPECT_EQ(attributes[i]->value(), 10.0f) << "attribute " << i << " keeps animating to its end";
        EXPECT_EQ(changes[i], 4) << "attribute " << i;
        EXPECT_EQ(attributes[i]->transition()->attribute, attributes[i]) << "back pointer of " << i;
        delete attributes[i];
    }
}

// ---------------------------------------------------------------------------------------------------------
// More changes under the walk

TEST(TransitionWalk, DestroyingALaterAttributeDuringUpdateSkipsOnlyThatOne) {
    advance<float>(0.0f);
    constexpr int count = 4;
    std::vector<std::unique_ptr<AttributeT<float>>> attributes;
    std::vector<int> changes(count, 0);
    for (int i = 0; i < count; ++i) {
        attributes.push_back(std::make_unique<AttributeT<float>>(nullptr, "animated", 0.0f));
        attributes[i]->setTransitionParameters(animated(1.0f));
        attributes[i]->addListener([&changes, i] { ++changes[i]; }, Attribute::ROLE_CHANGE);
    }
    // The first one's listener destroys the third before the walk gets there; the last entry moves into
    // the freed slot and must still be visited once.
    attributes[0]->addListener([&attributes] { attributes[2].reset(); }, Attribute::ROLE_CHANGE);
    for (auto& attribute : attributes) {
        *attribute = 8.0f;
    }

    advance<float>(0.5f);
    ASSERT_EQ(attributes[2], nullptr);
    EXPECT_EQ(changes[0], 1);
    EXPECT_EQ(changes[1], 1);
    EXPECT_EQ(changes[2], 0);
    EXPECT_EQ(changes[3], 1) << "the entry moved into the dead slot must be visited in the same walk";
    EXPECT_FLOAT_EQ(attributes[3]->value(), 4.0f);
    EXPECT_EQ(attributes[3]->transition()->attribute, attributes[3].get());
}

TEST(TransitionWalk, TransitionsStartedByAListenerWaitForTheNextUpdate) {
    advance<float>(0.0f); // no dead entries, so none of the new ones can be moved into the walked range
    AttributeT<float> trigger(nullptr, "trigger", 0.0f);
    trigger.setTransitionParameters(animated(1.0f));
    std::vector<std::unique_ptr<AttributeT<float>>> started;
    bool fired = false;
    trigger.addListener(
        [&] {
            if (fired) {
                return;
            }
            fired = true;
            // Enough new entries to make the manager's storage grow under the walk.
            for (int i = 0; i < 64; ++i) {
                started.push_back(std::make_unique<AttributeT<float>>(nullptr, "started", 0.0f));
                started.back()->setTransitionParameters(animated(1.0f));
                *started.back() = 4.0f;
            }
        },
        Attribute::ROLE_CHANGE);
    trigger = 1.0f;

    advance<float>(0.5f);
    ASSERT_TRUE(fired);
    for (auto const& attribute : started) {
        EXPECT_EQ(attribute->value(), 0.0f) << "an entry added during a walk must not be advanced by it";
        EXPECT_EQ(attribute->transition()->attribute, attribute.get()) << "back pointer after growth";
    }
    advance<float>(0.5f);
    for (auto const& attribute : started) {
        EXPECT_FLOAT_EQ(attribute->value(), 2.0f);
    }
    EXPECT_EQ(trigger.value(), 1.0f);
}
