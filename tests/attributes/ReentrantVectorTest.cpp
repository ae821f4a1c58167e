#include "attributes/ReentrantVector.hpp"
#include "attributes/AttributeT.hpp"
#include "attributes/Transition.hpp"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <vector>

namespace ReentrantVectorTestTypes {

/// An entry that someone points at: `*holder` must always be the entry's address, or null once erased.
struct Tracked {
    int value = 0;
    Tracked** holder = nullptr;
};

} // namespace ReentrantVectorTestTypes

namespace Cobalt {

template <>
struct ReentrantVectorTraits<ReentrantVectorTestTypes::Tracked> {
    static void relocated(ReentrantVectorTestTypes::Tracked& entry) {
        if (entry.holder) {
            *entry.holder = &entry;
        }
    }
    static void removed(ReentrantVectorTestTypes::Tracked& entry) {
        if (entry.holder) {
            *entry.holder = nullptr;
        }
    }
};

} // namespace Cobalt

using Cobalt::ReentrantVector;
using ReentrantVectorTestTypes::Tracked;

namespace {

void fill(ReentrantVector<int>& vector, int count) {
    for (int i = 0; i < count; ++i) {
        vector.append(i);
    }
}

std::vector<int> contents(ReentrantVector<int> const& vector) {
    return std::vector<int>(vector.begin(), vector.end());
}

} // namespace

TEST(ReentrantVector, AnIteratorFollowsAnEraseBeforeAtOrAfterIt) {
    struct Row {
        std::size_t erased;
        std::size_t indexAfterErase;
        std::size_t indexAfterStep;
    };
    // Five entries 0..4, the iterator on entry 2.
    Row const rows[] = {
        {0, 1, 2},            // before: the iterator moves back with its entry
        {1, 1, 2}, {2, 2, 2}, // at: it stays, and its next step stays too so the entry moved in is seen
        {3, 2, 3},            // after: untouched
        {4, 2, 3},
    };
    for (Row const& row : rows) {
        ReentrantVector<int> vector;
        fill(vector, 5);
        ReentrantVector<int>::Iterator iterator(vector, 2);
        vector.erase(row.erased);
        EXPECT_EQ(iterator.index(), row.indexAfterErase) << "erasing " << row.erased;
        if (row.erased != 2) {
            EXPECT_EQ(vector[iterator.index()], 2)
                << "erasing " << row.erased << ": the iterator keeps its entry";
        }
        iterator.step();
        EXPECT_EQ(iterator.index(), row.indexAfterStep) << "erasing " << row.erased;
    }
}

TEST(ReentrantVector, AfterTheStayingStepTheIteratorMovesOnAgain) {
    ReentrantVector<int> vector;
    fill(vector, 4);
    ReentrantVector<int>::Iterator iterator(vector, 1);
    vector.erase(1);
    iterator.step();
    EXPECT_EQ(iterator.index(), 1u);
    EXPECT_EQ(vector[iterator.index()], 2) << "the entry that moved into the place";
    iterator.step();
    EXPECT_EQ(iterator.index(), 2u);
}

TEST(ReentrantVector, AWalkThatErasesItsCurrentEntryVisitsEveryEntryOnce) {
    ReentrantVector<int> vector;
    fill(vector, 10);
    std::vector<int> visited;
    for (ReentrantVector<int>::Iterator it(vector, 0); it.index() < vector.size(); it.step()) {
        int const value = vector[it.index()];
        visited.push_back(value);
        if (value % 2 == 0) {
            vector.erase(it.index());
        }
    }
    EXPECT_EQ(visited, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(contents(vector), (std::vector<int>{1, 3, 5, 7, 9}));
}

TEST(ReentrantVector, AWalkThatErasesOtherEntriesSkipsOnlyTheErasedOnesAhead) {
    ReentrantVector<int> vector;
    fill(vector, 10);
    std::vector<int> visited;
    for (ReentrantVector<int>::Iterator it(vector, 0); it.index() < vector.size(); it.step()) {
        int const value = vector[it.index()];
        visited.push_back(value);
        if (value == 5) {
            vector.erase(2); // behind the walk
            vector.erase(7); // ahead of it: the entry 8, now at index 7
        }
    }
    EXPECT_EQ(visited, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 9}));
    EXPECT_EQ(contents(vector), (std::vector<int>{0, 1, 3, 4, 5, 6, 7, 9}));
}

TEST(ReentrantVector, AnEndMarkerFollowsErasesSoTheWalkStopsAtTheSameEntry) {
    ReentrantVector<int> vector;
    fill(vector, 6);
    ReentrantVector<int>::Iterator end(vector, vector.size());
    vector.append(100); // added after the marker was set
    vector.erase(0);
    vector.erase(0);
    EXPECT_EQ(end.index(), 4u);
    EXPECT_EQ(vector[end.index()], 100) << "the marker still sits just before the later entry";
}

TEST(ReentrantVector, SeveralIteratorsFollowTheSameErase) {
    ReentrantVector<int> vector;
    fill(vector, 6);
    ReentrantVector<int>::Iterator a(vector, 1);
    ReentrantVector<int>::Iterator b(vector, 3);
    ReentrantVector<int>::Iterator c(vector, 5);
    vector.erase(3);
    EXPECT_EQ(a.index(), 1u);
    EXPECT_EQ(b.index(), 3u);
    EXPECT_EQ(c.index(), 4u);
    EXPECT_EQ(vector[c.index()], 5);
}

TEST(ReentrantVector, AnIteratorTakenOffNoLongerFollowsErases) {
    ReentrantVector<int> vector;
    fill(vector, 5);
    ReentrantVector<int>::Iterator iterator(vector, 3);
    vector.removeIterator(&iterator);
    vector.erase(0);
    EXPECT_EQ(iterator.index(), 3u);
}

TEST(ReentrantVector, AppendsThatReallocateTellEveryEntryItsNewAddress) {
    constexpr int count = 100;
    std::array<Tracked*, count> holders{};
    ReentrantVector<Tracked> vector;
    std::size_t reallocations = 0;
    for (int i = 0; i < count; ++i) {
        Tracked const* const before = vector.empty() ? nullptr : &vector[0];
        Tracked& added = vector.append(Tracked{i, &holders[i]});
        EXPECT_EQ(&added, &vector[vector.size() - 1]);
        if (before && before != &vector[0]) {
            ++reallocations;
        }
        for (int j = 0; j <= i; ++j) {
            ASSERT_EQ(holders[j], &vector[j]) << "entry " << j << " after appending " << i;
        }
    }
    EXPECT_GT(reallocations, 2u) << "the test must have made the storage move";
}

TEST(ReentrantVector, EraseFixesShiftedEntriesAndClearsTheErasedOne) {
    constexpr int count = 5;
    std::array<Tracked*, count> holders{};
    ReentrantVector<Tracked> vector;
    for (int i = 0; i < count; ++i) {
        vector.append(Tracked{i, &holders[i]});
    }
    vector.erase(1);
    EXPECT_EQ(holders[1], nullptr);
    EXPECT_EQ(holders[0], &vector[0]);
    for (int i = 2; i < count; ++i) {
        EXPECT_EQ(holders[i], &vector[i - 1]) << "entry " << i << " moved down one place";
        EXPECT_EQ(holders[i]->value, i);
    }
}

TEST(ReentrantVector, TransitionEntriesStayFoundFromTheirAttributesWhereverTheyMove) {
    // The vector outlives the attributes: a leaving attribute writes into its entry.
    ReentrantVector<Basalt::TransitionAnimT<float>> vector;
    std::vector<std::unique_ptr<Basalt::AttributeT<float>>> attributes;
    for (int i = 0; i < 40; ++i) {
        attributes.push_back(std::make_unique<Basalt::AttributeT<float>>(nullptr, "animated", 0.0f));
        Basalt::TransitionAnimT<float> entry;
        entry.attribute = attributes.back().get();
        vector.append(entry);
    }
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        ASSERT_EQ(attributes[i]->transition(), &vector[i]) << "entry " << i << " after the storage grew";
    }

    vector.erase(0);
    EXPECT_EQ(attributes[0]->transition(), nullptr)
        << "the erased entry's attribute has no transition any more";
    for (std::size_t i = 1; i < attributes.size(); ++i) {
        EXPECT_EQ(attributes[i]->transition(), &vector[i - 1]) << "entry " << i;
    }

    Basalt::TransitionAnimT<float> const* const lastEntry = attributes.back()->transition();
    attributes.back().reset();
    EXPECT_EQ(lastEntry->attribute, nullptr) << "a leaving attribute marks its entry dead";
}
