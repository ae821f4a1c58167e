#include "platform/basalt/ListenerList.hpp"
#include "platform/basalt/AttributeEventListenerList.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

using Basalt::AttributeEvent;
using Basalt::AttributeEventListenerList;
using Basalt::ListenerListT;

namespace {

constexpr unsigned maskA = 1;
constexpr unsigned maskB = 2;
constexpr unsigned maskC = 4;

using Calls = std::vector<std::string>;

} // namespace

TEST(ListenerList, CallsMatchingListenersInOrderOfAddingWithTheArguments) {
    ListenerListT<int, std::string const&> list;
    Calls calls;
    list.add([&](int n, std::string const& s) { calls.push_back("first " + std::to_string(n) + s); }, maskA);
    list.add([&](int n, std::string const& s) { calls.push_back("second " + std::to_string(n) + s); },
             maskA | maskB);
    list.add([&](int n, std::string const& s) { calls.push_back("third " + std::to_string(n) + s); }, maskB);

    EXPECT_TRUE(list.call(maskA, 1, "x"));
    EXPECT_EQ(calls, (Calls{"first 1x", "second 1x"}));
    calls.clear();
    EXPECT_TRUE(list.call(maskB, 2, "y"));
    EXPECT_EQ(calls, (Calls{"second 2y", "third 2y"}));
    calls.clear();
    EXPECT_TRUE(list.call(maskC, 3, "z"));
    EXPECT_TRUE(calls.empty()) << "no listener wants mask C";
    EXPECT_TRUE(list.call(maskA | maskB, 4, "w"));
    EXPECT_EQ(calls, (Calls{"first 4w", "second 4w", "third 4w"})) << "each listener is called once per call";
}

TEST(ListenerList, IdentifiersAreUniqueAndNeverZeroOrMinusOne) {
    ListenerListT<> first;
    ListenerListT<> second;
    std::set<long> ids;
    for (int i = 0; i < 100; ++i) {
        long const a = first.add([] {}, maskA);
        long const b = second.add([] {}, maskA);
        EXPECT_NE(a, 0);
        EXPECT_NE(a, -1);
        ids.insert(a);
        ids.insert(b);
    }
    EXPECT_EQ(ids.size(), 200u) << "identifiers are unique across lists";
}

TEST(ListenerList, RemoveStopsCallsAndReportsWhetherItFoundTheListener) {
    ListenerListT<> list;
    int calls = 0;
    long const id = list.add([&] { ++calls; }, maskA);
    list.add([] {}, maskA);
    EXPECT_EQ(list.size(), 2u);
    EXPECT_TRUE(list.remove(id));
    EXPECT_EQ(list.size(), 1u);
    EXPECT_FALSE(list.remove(id)) << "a listener is removed once";
    EXPECT_FALSE(list.remove(12345678)) << "unknown identifiers are reported";
    list.call(maskA);
    EXPECT_EQ(calls, 0);
}

TEST(ListenerList, EmptyListReportsEmpty) {
    ListenerListT<> list;
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.size(), 0u);
    EXPECT_TRUE(list.call(maskA)) << "calling an empty list is fine";
    long const id = list.add([] {}, maskA);
    EXPECT_FALSE(list.empty());
    list.remove(id);
    EXPECT_TRUE(list.empty());
}

TEST(ListenerList, RemoveOwnerTakesOnlyTheGivenBitsFromThatOwnersListeners) {
    ListenerListT<> list;
    int const ownerA = 0;
    int const ownerB = 0;
    Calls calls;
    list.add([&] { calls.push_back("a1"); }, maskA | maskB, &ownerA);
    list.add([&] { calls.push_back("a2"); }, maskA, &ownerA);
    list.add([&] { calls.push_back("b"); }, maskA | maskB, &ownerB);
    list.add([&] { calls.push_back("none"); }, maskA | maskB);

    list.removeOwner(&ownerA, maskA);
    EXPECT_EQ(list.size(), 3u) << "a listener left with no bit is removed, the others stay";
    list.call(maskA);
    EXPECT_EQ(calls, (Calls{"b", "none"}));
    calls.clear();
    list.call(maskB);
    EXPECT_EQ(calls, (Calls{"a1", "b", "none"})) << "the owner's listener keeps the bits not taken";

    list.removeOwner(&ownerA, maskB);
    EXPECT_EQ(list.size(), 2u);
    calls.clear();
    list.call(maskA | maskB);
    EXPECT_EQ(calls, (Calls{"b", "none"}));
}

TEST(ListenerList, RemovingAnOwnerWithManyListenersRemovesEachOfThem) {
    ListenerListT<> list;
    int const owner = 0;
    int ownedCalls = 0;
    int otherCalls = 0;
    for (int i = 0; i < 50; ++i) {
        list.add([&] { ++ownedCalls; }, maskA, &owner);
        list.add([&] { ++otherCalls; }, maskA);
    }
    list.removeOwner(&owner, maskA);
    EXPECT_EQ(list.size(), 50u);
    list.call(maskA);
    EXPECT_EQ(ownedCalls, 0) << "every listener of the owner must be gone";
    EXPECT_EQ(otherCalls, 50) << "every other listener must stay";
}

TEST(ListenerList, ListenerAddedDuringACallIsFirstCalledByTheNextCall) {
    ListenerListT<> list;
    Calls calls;
    bool added = false;
    list.add(
        [&] {
            calls.push_back("adder");
            if (!added) {
                added = true;
                list.add([&] { calls.push_back("late"); }, maskA);
            }
        },
        maskA);
    list.call(maskA);
    EXPECT_EQ(calls, (Calls{"adder"})) << "a listener added during a call must wait for the next call";
    calls.clear();
    list.call(maskA);
    EXPECT_EQ(calls, (Calls{"adder", "late"}));
}

// Adding many listeners during a call makes the storage grow; the running call must not notice.
TEST(ListenerList, ManyListenersAddedDuringACallDoNotDisturbIt) {
    ListenerListT<> list;
    int lateCalls = 0;
    int secondCalls = 0;
    list.add(
        [&] {
            for (int i = 0; i < 1000; ++i) {
                list.add([&] { ++lateCalls; }, maskB);
            }
        },
        maskA);
    list.add([&] { ++secondCalls; }, maskA);
    EXPECT_TRUE(list.call(maskA));
    EXPECT_EQ(secondCalls, 1);
    list.call(maskB);
    EXPECT_EQ(lateCalls, 1000);
}

TEST(ListenerList, ListenerRemovedDuringACallIsNotCalledAgainEvenByThatCall) {
    ListenerListT<> list;
    Calls calls;
    long laterId = 0;
    list.add(
        [&] {
            calls.push_back("remover");
            list.remove(laterId);
        },
        maskA);
    laterId = list.add([&] { calls.push_back("later"); }, maskA);
    list.add([&] { calls.push_back("last"); }, maskA);
    list.call(maskA);
    EXPECT_EQ(calls, (Calls{"remover", "last"})) << "a removed listener must not run in the running call";
    EXPECT_EQ(list.size(), 2u);
    calls.clear();
    list.call(maskA);
    EXPECT_EQ(calls, (Calls{"remover", "last"}));
}

TEST(ListenerList, ListenerMayRemoveItselfAndTheOthersStillRun) {
    ListenerListT<> list;
    Calls calls;
    long selfId = 0;
    list.add([&] { calls.push_back("before"); }, maskA);
    selfId = list.add(
        [&] {
            calls.push_back("once");
            list.remove(selfId);
            calls.push_back("still inside");
        },
        maskA);
    list.add([&] { calls.push_back("after"); }, maskA);
    list.call(maskA);
    EXPECT_EQ(calls, (Calls{"before", "once", "still inside", "after"}));
    calls.clear();
    list.call(maskA);
    EXPECT_EQ(calls, (Calls{"before", "after"}));
}

TEST(ListenerList, OwnerRemovedDuringACallStopsItsRemainingListeners) {
    ListenerListT<> list;
    int const owner = 0;
    Calls calls;
    list.add(
        [&] {
            calls.push_back("remover");
            list.removeOwner(&owner, maskA);
        },
        maskA);
    list.add([&] { calls.push_back("owned"); }, maskA, &owner);
    list.call(maskA);
    EXPECT_EQ(calls, (Calls{"remover"}));
    EXPECT_EQ(list.size(), 1u);
}

TEST(ListenerList, NestedCallsRunInsideTheOuterCall) {
    ListenerListT<int> list;
    Calls calls;
    list.add(
        [&](int depth) {
            calls.push_back("first@" + std::to_string(depth));
            if (depth == 0) {
                EXPECT_TRUE(list.call(maskA, 1));
            }
        },
        maskA);
    list.add([&](int depth) { calls.push_back("second@" + std::to_string(depth)); }, maskA);
    EXPECT_TRUE(list.call(maskA, 0));
    EXPECT_EQ(calls, (Calls{"first@0", "first@1", "second@1", "second@0"}));
}

TEST(ListenerList, RemovalInANestedCallHoldsForTheOuterCallToo) {
    ListenerListT<int> list;
    Calls calls;
    long victim = 0;
    list.add(
        [&](int depth) {
            calls.push_back("outer@" + std::to_string(depth));
            if (depth == 0) {
                list.call(maskB, 1);
            }
        },
        maskA);
    list.add(
        [&](int depth) {
            calls.push_back("remover@" + std::to_string(depth));
            list.remove(victim);
        },
        maskB);
    victim = list.add([&](int depth) { calls.push_back("victim@" + std::to_string(depth)); }, maskA);
    list.call(maskA, 0);
    EXPECT_EQ(calls, (Calls{"outer@0", "remover@1"}))
        << "removed in the nested call, not run by the outer one";
    EXPECT_EQ(list.size(), 2u);
}

TEST(ListenerList, ListDestroyedByItsListenerStopsTheCallSafely) {
    auto list = std::make_unique<ListenerListT<>>();
    Calls calls;
    list->add(
        [&] {
            calls.push_back("destroyer");
            list.reset();
            calls.push_back("destroyer survives");
        },
        maskA);
    list->add([&] { calls.push_back("never"); }, maskA);
    ListenerListT<>* const raw = list.get();
    EXPECT_FALSE(raw->call(maskA)) << "the call must report that the list is gone";
    EXPECT_EQ(calls, (Calls{"destroyer", "destroyer survives"}));
    EXPECT_EQ(list, nullptr);
}

// The captures of the running listener must stay alive until it returns, even though the list is gone.
TEST(ListenerList, RunningListenerKeepsItsCapturesWhenTheListIsDestroyed) {
    auto list = std::make_unique<ListenerListT<>>();
    auto shared = std::make_shared<int>(7);
    std::weak_ptr<int> watch = shared;
    int seen = 0;
    list->add(
        [&list, &seen, captured = std::move(shared)] {
            list.reset();
            seen = *captured;
        },
        maskA);
    ListenerListT<>* const raw = list.get();
    EXPECT_FALSE(raw->call(maskA));
    EXPECT_EQ(seen, 7);
    EXPECT_TRUE(watch.expired()) << "the captures go once the call is over";
}

TEST(ListenerList, ListDestroyedInANestedCallStopsEveryCallSafely) {
    auto list = std::make_unique<ListenerListT<int>>();
    Calls calls;
    ListenerListT<int>* const raw = list.get();
    bool innerResult = true;
    list->add(
        [&](int depth) {
            calls.push_back("outer@" + std::to_string(depth));
            if (depth == 0) {
                innerResult = raw->call(maskB, 1);
            }
        },
        maskA);
    list->add(
        [&](int depth) {
            calls.push_back("destroyer@" + std::to_string(depth));
            list.reset();
        },
        maskB);
    list->add([&](int depth) { calls.push_back("never@" + std::to_string(depth)); }, maskA | maskB);
    EXPECT_FALSE(raw->call(maskA, 0)) << "the outer call must learn that the list is gone";
    EXPECT_FALSE(innerResult) << "the inner call must learn that the list is gone";
    EXPECT_EQ(calls, (Calls{"outer@0", "destroyer@1"}));
}

TEST(AttributeEventListenerList, ListenersHearTheTypesTheyAskedFor) {
    AttributeEventListenerList list;
    std::vector<std::pair<AttributeEvent::Type, unsigned long>> heard;
    using Types = Cobalt::FlagsT<AttributeEvent::Type>;
    list.addListener(Types(AttributeEvent::ELEMENT_INSERTED) | AttributeEvent::ELEMENT_REMOVED,
                     [&](AttributeEvent event) { heard.emplace_back(event.type, event.key); });
    list.send(AttributeEvent::ELEMENT_INSERTED, 3);
    list.send(AttributeEvent::ELEMENT_CHANGED, 4);
    list.send(AttributeEvent::LIST_CHANGED, 0);
    list.send(AttributeEvent::ELEMENT_REMOVED, 5);
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0], std::make_pair(AttributeEvent::ELEMENT_INSERTED, 3ul));
    EXPECT_EQ(heard[1], std::make_pair(AttributeEvent::ELEMENT_REMOVED, 5ul));
}

TEST(AttributeEventListenerList, TypeNumbersAreTheSharedValues) {
    EXPECT_EQ(AttributeEvent::LIST_CHANGED, 2);
    EXPECT_EQ(AttributeEvent::ELEMENT_INSERTED, 8);
    EXPECT_EQ(AttributeEvent::ELEMENT_REMOVED, 16);
    EXPECT_EQ(AttributeEvent::ELEMENT_CHANGED, 32);
}

TEST(AttributeEventListenerList, RemovedListenerHearsNothingMore) {
    AttributeEventListenerList list;
    int calls = 0;
    unsigned long const id = list.addListener(AttributeEvent::LIST_CHANGED, [&](AttributeEvent) { ++calls; });
    list.addListener(AttributeEvent::LIST_CHANGED, [](AttributeEvent) {});
    EXPECT_EQ(list.size(), 2u);
    list.send(AttributeEvent::LIST_CHANGED, 0);
    list.removeListener(id);
    EXPECT_EQ(list.size(), 1u);
    list.send(AttributeEvent::LIST_CHANGED, 0);
    EXPECT_EQ(calls, 1);
}

TEST(AttributeEventListenerList, ListenerMayRemoveItselfAndAddAnotherDuringSend) {
    AttributeEventListenerList list;
    std::vector<std::string> calls;
    unsigned long selfId = 0;
    selfId = list.addListener(AttributeEvent::ELEMENT_CHANGED, [&](AttributeEvent event) {
        calls.push_back("once " + std::to_string(event.key));
        list.removeListener(selfId);
        list.addListener(AttributeEvent::ELEMENT_CHANGED, [&](AttributeEvent later) {
            calls.push_back("later " + std::to_string(later.key));
        });
    });
    list.send(AttributeEvent::ELEMENT_CHANGED, 1);
    list.send(AttributeEvent::ELEMENT_CHANGED, 2);
    EXPECT_EQ(calls, (std::vector<std::string>{"once 1", "later 2"}));
}
