#include "attributes/WeakAttributePtrT.hpp"
#include "attributes/AttributeT.hpp"
#include "platform/basalt/Node.hpp"

#include <gtest/gtest.h>

#include <memory>

using Basalt::Attribute;
using Basalt::AttributeT;
using Basalt::WeakAttributePtrT;
using Basalt::WeakNodePtrT;

TEST(WeakAttributePtrT, DefaultIsNull) {
    WeakAttributePtrT<AttributeT<float>> pointer;
    EXPECT_EQ(pointer.get(), nullptr);
    EXPECT_FALSE(pointer);
}

TEST(WeakAttributePtrT, FollowsItsTargetAndTurnsNullWhenTheTargetIsDeleted) {
    auto target = std::make_unique<AttributeT<float>>(nullptr, "opacity", 0.5f);
    WeakAttributePtrT<AttributeT<float>> pointer(target.get());
    ASSERT_TRUE(pointer);
    EXPECT_EQ(pointer.get(), target.get());
    EXPECT_EQ(pointer->value(), 0.5f);
    EXPECT_EQ((*pointer).name(), QByteArray("opacity"));

    target.reset();
    EXPECT_EQ(pointer.get(), nullptr) << "deleting the attribute must clear the pointer";
    EXPECT_FALSE(pointer);
}

TEST(WeakAttributePtrT, ListensOnlyForDeletion) {
    AttributeT<int> target(nullptr, "count", 1);
    WeakAttributePtrT<AttributeT<int>> pointer(&target);
    EXPECT_EQ(target.listenerCount(), 1u);
    target = 5;
    target.emitChange();
    EXPECT_EQ(pointer.get(), &target) << "a change is no deletion";
}

TEST(WeakAttributePtrT, ResetDetachesFromTheOldTarget) {
    AttributeT<float> first(nullptr, "first", 0.0f);
    auto second = std::make_unique<AttributeT<float>>(nullptr, "second", 0.0f);
    WeakAttributePtrT<AttributeT<float>> pointer(second.get());
    EXPECT_EQ(second->listenerCount(), 1u);

    pointer.reset(&first);
    EXPECT_EQ(second->listenerCount(), 0u) << "the old target must lose the listener";
    EXPECT_EQ(first.listenerCount(), 1u);
    second.reset();
    EXPECT_EQ(pointer.get(), &first) << "the old target's deletion must not touch the pointer any more";

    pointer.reset();
    EXPECT_EQ(pointer.get(), nullptr);
    EXPECT_EQ(first.listenerCount(), 0u);
}

TEST(WeakAttributePtrT, AssigningAnAttributeResetsToIt) {
    AttributeT<float> first(nullptr, "first", 0.0f);
    AttributeT<float> second(nullptr, "second", 0.0f);
    WeakAttributePtrT<AttributeT<float>> pointer(&first);
    pointer = &second;
    EXPECT_EQ(pointer.get(), &second);
    EXPECT_EQ(first.listenerCount(), 0u);
    EXPECT_EQ(second.listenerCount(), 1u);
}

TEST(WeakAttributePtrT, DestroyingThePointerRemovesItsListener) {
    auto target = std::make_unique<AttributeT<float>>(nullptr, "opacity", 0.0f);
    {
        WeakAttributePtrT<AttributeT<float>> pointer(target.get());
        EXPECT_EQ(target->listenerCount(), 1u);
    }
    EXPECT_EQ(target->listenerCount(), 0u);
    target.reset(); // a listener left behind would write into the destroyed pointer here
}

TEST(WeakAttributePtrT, ACopyFollowsTheSameTargetOnItsOwn) {
    auto target = std::make_unique<AttributeT<float>>(nullptr, "opacity", 0.0f);
    WeakAttributePtrT<AttributeT<float>> original(target.get());
    auto copy = std::make_unique<WeakAttributePtrT<AttributeT<float>>>(original);
    EXPECT_EQ(copy->get(), target.get());
    EXPECT_EQ(target->listenerCount(), 2u) << "each pointer listens for itself";

    WeakAttributePtrT<AttributeT<float>> assigned;
    assigned = original;
    EXPECT_EQ(assigned.get(), target.get());
    EXPECT_EQ(target->listenerCount(), 3u);

    copy.reset();
    EXPECT_EQ(target->listenerCount(), 2u);
    target.reset();
    EXPECT_EQ(original.get(), nullptr);
    EXPECT_EQ(assigned.get(), nullptr);
}

TEST(WeakAttributePtrT, ResetAfterTheTargetWasDeletedIsSafe) {
    auto target = std::make_unique<AttributeT<float>>(nullptr, "opacity", 0.0f);
    AttributeT<float> next(nullptr, "next", 0.0f);
    WeakAttributePtrT<AttributeT<float>> pointer(target.get());
    target.reset();
    pointer.reset(&next);
    EXPECT_EQ(pointer.get(), &next);
    EXPECT_EQ(next.listenerCount(), 1u);
}

TEST(WeakAttributePtrT, TracksAttributesThroughTheirBase) {
    auto target = std::make_unique<AttributeT<QString>>(nullptr, "label", QStringLiteral("x"));
    WeakAttributePtrT<Attribute> pointer(target.get());
    EXPECT_EQ(pointer->type(), QByteArray("string"));
    target.reset();
    EXPECT_EQ(pointer.get(), nullptr);
}

TEST(WeakNodePtrT, TurnsNullWhenTheNodeIsDeleted) {
    auto node = std::make_unique<Basalt::Node>();
    WeakNodePtrT<Basalt::Node> pointer(node.get());
    EXPECT_EQ(&*pointer, node.get());
    EXPECT_EQ((*pointer).type(), QByteArray("node"));
    node.reset();
    EXPECT_FALSE(pointer);
}

TEST(WeakNodePtrT, ResetDetachesFromTheOldNode) {
    auto first = std::make_unique<Basalt::Node>();
    Basalt::Node second;
    WeakNodePtrT<Basalt::Node> pointer(first.get());
    pointer = &second;
    EXPECT_EQ(first->listenerCount(), 0u);
    first.reset();
    EXPECT_EQ(pointer.get(), &second);
}
