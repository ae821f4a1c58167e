#include "folly/futures/Future.h"
#include "tests/support/TestExecutors.hpp"

#include "tests/support/ExceptionMessage.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

using folly::exception_wrapper;
using folly::Future;
using folly::makeFuture;
using folly::makeSemiFuture;
using folly::Promise;
using folly::SemiFuture;
using folly::Try;
using folly::Unit;
using TestSupport::ManualExecutor;
using TestSupport::messageOf;
using TestSupport::ThreadExecutor;

namespace {

// Refuses all work, as a shut-down executor would.
class RejectingExecutor final : public folly::Executor {
public:
    void add(folly::Func) override { throw std::runtime_error("rejected"); }
};

// Gives the other thread a head start, so that a blocking call really has to wait.
void giveProducerAHeadStart() {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
}

} // namespace

static_assert(!std::is_copy_constructible<Future<int>>::value, "futures are move-only");
static_assert(!std::is_copy_assignable<Future<int>>::value, "futures are move-only");
static_assert(std::is_nothrow_move_constructible<Future<int>>::value, "futures move");
static_assert(std::is_nothrow_move_assignable<Future<int>>::value, "futures move");
static_assert(!std::is_copy_constructible<SemiFuture<int>>::value, "semi-futures are move-only");
static_assert(std::is_nothrow_move_constructible<SemiFuture<int>>::value, "semi-futures move");
static_assert(std::is_same<Future<std::string>::value_type, std::string>::value, "value_type");
static_assert(folly::isFuture<Future<int>>::value && !folly::isFuture<SemiFuture<int>>::value, "isFuture");
static_assert(folly::isSemiFuture<SemiFuture<int>>::value && !folly::isSemiFuture<int>::value,
              "isSemiFuture");

// --- makeFuture / makeSemiFuture

TEST(FutureTest, MakeFutureFromAValue) {
    auto future = makeFuture(5);
    static_assert(std::is_same<decltype(future), Future<int>>::value, "");
    ASSERT_TRUE(future.isReady());
    EXPECT_TRUE(future.hasValue());
    EXPECT_FALSE(future.hasException());
    EXPECT_EQ(future.value(), 5);
    EXPECT_EQ(future.getExecutor(), nullptr);
}

TEST(FutureTest, MakeFutureDecaysTheArgumentType) {
    std::string const text = "text";
    auto future = makeFuture(text);
    static_assert(std::is_same<decltype(future), Future<std::string>>::value, "");
    EXPECT_EQ(future.value(), "text");
    auto explicitType = makeFuture<std::string>("converted");
    EXPECT_EQ(explicitType.value(), "converted");
}

TEST(FutureTest, MakeFutureWithoutArgumentsGivesUnit) {
    auto future = makeFuture();
    static_assert(std::is_same<decltype(future), Future<Unit>>::value, "");
    EXPECT_TRUE(future.hasValue());
}

TEST(FutureTest, MakeFutureFromAnExceptionWrapper) {
    auto future = makeFuture<int>(folly::make_exception_wrapper<std::range_error>("range"));
    static_assert(std::is_same<decltype(future), Future<int>>::value, "");
    ASSERT_TRUE(future.hasException());
    EXPECT_TRUE(future.result().hasException<std::range_error>());
}

TEST(FutureTest, MakeFutureFromAnExceptionKeepsItsType) {
    auto future = makeFuture<std::string>(std::invalid_argument("arg"));
    static_assert(std::is_same<decltype(future), Future<std::string>>::value, "");
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { future.value(); }), "arg");
}

TEST(FutureTest, MakeFutureFromATry) {
    auto fromValue = makeFuture(Try<int>(3));
    static_assert(std::is_same<decltype(fromValue), Future<int>>::value, "a Try is unwrapped, not nested");
    EXPECT_EQ(fromValue.value(), 3);
    Try<int> failed(folly::make_exception_wrapper<std::logic_error>("logic"));
    auto fromException = makeFuture(failed);
    static_assert(std::is_same<decltype(fromException), Future<int>>::value, "");
    EXPECT_TRUE(fromException.result().hasException<std::logic_error>());
}

TEST(FutureTest, MakeSemiFutureForms) {
    auto value = makeSemiFuture(std::string("semi"));
    static_assert(std::is_same<decltype(value), SemiFuture<std::string>>::value, "");
    EXPECT_EQ(value.value(), "semi");

    auto unitFuture = makeSemiFuture();
    static_assert(std::is_same<decltype(unitFuture), SemiFuture<Unit>>::value, "");
    EXPECT_TRUE(unitFuture.hasValue());

    auto wrapped = makeSemiFuture<int>(folly::make_exception_wrapper<std::runtime_error>("w"));
    EXPECT_TRUE(wrapped.result().hasException<std::runtime_error>());

    auto typed = makeSemiFuture<int>(std::overflow_error("o"));
    EXPECT_TRUE(typed.result().hasException<std::overflow_error>());

    auto fromTry = makeSemiFuture(Try<int>(4));
    static_assert(std::is_same<decltype(fromTry), SemiFuture<int>>::value, "");
    EXPECT_EQ(std::move(fromTry).get(), 4);
}

// --- state of a future

TEST(FutureTest, AccessorsOfAPendingFutureThrowFutureNotReady) {
    Promise<int> promise;
    auto future = promise.getFuture();
    EXPECT_FALSE(future.isReady());
    EXPECT_EQ(messageOf<folly::FutureNotReady>([&] { future.value(); }), "Future not ready");
    EXPECT_THROW(future.result(), folly::FutureNotReady);
    EXPECT_THROW(future.hasValue(), folly::FutureNotReady);
    EXPECT_THROW(future.hasException(), folly::FutureNotReady);
    static_assert(std::is_base_of<folly::FutureException, folly::FutureNotReady>::value, "");
    static_assert(std::is_base_of<std::logic_error, folly::FutureException>::value, "");
}

TEST(FutureTest, AMovedFromFutureIsInvalid) {
    auto future = makeFuture(1);
    auto moved = std::move(future);
    EXPECT_TRUE(moved.valid());
    EXPECT_FALSE(future.valid());
    EXPECT_EQ(messageOf<folly::FutureInvalid>([&] { future.isReady(); }), "Future invalid");
    EXPECT_THROW(future.value(), folly::FutureInvalid);
    EXPECT_THROW(future.wait(), folly::FutureInvalid);
    EXPECT_THROW(std::move(future).get(), folly::FutureInvalid);
    EXPECT_THROW(std::move(future).thenValue([](int v) { return v; }), folly::FutureInvalid);
    EXPECT_THROW(std::move(future).via(nullptr), folly::FutureInvalid);
    static_assert(std::is_base_of<folly::FutureException, folly::FutureInvalid>::value, "");
}

TEST(FutureTest, ContinuingConsumesTheFuture) {
    auto future = makeFuture(1);
    auto next = std::move(future).thenValue([](int v) { return v; });
    EXPECT_FALSE(future.valid());
    EXPECT_TRUE(next.valid());
}

TEST(FutureTest, GetConsumesTheFuture) {
    auto future = makeFuture(std::string("once"));
    EXPECT_EQ(std::move(future).get(), "once");
    EXPECT_FALSE(future.valid());
}

TEST(FutureTest, RvalueValueMovesOutButKeepsTheFuture) {
    auto future = makeFuture(std::make_unique<int>(3));
    std::unique_ptr<int> taken = std::move(future).value();
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(*taken, 3);
    EXPECT_TRUE(future.valid());
    EXPECT_EQ(future.value(), nullptr);
}

// --- inline continuations (no executor)

TEST(FutureTest, ContinuationOfAReadyFutureRunsAtOnce) {
    bool ran = false;
    auto next = makeFuture(2).thenValue([&](int v) {
        ran = true;
        return v * 10;
    });
    EXPECT_TRUE(ran);
    ASSERT_TRUE(next.isReady());
    EXPECT_EQ(next.value(), 20);
}

TEST(FutureTest, ContinuationRunsWhenThePromiseIsFulfilled) {
    Promise<int> promise;
    bool ran = false;
    auto next = promise.getFuture().thenValue([&](int v) {
        ran = true;
        return v + 1;
    });
    EXPECT_FALSE(ran);
    EXPECT_FALSE(next.isReady());
    promise.setValue(1);
    EXPECT_TRUE(ran);
    EXPECT_EQ(next.value(), 2);
}

TEST(FutureTest, WithoutExecutorTheContinuationRunsOnTheFulfillingThread) {
    Promise<int> promise;
    std::thread::id continuationThread;
    auto next = promise.getFuture().thenValue([&](int v) {
        continuationThread = std::this_thread::get_id();
        return v;
    });
    std::thread::id producerThread;
    std::thread producer([&] {
        producerThread = std::this_thread::get_id();
        promise.setValue(1);
    });
    producer.join();
    EXPECT_EQ(continuationThread, producerThread);
    EXPECT_NE(continuationThread, std::this_thread::get_id());
    EXPECT_EQ(next.value(), 1);
}

TEST(FutureTest, ChainedContinuationsRunInOrder) {
    Promise<int> promise;
    std::vector<std::string> steps;
    auto last = promise.getFuture()
                    .thenValue([&](int v) {
                        steps.push_back("a");
                        return v + 1;
                    })
                    .thenValue([&](int v) {
                        steps.push_back("b");
                        return std::to_string(v);
                    })
                    .thenValue([&](std::string s) {
                        steps.push_back("c");
                        return s + "!";
                    });
    EXPECT_TRUE(steps.empty());
    promise.setValue(1);
    EXPECT_EQ(steps, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(last.value(), "2!");
}

TEST(FutureTest, MoveOnlyValuesFlowThroughAChain) {
    Promise<std::unique_ptr<int>> promise;
    auto next = promise.getFuture().thenValue([](std::unique_ptr<int> p) {
        *p += 1;
        return p;
    });
    promise.setValue(std::make_unique<int>(1));
    EXPECT_EQ(*std::move(next).get(), 2);
}

// --- continuations on executors

TEST(FutureTest, ViaMakesContinuationsRunOnTheExecutorNotInline) {
    ManualExecutor executor;
    bool ran = false;
    auto next = makeFuture(4).via(&executor).thenValue([&](int v) {
        ran = true;
        return v * 2;
    });
    EXPECT_FALSE(ran) << "even a ready future's continuation is queued, not run inline";
    EXPECT_FALSE(next.isReady());
    EXPECT_EQ(executor.pending(), 1u);
    EXPECT_EQ(executor.drain(), 1u);
    EXPECT_TRUE(ran);
    EXPECT_EQ(next.value(), 8);
}

TEST(FutureTest, FulfillingAViaFutureOnlyQueuesTheContinuation) {
    ManualExecutor executor;
    Promise<int> promise;
    bool ran = false;
    auto next = promise.getFuture().via(&executor).thenValue([&](int v) {
        ran = true;
        return v;
    });
    EXPECT_EQ(executor.pending(), 0u);
    promise.setValue(3);
    EXPECT_FALSE(ran);
    EXPECT_EQ(executor.pending(), 1u);
    executor.drain();
    EXPECT_TRUE(ran);
    EXPECT_EQ(next.value(), 3);
}

TEST(FutureTest, ContinuationsInheritTheExecutor) {
    ManualExecutor executor;
    auto viaFuture = makeFuture(1).via(&executor);
    EXPECT_EQ(viaFuture.getExecutor(), &executor);
    auto a = std::move(viaFuture).thenValue([](int v) { return v; });
    EXPECT_EQ(a.getExecutor(), &executor);
    auto b = std::move(a).thenTry([](Try<int>&& t) { return t.value(); });
    EXPECT_EQ(b.getExecutor(), &executor);
    auto c = std::move(b).thenError([](exception_wrapper&&) { return 0; });
    EXPECT_EQ(c.getExecutor(), &executor);
    auto d = std::move(c).ensure([] {});
    EXPECT_EQ(d.getExecutor(), &executor);
    executor.drain();
    EXPECT_EQ(d.value(), 1);
}

TEST(FutureTest, ChainedContinuationsRunOneAfterAnotherOnTheExecutor) {
    ManualExecutor executor;
    Promise<int> promise;
    std::vector<std::string> steps;
    auto last = promise.getFuture()
                    .via(&executor)
                    .thenValue([&](int v) {
                        steps.push_back("a");
                        return v + 1;
                    })
                    .thenValue([&](int v) {
                        steps.push_back("b");
                        return v + 1;
                    })
                    .thenValue([&](int v) {
                        steps.push_back("c");
                        return v + 1;
                    });
    promise.setValue(0);
    EXPECT_TRUE(steps.empty());

    // Each step is its own task, queued when the previous one finishes.
    EXPECT_EQ(executor.run(), 1u);
    EXPECT_EQ(steps, (std::vector<std::string>{"a"}));
    EXPECT_EQ(executor.pending(), 1u);
    EXPECT_EQ(executor.run(), 1u);
    EXPECT_EQ(steps, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(executor.run(), 1u);
    EXPECT_EQ(steps, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(executor.pending(), 0u);
    EXPECT_EQ(last.value(), 3);
}

TEST(FutureTest, ContinuationRunsOnTheExecutorsThread) {
    ThreadExecutor executor;
    Promise<int> promise;
    auto onWorker =
        promise.getFuture().via(&executor).thenValue([&](int) { return executor.isWorkerThread(); });
    promise.setValue(0);
    EXPECT_TRUE(std::move(onWorker).get());
}

TEST(FutureTest, ChainOnAThreadExecutorKeepsItsOrder) {
    ThreadExecutor executor;
    std::vector<int> order; // only touched on the worker
    auto last = folly::via(&executor)
                    .thenValue([&](Unit) { order.push_back(1); })
                    .thenValue([&](Unit) { order.push_back(2); })
                    .thenValue([&](Unit) {
                        order.push_back(3);
                        return order;
                    });
    EXPECT_EQ(std::move(last).get(), (std::vector<int>{1, 2, 3}));
}

TEST(FutureTest, FreeViaStartsAChainOnTheExecutor) {
    ManualExecutor executor;
    auto start = folly::via(&executor);
    static_assert(std::is_same<decltype(start), Future<Unit>>::value, "");
    EXPECT_EQ(start.getExecutor(), &executor);
    bool ran = false;
    auto next = std::move(start).thenValue([&](Unit) { ran = true; });
    EXPECT_FALSE(ran);
    executor.drain();
    EXPECT_TRUE(ran);
    EXPECT_TRUE(next.hasValue());
}

TEST(FutureTest, ViaAcceptsAKeepAlive) {
    ManualExecutor executor;
    auto next = makeFuture(1).via(folly::getKeepAliveToken(executor)).thenValue([](int v) { return v + 1; });
    EXPECT_EQ(next.getExecutor(), &executor);
    executor.drain();
    EXPECT_EQ(next.value(), 2);
}

TEST(FutureTest, SemiFutureViaGivesAContinuableFuture) {
    ManualExecutor executor;
    Promise<int> promise;
    SemiFuture<int> semi = promise.getSemiFuture();
    bool ran = false;
    auto next = std::move(semi).via(&executor).thenValue([&](int v) {
        ran = true;
        return v;
    });
    EXPECT_FALSE(semi.valid());
    promise.setValue(6);
    EXPECT_FALSE(ran);
    executor.drain();
    EXPECT_EQ(next.value(), 6);
}

TEST(FutureTest, AnExecutorRejectingWorkFailsTheContinuationInline) {
    RejectingExecutor executor;
    std::string seen;
    auto next = makeFuture(1).via(&executor).thenTry([&](Try<int>&& t) {
        seen = t.hasException() ? t.exception().what() : "value";
        return 0;
    });
    EXPECT_EQ(seen, "std::runtime_error: rejected");
    EXPECT_TRUE(next.isReady());
}

TEST(FutureTest, WorkDroppedByTheExecutorBreaksTheNextPromise) {
    std::optional<Future<int>> next;
    bool ran = false;
    {
        ManualExecutor executor;
        Promise<int> promise;
        next.emplace(promise.getFuture().via(&executor).thenValue([&](int v) {
            ran = true;
            return v;
        }));
        promise.setValue(1);
        EXPECT_EQ(executor.pending(), 1u);
    } // the executor goes away with the continuation still queued
    EXPECT_FALSE(ran);
    ASSERT_TRUE(next->isReady());
    EXPECT_TRUE(next->result().hasException<folly::BrokenPromise>());
}

// --- errors

TEST(FutureTest, AnExceptionSkipsThenValue) {
    bool ran = false;
    auto next = makeFuture<int>(std::runtime_error("early")).thenValue([&](int v) {
        ran = true;
        return v;
    });
    EXPECT_FALSE(ran);
    EXPECT_EQ(messageOf<std::runtime_error>([&] { next.value(); }), "early");
}

TEST(FutureTest, AnExceptionThrownByAContinuationBecomesTheResult) {
    bool laterRan = false;
    auto next =
        makeFuture(1).thenValue([](int) -> int { throw std::out_of_range("inside"); }).thenValue([&](int v) {
            laterRan = true;
            return v;
        });
    EXPECT_FALSE(laterRan);
    ASSERT_TRUE(next.hasException());
    EXPECT_TRUE(next.result().hasException<std::out_of_range>());
}

TEST(FutureTest, NonStandardExceptionsAreCapturedToo) {
    auto next = makeFuture(1).thenValue([](int) -> int { throw 99; });
    ASSERT_TRUE(next.hasException());
    EXPECT_EQ(*next.result().exception().get_exception<int>(), 99);
}

TEST(FutureTest, TypedThenErrorHandlesItsType) {
    auto recovered = makeFuture<int>(std::runtime_error("bad"))
                         .thenError(folly::tag_t<std::runtime_error>{}, [](std::runtime_error const& e) {
                             return static_cast<int>(std::string(e.what()).size());
                         });
    EXPECT_EQ(recovered.value(), 3);
}

TEST(FutureTest, TypedThenErrorHandlesDerivedTypes) {
    std::string seen;
    auto recovered = makeFuture<int>(std::invalid_argument("derived"))
                         .thenError(folly::tag<std::logic_error>, [&](std::logic_error const& e) {
                             seen = e.what();
                             return -1;
                         });
    EXPECT_EQ(seen, "derived");
    EXPECT_EQ(recovered.value(), -1);
}

TEST(FutureTest, TypedThenErrorPassesOtherExceptionsThrough) {
    bool wrongHandlerRan = false;
    std::string seen;
    auto result = makeFuture<int>(std::logic_error("logic"))
                      .thenError(folly::tag_t<std::runtime_error>{},
                                 [&](std::runtime_error const&) {
                                     wrongHandlerRan = true;
                                     return 1;
                                 })
                      .thenError(folly::tag_t<std::logic_error>{}, [&](std::logic_error const& e) {
                          seen = e.what();
                          return 2;
                      });
    EXPECT_FALSE(wrongHandlerRan);
    EXPECT_EQ(seen, "logic");
    EXPECT_EQ(result.value(), 2);
}

TEST(FutureTest, UnhandledExceptionTypeStaysTheResult) {
    auto result =
        makeFuture<int>(std::logic_error("kept"))
            .thenError(folly::tag_t<std::runtime_error>{}, [](std::runtime_error const&) { return 1; });
    ASSERT_TRUE(result.hasException());
    EXPECT_EQ(messageOf<std::logic_error>([&] { result.value(); }), "kept");
}

TEST(FutureTest, ThenErrorLeavesValuesAlone) {
    int handlerCalls = 0;
    auto result = makeFuture(7)
                      .thenError(folly::tag_t<std::exception>{},
                                 [&](std::exception const&) {
                                     ++handlerCalls;
                                     return 0;
                                 })
                      .thenError([&](exception_wrapper&&) {
                          ++handlerCalls;
                          return 0;
                      });
    EXPECT_EQ(handlerCalls, 0);
    EXPECT_EQ(result.value(), 7);
}

TEST(FutureTest, UntypedThenErrorReceivesTheWrapper) {
    std::string seen;
    bool wasRangeError = false;
    auto result = makeFuture<std::string>(std::range_error("any")).thenError([&](exception_wrapper&& ew) {
        seen = ew.what();
        wasRangeError = ew.is_compatible_with<std::range_error>();
        return std::string("recovered");
    });
    EXPECT_EQ(seen, "std::range_error: any");
    EXPECT_TRUE(wasRangeError);
    EXPECT_EQ(result.value(), "recovered");
}

TEST(FutureTest, UntypedThenErrorCatchesNonStandardExceptions) {
    auto result =
        makeFuture(0).thenValue([](int) -> int { throw 5; }).thenError([](exception_wrapper const& ew) {
            return *ew.get_exception<int>() * 2;
        });
    EXPECT_EQ(result.value(), 10);
}

TEST(FutureTest, ThenErrorCatchesAnExceptionThrownByAnEarlierContinuation) {
    auto result =
        makeFuture(1)
            .thenValue([](int) -> int { throw std::underflow_error("under"); })
            .thenError(folly::tag_t<std::underflow_error>{}, [](std::underflow_error const&) { return 42; });
    EXPECT_EQ(result.value(), 42);
}

TEST(FutureTest, AThenErrorHandlerMayFailAgain) {
    auto result = makeFuture<int>(std::runtime_error("first"))
                      .thenError(folly::tag_t<std::runtime_error>{},
                                 [](std::runtime_error const&) -> int { throw std::domain_error("second"); });
    ASSERT_TRUE(result.hasException());
    EXPECT_TRUE(result.result().hasException<std::domain_error>());
    EXPECT_FALSE(result.result().hasException<std::runtime_error>());
}

TEST(FutureTest, AThenErrorHandlerMayReturnAFuture) {
    Promise<int> later;
    auto result = makeFuture<int>(std::runtime_error("x")).thenError([&](exception_wrapper&&) {
        return later.getFuture();
    });
    static_assert(std::is_same<decltype(result), Future<int>>::value, "");
    EXPECT_FALSE(result.isReady());
    later.setValue(11);
    EXPECT_EQ(result.value(), 11);
}

TEST(FutureTest, ThenErrorOnAUnitFutureMayReturnVoid) {
    bool handled = false;
    auto result =
        makeFuture<Unit>(std::runtime_error("x")).thenError([&](exception_wrapper&&) { handled = true; });
    static_assert(std::is_same<decltype(result), Future<Unit>>::value, "");
    EXPECT_TRUE(handled);
    EXPECT_TRUE(result.hasValue());
}

TEST(FutureTest, ThenErrorRunsOnTheExecutor) {
    ManualExecutor executor;
    bool handled = false;
    auto result = makeFuture<int>(std::runtime_error("x"))
                      .via(&executor)
                      .thenError(folly::tag_t<std::runtime_error>{}, [&](std::runtime_error const&) {
                          handled = true;
                          return 1;
                      });
    EXPECT_FALSE(handled);
    executor.drain();
    EXPECT_TRUE(handled);
    EXPECT_EQ(result.value(), 1);
}

// --- thenTry and ensure

TEST(FutureTest, ThenTrySeesValuesAndExceptions) {
    auto fromValue = makeFuture(2).thenTry([](Try<int>&& t) { return t.hasValue() ? t.value() : -1; });
    EXPECT_EQ(fromValue.value(), 2);
    auto fromException = makeFuture<int>(std::runtime_error("e")).thenTry([](Try<int> const& t) {
        return t.hasException() ? -1 : 0;
    });
    EXPECT_EQ(fromException.value(), -1);
}

TEST(FutureTest, ThenTryMayChangeTheType) {
    auto result = makeFuture(2).thenTry(
        [](Try<int> t) { return std::string(static_cast<std::size_t>(t.value()), 'x'); });
    static_assert(std::is_same<decltype(result), Future<std::string>>::value, "");
    EXPECT_EQ(result.value(), "xx");
}

TEST(FutureTest, EnsureRunsWhateverTheOutcomeAndPassesItOn) {
    int calls = 0;
    auto value = makeFuture(1).ensure([&] { ++calls; });
    EXPECT_EQ(value.value(), 1);
    auto failure = makeFuture<int>(std::runtime_error("kept")).ensure([&] { ++calls; });
    EXPECT_TRUE(failure.result().hasException<std::runtime_error>());
    EXPECT_EQ(calls, 2);
}

TEST(FutureTest, AThrowingEnsureReplacesTheResult) {
    auto result = makeFuture(1).ensure([] { throw std::logic_error("cleanup failed"); });
    EXPECT_TRUE(result.result().hasException<std::logic_error>());
}

// --- flattening

TEST(FutureTest, AContinuationReturningAFutureIsFlattened) {
    Promise<int> inner;
    auto result = makeFuture(1).thenValue([&](int) { return inner.getFuture(); });
    static_assert(std::is_same<decltype(result), Future<int>>::value, "no Future<Future<int>>");
    EXPECT_FALSE(result.isReady()) << "the outer future waits for the inner one";
    inner.setValue(5);
    ASSERT_TRUE(result.isReady());
    EXPECT_EQ(result.value(), 5);
}

TEST(FutureTest, AContinuationReturningASemiFutureIsFlattened) {
    auto result = makeFuture(1).thenValue([](int v) { return makeSemiFuture(std::to_string(v)); });
    static_assert(std::is_same<decltype(result), Future<std::string>>::value, "");
    EXPECT_EQ(result.value(), "1");
}

TEST(FutureTest, AFlattenedFuturePassesOnItsException) {
    auto result =
        makeFuture(1).thenValue([](int) { return makeFuture<int>(std::length_error("inner failed")); });
    EXPECT_EQ(messageOf<std::length_error>([&] { result.value(); }), "inner failed");
}

TEST(FutureTest, ReturningAConsumedFutureFailsWithFutureInvalid) {
    auto result = makeFuture(1).thenValue([](int) {
        auto consumed = makeFuture(2);
        auto keep = std::move(consumed);
        return consumed;
    });
    EXPECT_TRUE(result.result().hasException<folly::FutureInvalid>());
}

TEST(FutureTest, AfterFlatteningTheChainStaysOnItsExecutor) {
    ManualExecutor executor;
    Promise<int> inner;
    std::vector<std::string> steps;
    auto result = makeFuture(1)
                      .via(&executor)
                      .thenValue([&](int) {
                          steps.push_back("outer");
                          return inner.getFuture();
                      })
                      .thenValue([&](int v) {
                          steps.push_back("next");
                          return v;
                      });
    executor.drain();
    EXPECT_EQ(steps, (std::vector<std::string>{"outer"}));
    inner.setValue(9); // completes on this thread...
    EXPECT_EQ(steps, (std::vector<std::string>{"outer"})) << "...but the next step is queued on the executor";
    EXPECT_EQ(executor.drain(), 1u);
    EXPECT_EQ(steps, (std::vector<std::string>{"outer", "next"}));
    EXPECT_EQ(result.value(), 9);
}

// --- Unit

TEST(FutureTest, AVoidContinuationGivesAUnitFuture) {
    int seen = 0;
    auto result = makeFuture(3).thenValue([&](int v) { seen = v; });
    static_assert(std::is_same<decltype(result), Future<Unit>>::value, "void lifts to Unit");
    EXPECT_EQ(seen, 3);
    Unit u = std::move(result).get();
    EXPECT_EQ(u, folly::unit);
}

TEST(FutureTest, UnitFuturesChain) {
    Promise<Unit> promise;
    int steps = 0;
    auto result = promise.getFuture()
                      .thenValue([&](Unit) { ++steps; })
                      .thenTry([&](Try<Unit>&& t) {
                          EXPECT_TRUE(t.hasValue());
                          ++steps;
                      })
                      .thenValue([&](auto&&) { return ++steps; });
    static_assert(std::is_same<decltype(result), Future<int>>::value, "");
    promise.setValue();
    EXPECT_EQ(result.value(), 3);
}

TEST(FutureTest, AThrowingVoidContinuationFailsTheUnitFuture) {
    auto result = makeFuture().thenValue([](Unit) { throw std::runtime_error("void failed"); });
    static_assert(std::is_same<decltype(result), Future<Unit>>::value, "");
    EXPECT_TRUE(result.result().hasException<std::runtime_error>());
}

// --- blocking

TEST(FutureTest, GetBlocksUntilAnotherThreadFulfils) {
    Promise<int> promise;
    auto future = promise.getFuture();
    std::atomic<bool> fulfilled{false};
    std::thread producer([&] {
        giveProducerAHeadStart();
        fulfilled = true;
        promise.setValue(77);
    });
    EXPECT_EQ(std::move(future).get(), 77);
    EXPECT_TRUE(fulfilled.load());
    producer.join();
}

TEST(FutureTest, GetRethrowsAnExceptionSetOnAnotherThread) {
    Promise<int> promise;
    auto future = promise.getFuture();
    std::thread producer([&] {
        giveProducerAHeadStart();
        promise.setException(std::runtime_error("remote"));
    });
    EXPECT_EQ(messageOf<std::runtime_error>([&] { std::move(future).get(); }), "remote");
    producer.join();
}

TEST(FutureTest, GetReturnsBrokenPromiseWhenTheProducerGivesUp) {
    auto promise = std::make_unique<Promise<int>>();
    auto future = promise->getFuture();
    std::thread producer([&] {
        giveProducerAHeadStart();
        promise.reset();
    });
    EXPECT_THROW(std::move(future).get(), folly::BrokenPromise);
    producer.join();
}

TEST(FutureTest, WaitBlocksUntilReadyAndKeepsTheFuture) {
    Promise<std::string> promise;
    auto future = promise.getFuture();
    std::atomic<bool> fulfilled{false};
    std::thread producer([&] {
        giveProducerAHeadStart();
        fulfilled = true;
        promise.setValue("waited");
    });
    Future<std::string>& same = future.wait();
    EXPECT_EQ(&same, &future);
    EXPECT_TRUE(fulfilled.load());
    EXPECT_TRUE(future.valid());
    EXPECT_TRUE(future.isReady());
    EXPECT_EQ(future.value(), "waited");
    producer.join();
}

TEST(FutureTest, RvalueWaitDoesNotConsumeUnlessMovedFrom) {
    auto future = makeFuture(1);
    std::move(future).wait();
    EXPECT_TRUE(future.valid());
    Future<int> taken = std::move(future).wait();
    EXPECT_FALSE(future.valid());
    EXPECT_EQ(taken.value(), 1);
}

TEST(FutureTest, SemiFutureWaitAndGetBlock) {
    Promise<int> promise;
    SemiFuture<int> semi = promise.getSemiFuture();
    std::thread producer([&] {
        giveProducerAHeadStart();
        promise.setValue(5);
    });
    semi.wait();
    EXPECT_TRUE(semi.isReady());
    EXPECT_EQ(std::move(semi).get(), 5);
    EXPECT_FALSE(semi.valid());
    producer.join();
}

TEST(FutureTest, GetDoesNotNeedTheExecutorToRun) {
    ManualExecutor executor; // never drained
    Promise<int> promise;
    auto future = promise.getFuture().via(&executor);
    std::thread producer([&] { promise.setValue(3); });
    EXPECT_EQ(std::move(future).get(), 3);
    producer.join();
    EXPECT_EQ(executor.added(), 0u);
}

// --- cross-thread fulfilment

TEST(FutureTest, SequentialGetsAgainstAProducerThreadLoseNoWakeUps) {
    constexpr int count = 1000;
    std::vector<Promise<int>> promises(count);
    std::vector<Future<int>> futures;
    futures.reserve(count);
    for (auto& promise : promises) {
        futures.push_back(promise.getFuture());
    }
    std::thread producer([&] {
        for (int i = 0; i < count; ++i) {
            promises[static_cast<std::size_t>(i)].setValue(i);
        }
    });
    long long sum = 0;
    for (auto& future : futures) {
        sum += std::move(future).get();
    }
    producer.join();
    EXPECT_EQ(sum, static_cast<long long>(count) * (count - 1) / 2);
}

TEST(FutureTest, ThousandPromisesFulfilledWhileContinuationsAreAttached) {
    constexpr std::size_t count = 1000;
    std::vector<Promise<int>> promises(count);
    std::vector<Future<int>> futures;
    futures.reserve(count);
    for (auto& promise : promises) {
        futures.push_back(promise.getFuture());
    }
    std::vector<std::atomic<int>> runs(count);
    std::atomic<bool> go{false};

    // Fulfils from the back while continuations are attached from the front, so that both
    // orders (continuation first, result first) occur.
    std::thread producer([&] {
        while (!go.load()) {
            std::this_thread::yield();
        }
        for (std::size_t i = count; i-- > 0;) {
            promises[i].setValue(static_cast<int>(i));
        }
    });

    std::vector<Future<int>> results;
    results.reserve(count);
    go = true;
    for (std::size_t i = 0; i < count; ++i) {
        results.push_back(std::move(futures[i]).thenValue([&runs, i](int v) {
            runs[i].fetch_add(1);
            return v * 2;
        }));
    }
    producer.join();

    for (std::size_t i = 0; i < count; ++i) {
        ASSERT_TRUE(results[i].isReady()) << i;
        EXPECT_EQ(results[i].value(), static_cast<int>(i) * 2);
        EXPECT_EQ(runs[i].load(), 1) << "continuation " << i;
    }
}

TEST(FutureTest, ThousandPromisesWithContinuationsOnAThreadExecutor) {
    constexpr std::size_t count = 1000;
    ThreadExecutor executor;
    std::vector<Promise<int>> promises(count);
    std::vector<Future<int>> futures;
    futures.reserve(count);
    for (auto& promise : promises) {
        futures.push_back(promise.getFuture());
    }
    std::vector<std::atomic<int>> runs(count);
    std::atomic<int> offWorker{0};
    std::atomic<bool> go{false};

    std::thread producer([&] {
        while (!go.load()) {
            std::this_thread::yield();
        }
        for (std::size_t i = 0; i < count; ++i) {
            promises[i].setValue(static_cast<int>(i));
        }
    });

    std::vector<Future<int>> results;
    results.reserve(count);
    go = true;
    for (std::size_t i = 0; i < count; ++i) {
        results.push_back(std::move(futures[i])
                              .via(&executor)
                              .thenValue([&, i](int v) {
                                  runs[i].fetch_add(1);
                                  if (!executor.isWorkerThread()) {
                                      offWorker.fetch_add(1);
                                  }
                                  return v + 1;
                              })
                              .thenValue([](int v) { return v * 2; }));
    }
    producer.join();

    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(std::move(results[i]).get(), (static_cast<int>(i) + 1) * 2);
        EXPECT_EQ(runs[i].load(), 1) << "continuation " << i;
    }
    EXPECT_EQ(offWorker.load(), 0);
}

TEST(FutureTest, ContinuationAttachedOnOneThreadAndFulfilledOnAnotherRunsOnce) {
    // Many short rounds, each a fresh race between attaching and fulfilling.
    for (int round = 0; round < 200; ++round) {
        Promise<int> promise;
        auto future = promise.getFuture();
        std::atomic<int> runs{0};
        std::atomic<bool> go{false};
        std::thread producer([&] {
            while (!go.load()) {
            }
            promise.setValue(round);
        });
        go = true;
        auto result = std::move(future).thenValue([&](int v) {
            runs.fetch_add(1);
            return v;
        });
        producer.join();
        ASSERT_TRUE(result.isReady());
        EXPECT_EQ(result.value(), round);
        ASSERT_EQ(runs.load(), 1) << "round " << round;
    }
}
