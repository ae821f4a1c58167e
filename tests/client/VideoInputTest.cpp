#include "client/VideoInput.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

using Basalt::Attribute;
using Datamodel::VideoInput;

TEST(VideoInput, DeclaresItsAttributesInOrderWithTheirDefaults) {
    VideoInput input;
    TestSupport::expectDeclaredAttributes(input,
                                          {
                                              {"source", "string", "", Attribute::LAYER_DEFAULT},
                                              {"name", "string", "", Attribute::LAYER_DEFAULT},
                                              {"resolution", "size2:int", "0 0", Attribute::LAYER_DEFAULT},
                                              {"width", "int", "0", Attribute::LAYER_DEFAULT},
                                              {"height", "int", "0", Attribute::LAYER_DEFAULT},
                                          });
    EXPECT_EQ(input.flags().bits(), 0u);
}

TEST(VideoInput, TheNameAttributeIsNotTheElementName) {
    VideoInput input;
    input.initName();
    input.inputName = QStringLiteral("Camera 1");
    EXPECT_EQ(input.attribute("name"), &input.inputName);
    EXPECT_EQ(input.name(), input.guid()) << "the element keeps its own name";
}

TEST(VideoInput, SettingTheResolutionThroughWidthAloneKeepsItsHeight) {
    VideoInput input;
    input.resolution = Fathom::SizeT<int>(640, 480);
    Attribute* width = input.attribute("width");
    ASSERT_EQ(width, &input.resolution.component(0));
    ASSERT_TRUE(width->set(1920));
    EXPECT_EQ(input.resolution.value(), Fathom::SizeT<int>(1920, 480));
}

TEST(VideoInputMap, DeclaresNoAttributesAndPassesNoFlags) {
    Datamodel::VideoInputMap map;
    TestSupport::expectDeclaredAttributes(map, {});
    EXPECT_EQ(map.flags().bits(), 0u);
}
