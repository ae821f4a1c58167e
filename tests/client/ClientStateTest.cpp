#include "client/ClientState.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

TEST(ClientState, DeclaresNoAttributesAndPassesNoFlags) {
    Datamodel::ClientState state;
    TestSupport::expectDeclaredAttributes(state, {});
    EXPECT_EQ(state.flags().bits(), 0u);
}
