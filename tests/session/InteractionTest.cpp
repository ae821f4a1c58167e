#include "session/Interaction.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

using Basalt::Attribute;

TEST(Interaction, DeclaresItsAttributesInOrderWithTheirDefaults) {
    Datamodel::Interaction interaction;
    TestSupport::expectDeclaredAttributes(
        interaction,
        {
            {"location", "location2:float", "0 0", Attribute::LAYER_DEFAULT},
            {"location-x", "float", "0", Attribute::LAYER_DEFAULT},
            {"location-y", "float", "0", Attribute::LAYER_DEFAULT},
            {"interaction-type", "int", "0", Attribute::LAYER_DEFAULT},
            {"interaction-color", "color", "rgba_pma(255, 255, 255, 1)", Attribute::LAYER_DEFAULT},
            {"interaction-text-color", "color", "rgba_pma(0, 0, 0, 1)", Attribute::LAYER_DEFAULT},
        });
    EXPECT_EQ(interaction.interactionColor.value(), Cobalt::ColorPMA(1.0f, 1.0f, 1.0f, 1.0f));
    EXPECT_EQ(interaction.interactionTextColor.value(), Cobalt::ColorPMA(0.0f, 0.0f, 0.0f, 1.0f));
    EXPECT_EQ(interaction.flags().bits(), 1u);
}

TEST(Interaction, PassesAnyInteractionTypeThrough) {
    Datamodel::Interaction interaction;
    interaction.interactionType = 17;
    EXPECT_EQ(interaction.interactionType.value(), 17);
}
