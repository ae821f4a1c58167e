#include "folly/Try.h"
#include "folly/ExceptionWrapper.h"
#include "folly/Unit.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

using folly::exception_wrapper;
using folly::make_exception_wrapper;
using folly::Try;
using folly::Unit;

namespace {

// A type outside the std::exception hierarchy, to check that such throws survive wrapping too.
struct PlainError {
    int code;
};

template <class Ex, class F>
std::string messageOf(F&& f) {
    try {
        f();
    } catch (Ex const& ex) {
        return ex.what();
    }
    return "<nothing thrown>";
}

} // namespace

// --- Unit

static_assert(std::is_same<folly::lift_unit_t<void>, Unit>::value, "void lifts to Unit");
static_assert(std::is_same<folly::lift_unit_t<int>, int>::value, "other types are left alone");
static_assert(std::is_same<folly::drop_unit_t<Unit>, void>::value, "Unit drops to void");
static_assert(std::is_same<folly::drop_unit_t<int>, int>::value, "other types are left alone");

TEST(TryTest, UnitValuesAreAllEqual) {
    Unit a;
    EXPECT_TRUE(a == folly::unit);
    EXPECT_FALSE(a != folly::unit);
}

// --- Try<T>

static_assert(std::is_copy_constructible<Try<std::string>>::value, "Try<T> copies when T does");
static_assert(!std::is_copy_constructible<Try<std::unique_ptr<int>>>::value, "...and only then");
static_assert(std::is_move_constructible<Try<std::unique_ptr<int>>>::value, "Try<T> always moves");
static_assert(!std::is_convertible<int, Try<int>>::value, "value construction is explicit");
static_assert(folly::isTry<Try<int>>::value && !folly::isTry<int>::value, "isTry detects Try");

TEST(TryTest, DefaultConstructedIsEmpty) {
    Try<int> t;
    EXPECT_FALSE(t.hasValue());
    EXPECT_FALSE(t.hasException());
    EXPECT_EQ(messageOf<folly::UsingUninitializedTry>([&] { t.value(); }), "Using uninitialized try");
    EXPECT_EQ(messageOf<folly::TryException>([&] { t.exception(); }), "Try does not contain an exception");
}

TEST(TryTest, HoldsAValue) {
    Try<int> t(42);
    EXPECT_TRUE(t.hasValue());
    EXPECT_FALSE(t.hasException());
    EXPECT_EQ(t.value(), 42);
    EXPECT_EQ(*t, 42);
    t.value() = 7;
    EXPECT_EQ(t.value(), 7);
    EXPECT_NO_THROW(t.throwUnlessValue());
    EXPECT_THROW(t.exception(), folly::TryException);
}

TEST(TryTest, MemberAccessReachesTheValue) {
    Try<std::string> t(std::string("abc"));
    EXPECT_EQ(t->size(), 3u);
    Try<std::string> const& constRef = t;
    EXPECT_EQ(constRef->front(), 'a');
}

TEST(TryTest, HoldsAnException) {
    Try<int> t(make_exception_wrapper<std::runtime_error>("boom"));
    EXPECT_FALSE(t.hasValue());
    EXPECT_TRUE(t.hasException());
    EXPECT_TRUE(t.hasException<std::runtime_error>());
    EXPECT_TRUE(t.hasException<std::exception>());
    EXPECT_FALSE(t.hasException<std::logic_error>());
    EXPECT_EQ(messageOf<std::runtime_error>([&] { t.value(); }), "boom");
    EXPECT_EQ(messageOf<std::runtime_error>([&] { t.throwUnlessValue(); }), "boom");
    EXPECT_EQ(t.exception().what(), "std::runtime_error: boom");
}

TEST(TryTest, MovesAMoveOnlyValueOut) {
    Try<std::unique_ptr<int>> t(std::make_unique<int>(5));
    std::unique_ptr<int> taken = std::move(t).value();
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(*taken, 5);
    EXPECT_TRUE(t.hasValue()); // moved-from value, still a value
    EXPECT_EQ(t.value(), nullptr);
}

TEST(TryTest, CopiesAreIndependent) {
    Try<std::string> original(std::string("one"));
    Try<std::string> copy = original;
    copy.value() += "+";
    EXPECT_EQ(original.value(), "one");
    EXPECT_EQ(copy.value(), "one+");
}

TEST(TryTest, AssignmentReplacesTheState) {
    Try<int> t(1);
    t = Try<int>(make_exception_wrapper<std::logic_error>("now failed"));
    EXPECT_TRUE(t.hasException<std::logic_error>());
    t = Try<int>(2);
    EXPECT_EQ(t.value(), 2);
}

// --- Try<void> and Try<Unit>

TEST(TryTest, VoidDefaultIsSuccess) {
    Try<void> t;
    EXPECT_TRUE(t.hasValue());
    EXPECT_FALSE(t.hasException());
    EXPECT_NO_THROW(t.value());
    EXPECT_EQ(messageOf<folly::TryException>([&] { t.exception(); }), "Try does not contain an exception");
}

TEST(TryTest, VoidHoldsAnException) {
    Try<void> t(make_exception_wrapper<std::invalid_argument>("bad"));
    EXPECT_FALSE(t.hasValue());
    EXPECT_TRUE(t.hasException<std::logic_error>());
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { t.value(); }), "bad");
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { *t; }), "bad");
}

TEST(TryTest, UnitFromVoidCarriesSuccess) {
    Try<Unit> t = Try<void>();
    EXPECT_TRUE(t.hasValue());
    EXPECT_EQ(t.value(), folly::unit);
}

TEST(TryTest, UnitFromVoidCarriesTheSameException) {
    Try<void> failed(make_exception_wrapper<std::runtime_error>("gone"));
    Try<Unit> t = failed;
    ASSERT_TRUE(t.hasException());
    // The same exception object, not a copy.
    EXPECT_EQ(t.exception().get_exception<std::runtime_error>(),
              failed.exception().get_exception<std::runtime_error>());
}

// --- makeTryWith

TEST(TryTest, MakeTryWithCapturesTheReturnValue) {
    auto t = folly::makeTryWith([] { return std::string("done"); });
    static_assert(std::is_same<decltype(t), Try<std::string>>::value, "Try of the return type");
    EXPECT_EQ(t.value(), "done");
}

TEST(TryTest, MakeTryWithCapturesWhatIsThrown) {
    auto t = folly::makeTryWith([]() -> int { throw std::out_of_range("range"); });
    EXPECT_TRUE(t.hasException<std::out_of_range>());
    auto plain = folly::makeTryWith([]() -> int { throw PlainError{3}; });
    ASSERT_TRUE(plain.hasException<PlainError>());
    EXPECT_EQ(plain.exception().get_exception<PlainError>()->code, 3);
}

TEST(TryTest, MakeTryWithOfVoidGivesTryVoid) {
    int calls = 0;
    auto ok = folly::makeTryWith([&] { ++calls; });
    static_assert(std::is_same<decltype(ok), Try<void>>::value, "void callables give Try<void>");
    EXPECT_TRUE(ok.hasValue());
    EXPECT_EQ(calls, 1);
    auto failed = folly::makeTryWith([] { throw std::runtime_error("void failed"); });
    EXPECT_TRUE(failed.hasException<std::runtime_error>());
}

TEST(TryTest, MakeTryWithPassesAReturnedTryThrough) {
    auto t = folly::makeTryWith([] { return Try<int>(make_exception_wrapper<std::domain_error>("inner")); });
    static_assert(std::is_same<decltype(t), Try<int>>::value, "no Try<Try<int>>");
    EXPECT_TRUE(t.hasException<std::domain_error>());
    auto thrown = folly::makeTryWith([]() -> Try<int> { throw std::length_error("outer"); });
    EXPECT_TRUE(thrown.hasException<std::length_error>());
}

// --- exception_wrapper

static_assert(std::is_convertible<std::runtime_error, exception_wrapper>::value,
              "std exceptions convert implicitly");
static_assert(!std::is_convertible<std::exception_ptr, exception_wrapper>::value,
              "exception_ptr construction is explicit");

TEST(TryTest, EmptyExceptionWrapper) {
    exception_wrapper ew;
    EXPECT_FALSE(ew);
    EXPECT_EQ(ew.what(), "");
    EXPECT_EQ(ew.class_name(), "");
    EXPECT_EQ(ew.get_exception<std::exception>(), nullptr);
    EXPECT_FALSE(ew.is_compatible_with<std::exception>());
    EXPECT_EQ(ew.to_exception_ptr(), nullptr);
}

TEST(TryTest, ExceptionWrapperDescribesItsException) {
    exception_wrapper ew = make_exception_wrapper<std::invalid_argument>("no such key");
    EXPECT_TRUE(ew);
    EXPECT_EQ(ew.class_name(), "std::invalid_argument");
    EXPECT_EQ(ew.what(), "std::invalid_argument: no such key");
}

TEST(TryTest, ExceptionWrapperMatchesBasesAndTheExactType) {
    exception_wrapper ew = make_exception_wrapper<std::invalid_argument>("x");
    EXPECT_TRUE(ew.is_compatible_with<std::invalid_argument>());
    EXPECT_TRUE(ew.is_compatible_with<std::logic_error>());
    EXPECT_TRUE(ew.is_compatible_with<std::exception>());
    EXPECT_FALSE(ew.is_compatible_with<std::runtime_error>());
    auto* exact = ew.get_exception<std::invalid_argument>();
    ASSERT_NE(exact, nullptr);
    EXPECT_STREQ(exact->what(), "x");
    EXPECT_EQ(static_cast<std::exception*>(exact), ew.get_exception<std::exception>());
    EXPECT_EQ(ew.get_exception<std::runtime_error>(), nullptr);
    exception_wrapper const& constRef = ew;
    EXPECT_EQ(constRef.get_exception<std::logic_error>(), static_cast<std::logic_error const*>(exact));
}

TEST(TryTest, ExceptionWrapperRethrowsTheStoredObject) {
    exception_wrapper ew = make_exception_wrapper<std::runtime_error>("again");
    try {
        ew.throw_exception();
        FAIL() << "throw_exception returned";
    } catch (std::runtime_error& ex) {
        EXPECT_EQ(&ex, ew.get_exception<std::runtime_error>());
    }
}

TEST(TryTest, ExceptionWrapperCopiesShareTheException) {
    exception_wrapper ew = make_exception_wrapper<std::runtime_error>("shared");
    exception_wrapper copy = ew;
    EXPECT_EQ(copy.get_exception<std::runtime_error>(), ew.get_exception<std::runtime_error>());
    exception_wrapper moved = std::move(copy);
    EXPECT_EQ(moved.get_exception<std::runtime_error>(), ew.get_exception<std::runtime_error>());
}

TEST(TryTest, ExceptionWrapperFromAnExceptionObjectCopiesIt) {
    std::overflow_error original("too big");
    exception_wrapper ew = original;
    ASSERT_TRUE(ew.is_compatible_with<std::overflow_error>());
    EXPECT_NE(ew.get_exception<std::overflow_error>(), &original);
    EXPECT_EQ(ew.what(), "std::overflow_error: too big");
}

TEST(TryTest, ExceptionWrapperFromCurrentExceptionKeepsTheDynamicType) {
    exception_wrapper ew;
    try {
        throw std::underflow_error("deep");
    } catch (std::exception const&) {
        ew = exception_wrapper(std::current_exception());
    }
    EXPECT_TRUE(ew.is_compatible_with<std::underflow_error>());
    EXPECT_EQ(ew.class_name(), "std::underflow_error");
}

TEST(TryTest, ExceptionWrapperHoldsNonStandardExceptions) {
    exception_wrapper ew(std::make_exception_ptr(PlainError{7}));
    EXPECT_TRUE(ew.is_compatible_with<PlainError>());
    EXPECT_FALSE(ew.is_compatible_with<std::exception>());
    ASSERT_NE(ew.get_exception<PlainError>(), nullptr);
    EXPECT_EQ(ew.get_exception<PlainError>()->code, 7);
    EXPECT_EQ(ew.class_name(), "(anonymous namespace)::PlainError");
    EXPECT_EQ(ew.what(), ew.class_name());

    exception_wrapper number(std::make_exception_ptr(42));
    EXPECT_EQ(number.what(), "int");
    ASSERT_NE(number.get_exception<int>(), nullptr);
    EXPECT_EQ(*number.get_exception<int>(), 42);
}

TEST(TryTest, ThrowingFromAnEmptyExceptionWrapperTerminates) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(exception_wrapper().throw_exception(), "empty exception_wrapper");
}
