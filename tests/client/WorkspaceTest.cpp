#include "client/Workspace.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

using Basalt::Attribute;
using Datamodel::Workspace;

TEST(Workspace, DeclaresItsAttributesInOrderWithTheirDefaults) {
    Workspace workspace;
    TestSupport::expectDeclaredAttributes(
        workspace, {
                       {"size", "size2:float", "-1 -1", Attribute::LAYER_DEFAULT},
                       {"width", "float", "-1", Attribute::LAYER_DEFAULT},
                       {"height", "float", "-1", Attribute::LAYER_DEFAULT},
                       {"location", "location2:float", "0 0", Attribute::LAYER_DEFAULT},
                       {"location-x", "float", "0", Attribute::LAYER_DEFAULT},
                       {"location-y", "float", "0", Attribute::LAYER_DEFAULT},
                       {"canvas-id", "string", "", Attribute::LAYER_DEFAULT},
                       {"canvas-size", "size2:float", "-1 -1", Attribute::LAYER_DEFAULT},
                       {"canvas-width", "float", "-1", Attribute::LAYER_DEFAULT},
                       {"canvas-height", "float", "-1", Attribute::LAYER_DEFAULT},
                       {"workspace-state", "string", "", Attribute::LAYER_DEFAULT},
                       {"workspace-index", "int", "-1", Attribute::LAYER_DEFAULT},
                       {"user-email", "string", "", Attribute::LAYER_DEFAULT},
                       {"server-id", "string", "", Attribute::LAYER_DEFAULT},
                       {"pinned", "bool", "false", Attribute::LAYER_DEFAULT},
                       {"workspace-name", "string", "", Attribute::LAYER_DEFAULT},
                       {"view-location", "location2:float", "0 0", Attribute::LAYER_DEFAULT},
                       {"view-location-x", "float", "0", Attribute::LAYER_DEFAULT},
                       {"view-location-y", "float", "0", Attribute::LAYER_DEFAULT},
                       {"view-scale", "float", "0", Attribute::LAYER_DEFAULT},
                       {"info-panel-visible", "bool", "false", Attribute::LAYER_DEFAULT},
                       {"owner", "int", "0", Attribute::LAYER_DEFAULT},
                       {"command", "string", "", Attribute::LAYER_DEFAULT},
                   });
    EXPECT_EQ(workspace.flags().bits(), 0u);
}

TEST(Workspace, ANewWorkspaceHasIndexMinusOneAndBothSizesMinusOneByMinusOne) {
    Workspace workspace;
    EXPECT_EQ(workspace.workspaceIndex.value(), -1);
    EXPECT_EQ(workspace.size.value(), Fathom::SizeT<float>(-1.0f, -1.0f));
    EXPECT_EQ(workspace.canvasSize.value(), Fathom::SizeT<float>(-1.0f, -1.0f));
}

TEST(Workspace, TheSizeComponentsAnswerToTheirOwnKeys) {
    Workspace workspace;
    EXPECT_EQ(workspace.attribute("width"), &workspace.size.component(0));
    EXPECT_EQ(workspace.attribute("height"), &workspace.size.component(1));
    EXPECT_EQ(workspace.attribute("canvas-width"), &workspace.canvasSize.component(0));
    EXPECT_EQ(workspace.attribute("canvas-height"), &workspace.canvasSize.component(1));
    EXPECT_EQ(workspace.attribute("canvas-size-x"), nullptr) << "the suffixed names are given up";
}

TEST(Workspace, WritingCanvasWidthAloneKeepsTheCanvasHeight) {
    Workspace workspace;
    workspace.canvasSize = Fathom::SizeT<float>(4000.0f, 2000.0f);
    Attribute* width = workspace.attribute("canvas-width");
    ASSERT_NE(width, nullptr);
    ASSERT_TRUE(width->set(5000.0f));
    EXPECT_EQ(workspace.canvasSize.value(), Fathom::SizeT<float>(5000.0f, 2000.0f));
    EXPECT_EQ(workspace.size.value(), Fathom::SizeT<float>(-1.0f, -1.0f)) << "the other size is untouched";
}
