#pragma once

// Walks an element's attributes in declaration order against a table of what each must be when the element
// is new: key, type text, default as text, and the layer that holds the default. Shared by the element
// tests, whose classes are mostly their attributes.

#include "platform/basalt/Node.hpp"

#include <gtest/gtest.h>

#include <QString>

#include <vector>

namespace TestSupport {

struct DeclaredAttribute {
    char const* key;
    char const* type;
    char const* defaultText;
    Basalt::Attribute::Layer layer;
};

inline void expectDeclaredAttributes(Basalt::Node const& node, std::vector<DeclaredAttribute> const& rows) {
    using Basalt::Attribute;
    auto const& attributes = node.attributes();
    ASSERT_EQ(attributes.size(), rows.size()) << "a new element has exactly the attributes of its table";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        DeclaredAttribute const& row = rows[i];
        Attribute const* attribute = attributes[i].second;
        SCOPED_TRACE(testing::Message() << "attribute " << i << " \"" << row.key << "\"");
        EXPECT_EQ(attributes[i].first, QByteArray(row.key)) << "declaration order";
        EXPECT_EQ(attribute->type(), QByteArray(row.type));
        EXPECT_EQ(attribute->asString(), QString::fromUtf8(row.defaultText)) << "default value";
        for (Attribute::Layer layer :
             {Attribute::LAYER_BELOW_USER, Attribute::LAYER_USER, Attribute::LAYER_ABOVE_USER}) {
            EXPECT_EQ(attribute->isValueDefinedOnLayer(layer), layer == row.layer)
                << "the default sits on layer " << row.layer << " and nothing is above it";
        }
        EXPECT_TRUE(attribute->isValueDefinedOnLayer(Attribute::LAYER_DEFAULT));
    }
}

} // namespace TestSupport
