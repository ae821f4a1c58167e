#include "client/VideoOutputSink2.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

using Basalt::Attribute;

TEST(VideoOutputSink2, DeclaresItsAttributesInOrderWithTheirDefaults) {
    Datamodel::VideoOutputSink2 sink;
    TestSupport::expectDeclaredAttributes(sink, {
                                                    {"source", "string", "", Attribute::LAYER_DEFAULT},
                                                    {"output-name", "string", "", Attribute::LAYER_DEFAULT},
                                                    {"index", "int", "0", Attribute::LAYER_DEFAULT},
                                                    {"suspended", "bool", "false", Attribute::LAYER_DEFAULT},
                                                });
    EXPECT_EQ(sink.flags().bits(), 0u);
}
