#include "attributes/Event.hpp"
#include "platform/basalt/Reference.hpp"
#include "tests/support/TestExecutors.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using Basalt::Event;
using Basalt::EventFlag;

namespace {

Event<>::Flags const oneShot = EventFlag::ONE_SHOT;

} // namespace

TEST(Event, ListenersAreCalledInOrderOfAddingWithTheArguments) {
    Event<int, std::string> event;
    std::vector<std::string> calls;
    for (char const* name : {"first", "second", "third"}) {
        event.addListener([&calls, name](int number, std::string text) {
            calls.push_back(std::string(name) + ":" + std::to_string(number) + ":" + text);
        });
    }
    event.raise(7, "seven");
    EXPECT_EQ(calls, (std::vector<std::string>{"first:7:seven", "second:7:seven", "third:7:seven"}));
}

TEST(Event, ShortFormsGiveDistinctIdentifiersForRemoveListener) {
    Event<> event;
    int calls = 0;
    int const first = event.addListener([&calls] { ++calls; });
    int const second = event.addListener([&calls] { calls += 10; });
    EXPECT_NE(first, second);
    EXPECT_EQ(event.listenerCount(), 2);

    EXPECT_TRUE(event.removeListener(first));
    EXPECT_FALSE(event.removeListener(first)) << "a listener is removed once";
    EXPECT_EQ(event.listenerCount(), 1);
    event.raise();
    EXPECT_EQ(calls, 10);
}

TEST(Event, RemoveListenerTakesEveryListenerWithThatIdentifier) {
    Event<> event;
    int calls = 0;
    event.addListener(nullptr, std::nullopt, 42, Event<>::Flags(), [&calls] { ++calls; });
    event.addListener(nullptr, std::nullopt, 42, Event<>::Flags(), [&calls] { ++calls; });
    event.addListener(nullptr, std::nullopt, 43, Event<>::Flags(), [&calls] { calls += 100; });
    EXPECT_TRUE(event.removeListener(42));
    event.raise();
    EXPECT_EQ(calls, 100);
    EXPECT_EQ(event.listenerCount(), 1);
}

TEST(Event, OneShotListenerRunsOnlyOnce) {
    Event<> event;
    int calls = 0;
    event.addListener([&calls] { ++calls; }, oneShot);
    event.raise();
    event.raise();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(event.listenerCount(), 0) << "a one-shot listener is gone after its raise";
}

TEST(Event, OneShotListenerRunsOnceWhenItRaisesTheEventAgain) {
    Event<> event;
    int oneShotCalls = 0;
    int plainCalls = 0;
    event.addListener(
        [&] {
            ++oneShotCalls;
            event.raise();
        },
        oneShot);
    event.addListener([&plainCalls] { ++plainCalls; });
    event.raise();
    EXPECT_EQ(oneShotCalls, 1) << "the nested raise must not call the one-shot listener again";
    EXPECT_EQ(plainCalls, 2) << "the plain listener hears both raises";
}

TEST(Event, OneShotListenerReachedByANestedRaiseFirstIsSkippedByTheOuterOne) {
    Event<> event;
    bool nested = false;
    int oneShotCalls = 0;
    event.addListener([&] {
        if (!nested) {
            nested = true;
            event.raise();
        }
    });
    event.addListener([&oneShotCalls] { ++oneShotCalls; }, oneShot);
    event.raise();
    EXPECT_EQ(oneShotCalls, 1);
}

TEST(Event, OneShotListenerRunsOnceUnderConcurrentRaises) {
    Event<> event;
    std::atomic<int> oneShotCalls{0};
    std::atomic<int> plainCalls{0};
    event.addListener([&oneShotCalls] { ++oneShotCalls; }, oneShot);
    event.addListener([&plainCalls] { ++plainCalls; });

    constexpr int threadCount = 4;
    constexpr int raisesPerThread = 200;
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([&] {
            while (!go.load()) {
                std::this_thread::yield();
            }
            for (int i = 0; i < raisesPerThread; ++i) {
                event.raise();
            }
        });
    }
    go = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(oneShotCalls.load(), 1);
    EXPECT_EQ(plainCalls.load(), threadCount * raisesPerThread);
}

TEST(Event, ListenerWhoseOwnerDiedIsSkippedAndDropped) {
    Event<> event;
    auto owner = std::make_shared<int>(0);
    int ownedCalls = 0;
    int otherCalls = 0;
    event.addListener(std::weak_ptr<void>(owner), [&ownedCalls] { ++ownedCalls; });
    event.addListener([&otherCalls] { ++otherCalls; });
    event.raise();
    EXPECT_EQ(ownedCalls, 1) << "a listener whose owner lives is called";

    owner.reset();
    EXPECT_EQ(event.listenerCount(), 2) << "nothing notices the death before a raise";
    event.raise();
    EXPECT_EQ(ownedCalls, 1);
    EXPECT_EQ(otherCalls, 2);
    EXPECT_EQ(event.listenerCount(), 1) << "the raise that met the dead owner drops its listener";
}

TEST(Event, ListenerWhoseOwnerDiedIsDroppedAtTheEndOfTheOutermostRaise) {
    Event<> event;
    auto owner = std::make_shared<int>(0);
    int ownedCalls = 0;
    int countInsideAfterNestedRaise = -1;
    bool nested = false;
    event.addListener([&] {
        if (nested) {
            return;
        }
        nested = true;
        event.raise(); // meets the dead owner first
        countInsideAfterNestedRaise = event.listenerCount();
    });
    event.addListener(std::weak_ptr<void>(owner), [&ownedCalls] { ++ownedCalls; });
    owner.reset();

    event.raise();
    EXPECT_EQ(ownedCalls, 0);
    EXPECT_EQ(countInsideAfterNestedRaise, 1) << "the nested raise already put the listener out of service";
    EXPECT_EQ(event.listenerCount(), 1);
    event.raise();
    EXPECT_EQ(ownedCalls, 0);
}

TEST(Event, AReferenceServesAsOwnerAndEndsWithItsObject) {
    struct Widget {
        Basalt::Reference reference;
    };
    Event<int> event;
    auto widget = std::make_unique<Widget>();
    std::vector<int> heard;
    event.addListener(widget->reference.weak(), [&heard](int value) { heard.push_back(value); });
    event.raise(1);
    widget.reset();
    event.raise(2);
    EXPECT_EQ(heard, std::vector<int>{1});
}

TEST(Event, ReferenceHandsOutOneIdentity) {
    Basalt::Reference reference;
    std::weak_ptr<Basalt::Reference> const a = reference.weak();
    std::weak_ptr<Basalt::Reference> const b = reference.weak();
    EXPECT_FALSE(a.owner_before(b) || b.owner_before(a)) << "both weak pointers must share one control block";
    EXPECT_EQ(a.lock().get(), &reference);
    Basalt::Reference const copy(reference);
    EXPECT_TRUE(copy.weak().owner_before(a) || a.owner_before(copy.weak())) << "a copy is a new identity";
}

TEST(Event, ListenerAddedDuringARaiseIsNotCalledByThatRaise) {
    Event<> event;
    int lateCalls = 0;
    int countDuringRaise = -1;
    bool added = false;
    event.addListener([&] {
        if (!added) {
            added = true;
            event.addListener([&lateCalls] { ++lateCalls; });
            countDuringRaise = event.listenerCount();
        }
    });
    event.raise();
    EXPECT_EQ(lateCalls, 0);
    EXPECT_EQ(countDuringRaise, 2) << "a pending listener already counts";
    event.raise();
    EXPECT_EQ(lateCalls, 1) << "the next raise calls it";
}

TEST(Event, ListenerAddedDuringANestedRaiseWaitsForTheNextOutermostRaise) {
    Event<> event;
    int outerRaise = 0;
    int depth = 0;
    int lateCalls = 0;
    event.addListener([&] {
        ++depth;
        if (depth == 1 && outerRaise == 1) {
            event.raise();
        } else if (depth == 2) {
            event.addListener([&lateCalls] { ++lateCalls; });
        }
        --depth;
    });
    event.addListener([] {});
    outerRaise = 1;
    event.raise();
    EXPECT_EQ(lateCalls, 0) << "neither the nested nor the outer raise may call it";
    outerRaise = 2;
    event.raise();
    EXPECT_EQ(lateCalls, 1);
}

TEST(Event, ListenerRemovedDuringARaiseIsNotCalledAfterwards) {
    Event<> event;
    int removedCalls = 0;
    int victim = 0;
    event.addListener([&] { event.removeListener(victim); });
    victim = event.addListener([&removedCalls] { ++removedCalls; });
    event.raise();
    EXPECT_EQ(removedCalls, 0);
    EXPECT_EQ(event.listenerCount(), 1);
}

TEST(Event, ExecutorListenerRunsLaterOnTheExecutorWithCopiedArguments) {
    TestSupport::ManualExecutor executor;
    Event<std::string const&> event;
    std::vector<std::string> heard;
    event.addListener(&executor, [&heard](std::string const& text) { heard.push_back(text); });

    std::string text = "original";
    event.raise(text);
    text = "changed";
    EXPECT_TRUE(heard.empty()) << "a listener with an executor must not run on the raising thread";
    EXPECT_EQ(executor.pending(), 1u);
    executor.drain();
    EXPECT_EQ(heard, std::vector<std::string>{"original"}) << "the task holds its own copy of the arguments";
}

TEST(Event, ExecutorListenerRunsOnTheExecutorsThread) {
    Event<> event;
    std::thread::id ranOn;
    std::atomic<bool> ran{false};
    {
        TestSupport::ThreadExecutor worker;
        event.addListener(&worker, [&] {
            ranOn = std::this_thread::get_id();
            ran = true;
        });
        event.raise();
        worker.waitUntilIdle();
        EXPECT_TRUE(ran.load());
        EXPECT_EQ(ranOn, worker.workerId());
    }
    EXPECT_NE(ranOn, std::this_thread::get_id());
}

TEST(Event, ExecutorListenerWhoseOwnerIsGoneAtRaiseTimeQueuesNothing) {
    TestSupport::ManualExecutor executor;
    Event<> event;
    auto owner = std::make_shared<int>(0);
    int calls = 0;
    event.addListener(&executor, std::weak_ptr<void>(owner), [&calls] { ++calls; });
    owner.reset();
    event.raise();
    EXPECT_EQ(executor.added(), 0u);
    EXPECT_EQ(event.listenerCount(), 0);
    EXPECT_EQ(calls, 0);
}

TEST(Event, ExecutorTaskWhoseOwnerDiesBeforeItRunsDoesNothing) {
    TestSupport::ManualExecutor executor;
    Event<> event;
    auto owner = std::make_shared<int>(0);
    int calls = 0;
    event.addListener(&executor, std::weak_ptr<void>(owner), [&calls] { ++calls; });
    event.raise();
    event.raise();
    ASSERT_EQ(executor.pending(), 2u);
    executor.runOne();
    EXPECT_EQ(calls, 1);
    owner.reset();
    executor.runOne();
    EXPECT_EQ(calls, 1) << "the task must check its owner when it runs";
}

TEST(Event, OneShotExecutorListenerIsQueuedOnce) {
    TestSupport::ManualExecutor executor;
    Event<int> event;
    std::vector<int> heard;
    event.addListener(
        &executor, [&heard](int value) { heard.push_back(value); }, Event<int>::Flags(oneShot));
    event.raise(1);
    event.raise(2);
    executor.drain();
    EXPECT_EQ(heard, std::vector<int>{1});
}

TEST(Event, AnEventDestroyedByItsOwnListenerFinishesTheRaise) {
    auto event = std::make_unique<Event<>>();
    bool laterCalled = false;
    event->addListener([&event] { event.reset(); });
    event->addListener([&laterCalled] { laterCalled = true; });
    event->raise();
    EXPECT_EQ(event, nullptr);
    EXPECT_TRUE(laterCalled) << "the raise walks the listeners it started with";
}

TEST(Event, AListenerThatThrowsLeavesTheEventUsable) {
    Event<> event;
    bool thrown = false;
    int calls = 0;
    event.addListener([&thrown] {
        if (!thrown) {
            thrown = true;
            throw std::runtime_error("listener failed");
        }
    });
    EXPECT_THROW(event.raise(), std::runtime_error);
    event.addListener([&calls] { ++calls; });
    event.raise();
    EXPECT_EQ(calls, 1) << "after the throw no raise may be left counted as running";
}
