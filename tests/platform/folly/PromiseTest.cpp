#include "folly/futures/Promise.h"

#include "tests/support/ExceptionMessage.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

using folly::exception_wrapper;
using folly::Future;
using folly::Promise;
using folly::Try;
using folly::Unit;
using TestSupport::messageOf;

static_assert(!std::is_copy_constructible<Promise<int>>::value, "promises are not copyable");
static_assert(!std::is_copy_assignable<Promise<int>>::value, "promises are not copyable");
static_assert(std::is_nothrow_move_constructible<Promise<int>>::value, "promises move");
static_assert(std::is_nothrow_move_assignable<Promise<int>>::value, "promises move");

// Each error is its own type; they share PromiseException / std::logic_error as bases.
static_assert(std::is_base_of<folly::PromiseException, folly::PromiseAlreadySatisfied>::value, "");
static_assert(std::is_base_of<folly::PromiseException, folly::FutureAlreadyRetrieved>::value, "");
static_assert(std::is_base_of<folly::PromiseException, folly::BrokenPromise>::value, "");
static_assert(std::is_base_of<folly::PromiseException, folly::PromiseInvalid>::value, "");
static_assert(std::is_base_of<std::logic_error, folly::PromiseException>::value, "");
static_assert(!std::is_base_of<folly::BrokenPromise, folly::PromiseAlreadySatisfied>::value, "");
static_assert(!std::is_base_of<folly::PromiseAlreadySatisfied, folly::FutureAlreadyRetrieved>::value, "");

TEST(PromiseTest, SetValueReachesTheFuture) {
    Promise<int> promise;
    Future<int> future = promise.getFuture();
    EXPECT_FALSE(promise.isFulfilled());
    EXPECT_FALSE(future.isReady());
    promise.setValue(17);
    EXPECT_TRUE(promise.isFulfilled());
    ASSERT_TRUE(future.isReady());
    EXPECT_EQ(future.value(), 17);
}

TEST(PromiseTest, SetValueConvertsToTheValueType) {
    Promise<std::string> promise;
    auto future = promise.getFuture();
    promise.setValue("converted");
    EXPECT_EQ(future.value(), "converted");
}

TEST(PromiseTest, SetValueMovesMoveOnlyValues) {
    Promise<std::unique_ptr<int>> promise;
    auto future = promise.getFuture();
    promise.setValue(std::make_unique<int>(9));
    EXPECT_EQ(*std::move(future).get(), 9);
}

TEST(PromiseTest, UnitPromiseSetValueWithoutArguments) {
    Promise<Unit> promise;
    auto future = promise.getFuture();
    promise.setValue();
    ASSERT_TRUE(future.isReady());
    EXPECT_TRUE(future.hasValue());
}

TEST(PromiseTest, SetExceptionFromAWrapper) {
    Promise<int> promise;
    auto future = promise.getFuture();
    promise.setException(folly::make_exception_wrapper<std::runtime_error>("wrapped"));
    ASSERT_TRUE(future.hasException());
    EXPECT_TRUE(future.result().hasException<std::runtime_error>());
    EXPECT_EQ(messageOf<std::runtime_error>([&] { future.value(); }), "wrapped");
}

TEST(PromiseTest, SetExceptionFromAnExceptionKeepsItsType) {
    Promise<int> promise;
    auto future = promise.getFuture();
    promise.setException(std::out_of_range("typed"));
    EXPECT_TRUE(future.result().hasException<std::out_of_range>());
    EXPECT_EQ(messageOf<std::out_of_range>([&] { std::move(future).get(); }), "typed");
}

TEST(PromiseTest, SetTryWithValueOrException) {
    Promise<int> ok;
    auto okFuture = ok.getFuture();
    ok.setTry(Try<int>(3));
    EXPECT_EQ(okFuture.value(), 3);

    Promise<int> failed;
    auto failedFuture = failed.getFuture();
    failed.setTry(Try<int>(folly::make_exception_wrapper<std::length_error>("long")));
    EXPECT_TRUE(failedFuture.result().hasException<std::length_error>());
}

TEST(PromiseTest, SetWithStoresTheResultOrTheThrownException) {
    Promise<int> ok;
    auto okFuture = ok.getFuture();
    ok.setWith([] { return 6 * 7; });
    EXPECT_EQ(okFuture.value(), 42);

    Promise<int> failed;
    auto failedFuture = failed.getFuture();
    failed.setWith([]() -> int { throw std::domain_error("domain"); });
    EXPECT_TRUE(failedFuture.result().hasException<std::domain_error>());
}

TEST(PromiseTest, SetWithOfAVoidCallableFulfilsAUnitPromise) {
    Promise<Unit> promise;
    auto future = promise.getFuture();
    bool called = false;
    promise.setWith([&] { called = true; });
    EXPECT_TRUE(called);
    EXPECT_TRUE(future.hasValue());
}

TEST(PromiseTest, SecondGetFutureThrowsFutureAlreadyRetrieved) {
    Promise<int> promise;
    auto future = promise.getFuture();
    EXPECT_EQ(messageOf<folly::FutureAlreadyRetrieved>([&] { promise.getFuture(); }),
              "Future already retrieved");
    EXPECT_THROW(promise.getSemiFuture(), folly::FutureAlreadyRetrieved);
    // The first future is unaffected.
    promise.setValue(1);
    EXPECT_EQ(future.value(), 1);
}

TEST(PromiseTest, GetFutureAfterGetSemiFutureThrows) {
    Promise<int> promise;
    auto semi = promise.getSemiFuture();
    EXPECT_THROW(promise.getFuture(), folly::FutureAlreadyRetrieved);
}

TEST(PromiseTest, SecondSetValueThrowsPromiseAlreadySatisfied) {
    Promise<int> promise;
    auto future = promise.getFuture();
    promise.setValue(1);
    EXPECT_EQ(messageOf<folly::PromiseAlreadySatisfied>([&] { promise.setValue(2); }),
              "Promise already satisfied");
    EXPECT_EQ(future.value(), 1) << "the first value stays";
}

TEST(PromiseTest, EveryWayOfFulfillingTwiceThrows) {
    Promise<int> promise;
    auto future = promise.getFuture();
    promise.setException(std::runtime_error("first"));
    EXPECT_EQ(messageOf<folly::PromiseAlreadySatisfied>(
                  [&] { promise.setException(std::runtime_error("second")); }),
              "Promise already satisfied");
    EXPECT_THROW(promise.setException(exception_wrapper(std::make_exception_ptr(1))),
                 folly::PromiseAlreadySatisfied);
    EXPECT_THROW(promise.setValue(5), folly::PromiseAlreadySatisfied);
    EXPECT_THROW(promise.setTry(Try<int>(5)), folly::PromiseAlreadySatisfied);
    bool called = false;
    EXPECT_THROW(promise.setWith([&] {
        called = true;
        return 5;
    }),
                 folly::PromiseAlreadySatisfied);
    EXPECT_FALSE(called) << "setWith must not run its function on a fulfilled promise";
    EXPECT_EQ(messageOf<std::runtime_error>([&] { future.value(); }), "first");
}

TEST(PromiseTest, FulfillingBeforeTheFutureIsTakenWorks) {
    Promise<int> promise;
    promise.setValue(8);
    EXPECT_TRUE(promise.isFulfilled());
    EXPECT_EQ(promise.getFuture().value(), 8);
}

TEST(PromiseTest, DestroyingAnUnfulfilledPromiseBreaksItsFuture) {
    std::optional<Future<int>> future;
    {
        Promise<int> promise;
        future.emplace(promise.getFuture());
        EXPECT_FALSE(future->isReady());
    }
    ASSERT_TRUE(future->isReady());
    EXPECT_TRUE(future->result().hasException<folly::BrokenPromise>());
    EXPECT_TRUE(future->result().hasException<folly::PromiseException>());
    EXPECT_EQ(messageOf<folly::BrokenPromise>([&] { std::move(*future).get(); }),
              "Broken promise for type name `int`");
}

TEST(PromiseTest, BrokenPromiseNamesTheValueType) {
    std::optional<Future<Unit>> future;
    {
        Promise<Unit> promise;
        future.emplace(promise.getFuture());
    }
    EXPECT_EQ(messageOf<folly::BrokenPromise>([&] { future->value(); }),
              "Broken promise for type name `folly::Unit`");
}

TEST(PromiseTest, BrokenPromiseReachesAnAttachedContinuation) {
    std::string seen;
    bool valueContinuationRan = false;
    std::optional<Future<int>> future;
    {
        Promise<int> promise;
        future.emplace(
            promise.getFuture()
                .thenValue([&](int v) {
                    valueContinuationRan = true;
                    return v;
                })
                .thenError(folly::tag_t<folly::BrokenPromise>{}, [&](folly::BrokenPromise const& e) {
                    seen = e.what();
                    return -1;
                }));
        EXPECT_TRUE(seen.empty());
    }
    EXPECT_FALSE(valueContinuationRan);
    EXPECT_EQ(seen, "Broken promise for type name `int`");
    EXPECT_EQ(future->value(), -1);
}

TEST(PromiseTest, APromiseWhoseFutureWasNeverTakenDiesQuietly) {
    EXPECT_NO_THROW({ Promise<int> promise; });
    EXPECT_NO_THROW({
        Promise<std::string> promise;
        Promise<std::string> other(std::move(promise));
    });
}

TEST(PromiseTest, FulfilledPromiseDoesNotBreakOnDestruction) {
    std::optional<Future<int>> future;
    {
        Promise<int> promise;
        future.emplace(promise.getFuture());
        promise.setValue(4);
    }
    EXPECT_EQ(future->value(), 4);
}

TEST(PromiseTest, MovingTransfersTheState) {
    Promise<int> original;
    auto future = original.getFuture();
    Promise<int> moved(std::move(original));
    EXPECT_FALSE(original.valid());
    EXPECT_TRUE(moved.valid());
    EXPECT_THROW(moved.getFuture(), folly::FutureAlreadyRetrieved) << "the retrieved flag moves too";
    moved.setValue(10);
    EXPECT_EQ(future.value(), 10);
}

TEST(PromiseTest, AMovedFromPromiseIsInvalid) {
    Promise<int> original;
    Promise<int> moved(std::move(original));
    EXPECT_FALSE(original.valid());
    EXPECT_TRUE(original.isFulfilled()) << "an invalid promise can no longer be fulfilled";
    EXPECT_EQ(messageOf<folly::PromiseInvalid>([&] { original.setValue(1); }), "Promise invalid");
    EXPECT_THROW(original.getFuture(), folly::PromiseInvalid);
    EXPECT_THROW(original.setException(std::runtime_error("x")), folly::PromiseInvalid);
}

TEST(PromiseTest, MoveAssignmentBreaksTheOverwrittenPromise) {
    Promise<int> first;
    auto firstFuture = first.getFuture();
    Promise<int> second;
    auto secondFuture = second.getFuture();
    first = std::move(second);
    ASSERT_TRUE(firstFuture.isReady());
    EXPECT_TRUE(firstFuture.result().hasException<folly::BrokenPromise>());
    EXPECT_FALSE(secondFuture.isReady());
    first.setValue(2);
    EXPECT_EQ(secondFuture.value(), 2);
}

TEST(PromiseTest, GetSemiFutureDeliversTheValue) {
    Promise<int> promise;
    folly::SemiFuture<int> semi = promise.getSemiFuture();
    EXPECT_FALSE(semi.isReady());
    promise.setValue(12);
    EXPECT_TRUE(semi.isReady());
    EXPECT_EQ(std::move(semi).get(), 12);
}
