#include "index/Group.hpp"

#include "tests/index/IndexDocument.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

using Basalt::Attribute;
using Datamodel::Group;
using Datamodel::GroupContainer;

TEST(Group, DeclaresItsNameAndDescriptionAndPassesFlagsThree) {
    Group group;
    TestSupport::expectDeclaredAttributes(group, {
                                                     {"group-name", "string", "", Attribute::LAYER_DEFAULT},
                                                     {"description", "string", "", Attribute::LAYER_DEFAULT},
                                                 });
    EXPECT_EQ(group.flags().bits(), 3u);
}

TEST(GroupContainer, DeclaresNoAttributesAndPassesFlagsThree) {
    GroupContainer groups;
    TestSupport::expectDeclaredAttributes(groups, {});
    EXPECT_EQ(groups.flags().bits(), 3u);
}

TEST(GroupContainer, FindGroupByIdGivesOnlyGroups) {
    GroupContainer groups;
    Group* three = IndexTest::addChild<Group>(groups, "3");
    IndexTest::addChild<Tessel::Element>(groups, "4");
    EXPECT_EQ(groups.findGroupById(3), three);
    EXPECT_EQ(groups.findGroupById(4), nullptr) << "a child of that id that is no group";
    EXPECT_EQ(groups.findGroupById(5), nullptr);
}
