#include "platform/tessel/ElementFactory.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace {

class Shape : public Tessel::Element {};
class Circle : public Tessel::Element {};
class Root : public Tessel::Element {};

} // namespace

TEST(ElementFactory, ANewFactoryKnowsNodeAsAPlainElement) {
    Tessel::ElementFactory factory;
    std::unique_ptr<Tessel::Element> node(factory.create("node"));
    ASSERT_TRUE(node);
    EXPECT_EQ(typeid(*node), typeid(Tessel::Element));
    EXPECT_EQ(factory.keyOf(*node), QByteArray("node"));
}

TEST(ElementFactory, MakesEachKeyAndNamesEachClass) {
    Tessel::ElementFactory factory;
    ASSERT_TRUE(factory.addFactory<Shape>("shape"));
    std::unique_ptr<Tessel::Element> made(factory.create("shape"));
    ASSERT_TRUE(made);
    EXPECT_EQ(typeid(*made), typeid(Shape));
    EXPECT_EQ(factory.keyOf(*made), QByteArray("shape"));
    bool found = false;
    EXPECT_EQ(factory.typeOf("shape", &found), std::type_index(typeid(Shape)));
    EXPECT_TRUE(found);
    EXPECT_EQ(factory.create("unknown"), nullptr);
    EXPECT_TRUE(factory.keyOf(typeid(Circle), &found).isNull());
    EXPECT_FALSE(found);
}

TEST(ElementFactory, RegisteringAKeyTwiceOrAClassUnderASecondKeyLeavesTheFirstInForce) {
    Tessel::ElementFactory factory;
    ASSERT_TRUE(factory.addFactory<Shape>("shape"));
    EXPECT_FALSE(factory.addFactory<Circle>("shape")) << "the key is taken";
    EXPECT_FALSE(factory.addFactory<Shape>("other")) << "the class has a key";
    std::unique_ptr<Tessel::Element> made(factory.create("shape"));
    EXPECT_EQ(typeid(*made), typeid(Shape));
    EXPECT_FALSE(factory.hasKey("other"));
    EXPECT_EQ(factory.keyOf(typeid(Shape)), QByteArray("shape"));
}

TEST(ElementFactory, GroupsAreStoredUnderTheirKeyAndAbsentElsewhere) {
    Tessel::ElementFactory factory;
    auto groups = std::make_shared<Tessel::AttributeGroups>();
    groups->addLockGroup({"location", "size"});
    groups->addAttribute("depth");
    ASSERT_TRUE(factory.addFactory<Shape>("shape", groups));
    ASSERT_TRUE(factory.addFactory<Circle>("circle", std::shared_ptr<Tessel::AttributeGroups>()));
    EXPECT_EQ(factory.findAttributeGroupsForType("shape"), groups) << "the very object, not a copy";
    EXPECT_EQ(factory.findAttributeGroupsForType("circle"), nullptr);
    EXPECT_EQ(factory.findAttributeGroupsForType("unknown"), nullptr);
    EXPECT_EQ(groups->lockGroups().size(), 1);
    EXPECT_EQ(groups->group().keys(), QVector<QByteArray>{"depth"});
}

TEST(ElementFactory, NullGroupsRegisterTheClassWithoutGroups) {
    Tessel::ElementFactory factory;
    ASSERT_TRUE(factory.addFactory<Circle>("circle", nullptr));
    std::unique_ptr<Tessel::Element> made(factory.create("circle"));
    ASSERT_TRUE(made) << "nullptr stands for the groups, not for the maker";
    EXPECT_EQ(typeid(*made), typeid(Circle));
    EXPECT_EQ(factory.findAttributeGroupsForType("circle"), nullptr);
}

TEST(ElementFactory, NullGroupsLeaveTheGroupsOfATakenKey) {
    Tessel::ElementFactory factory;
    auto const groups = std::make_shared<Tessel::AttributeGroups>();
    ASSERT_TRUE(factory.addFactory<Shape>("shape", groups));
    EXPECT_FALSE(factory.addFactory<Circle>("shape", nullptr)) << "the key is taken";
    EXPECT_EQ(factory.findAttributeGroupsForType("shape"), groups) << "no groups replace none";
}

TEST(ElementFactory, TransientRootOnATakenKeyOnlyNamesTheClass) {
    Tessel::ElementFactory factory;
    factory.setTransientRoot<Root>("node");
    std::unique_ptr<Tessel::Element> plain(factory.create("node"));
    EXPECT_EQ(typeid(*plain), typeid(Tessel::Element)) << "the maker of the key stays";
    std::unique_ptr<Tessel::Element> root(factory.createTransientRoot());
    ASSERT_TRUE(root);
    EXPECT_EQ(typeid(*root), typeid(Root));
    EXPECT_EQ(factory.keyOf(*root), QByteArray("node"));
}

TEST(ElementFactory, TransientRootOnANewKeyRegistersTheClass) {
    Tessel::ElementFactory factory;
    EXPECT_EQ(factory.createTransientRoot(), nullptr) << "no transient root until one is set";
    factory.setTransientRoot<Root>("transient");
    std::unique_ptr<Tessel::Element> made(factory.create("transient"));
    EXPECT_EQ(typeid(*made), typeid(Root));
}
