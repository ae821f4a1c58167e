#include "platform/basalt/Reference.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using Basalt::Reference;

namespace {

// Two weak pointers stand for the same identity when neither orders before the other.
bool sameIdentity(std::weak_ptr<Reference> const& a, std::weak_ptr<Reference> const& b) {
    return !a.owner_before(b) && !b.owner_before(a);
}

struct Owner {
    int payload = 0;
    Reference reference;
};

} // namespace

TEST(Reference, WeakPointerLivesAsLongAsTheObject) {
    std::weak_ptr<Reference> weak;
    {
        Reference reference;
        weak = reference.weak();
        EXPECT_FALSE(weak.expired()) << "the identity must be alive while the object is";
    }
    EXPECT_TRUE(weak.expired()) << "the identity must expire with the object";
}

TEST(Reference, EmbeddedReferenceExpiresWithItsOwner) {
    auto owner = std::make_unique<Owner>();
    std::weak_ptr<Reference> const weak = owner->reference.weak();
    EXPECT_FALSE(weak.expired());
    owner.reset();
    EXPECT_TRUE(weak.expired());
}

TEST(Reference, RepeatedCallsGiveTheSameIdentity) {
    Reference reference;
    std::weak_ptr<Reference> const first = reference.weak();
    std::weak_ptr<Reference> const second = reference.weak();
    EXPECT_TRUE(sameIdentity(first, second));
    Reference const& constant = reference;
    EXPECT_TRUE(sameIdentity(first, constant.weak())) << "a const object hands out the same identity";
}

TEST(Reference, DifferentObjectsHaveDifferentIdentities) {
    Reference a;
    Reference b;
    EXPECT_FALSE(sameIdentity(a.weak(), b.weak()));
}

TEST(Reference, CopyIsANewIdentity) {
    auto original = std::make_unique<Reference>();
    std::weak_ptr<Reference> const originalWeak = original->weak();
    Reference copy(*original);
    EXPECT_FALSE(sameIdentity(originalWeak, copy.weak())) << "a copy must not share the original's identity";
    original.reset();
    EXPECT_TRUE(originalWeak.expired());
    EXPECT_FALSE(copy.weak().expired()) << "the copy's identity is its own";
}

TEST(Reference, AssignmentKeepsTheTargetsOwnIdentity) {
    Reference target;
    auto source = std::make_unique<Reference>();
    std::weak_ptr<Reference> const before = target.weak();
    std::weak_ptr<Reference> const sourceWeak = source->weak();
    target = *source;
    EXPECT_TRUE(sameIdentity(before, target.weak())) << "assignment must not change the target's identity";
    EXPECT_FALSE(sameIdentity(sourceWeak, target.weak()));
    source.reset();
    EXPECT_TRUE(sourceWeak.expired());
    EXPECT_FALSE(target.weak().expired());
}

TEST(Reference, OwnersInAContainerKeepTheirIdentitiesWhenCopied) {
    std::vector<Owner> owners(2);
    std::weak_ptr<Reference> const first = owners[0].reference.weak();
    std::vector<Owner> copies = owners;
    EXPECT_FALSE(sameIdentity(first, copies[0].reference.weak()));
    owners.clear();
    EXPECT_TRUE(first.expired());
    EXPECT_FALSE(copies[0].reference.weak().expired());
}

// Many threads asking a fresh object for its identity at the same moment must all get one and the same.
TEST(Reference, ConcurrentFirstCallsAgreeOnOneIdentity) {
    constexpr int threads = 4;
    constexpr int rounds = 200;
    for (int round = 0; round < rounds; ++round) {
        Reference reference;
        std::atomic<int> ready{0};
        std::vector<std::weak_ptr<Reference>> results(threads);
        std::vector<std::thread> workers;
        for (int t = 0; t < threads; ++t) {
            workers.emplace_back([&, t] {
                ready.fetch_add(1);
                while (ready.load() < threads) {
                    std::this_thread::yield();
                }
                results[t] = reference.weak();
            });
        }
        for (auto& worker : workers) {
            worker.join();
        }
        for (int t = 1; t < threads; ++t) {
            ASSERT_TRUE(sameIdentity(results[0], results[t])) << "round " << round << ", thread " << t;
        }
        ASSERT_TRUE(sameIdentity(results[0], reference.weak()));
    }
}

TEST(Reference, ResetEndsTheIdentityHandedOutAndTheNextWeakIsANewOne) {
    Reference reference;
    std::weak_ptr<Reference> const before = reference.weak();
    reference.reset();
    EXPECT_TRUE(before.expired()) << "reset must end every listener tied to the old identity";
    std::weak_ptr<Reference> const after = reference.weak();
    EXPECT_FALSE(after.expired()) << "the object hands out a live identity again after a reset";
    EXPECT_FALSE(sameIdentity(before, after));
    EXPECT_EQ(after.lock().get(), &reference);
}
