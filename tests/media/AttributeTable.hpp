#pragma once

// Table-driven checks of an element's declared attributes: key, type text, default value and the layer on
// which that value sits. Shared by the tests of the media and background elements.

#include "platform/basalt/Node.hpp"

#include <gtest/gtest.h>

#include <QByteArray>

#include <functional>
#include <vector>

namespace MediaTest {

/// One declared attribute as the table of its class states it.
struct AttributeRow {
    char const* key;
    char const* type;
    /// True when the attribute (of the expected class) shows its default value.
    std::function<bool(Basalt::Attribute const&)> holdsDefault;
    /// LAYER_DEFAULT, or LAYER_USER where the constructor writes the value there.
    Basalt::Attribute::Layer layer;
};

/// A check that an attribute is an `A` showing `value`.
template <typename A, typename V>
std::function<bool(Basalt::Attribute const&)> holds(V value) {
    return [value](Basalt::Attribute const& attribute) {
        auto const* typed = dynamic_cast<A const*>(&attribute);
        return typed != nullptr && typed->value() == value;
    };
}

/// Checks one attribute against its row.
inline void expectRow(Basalt::Attribute const& attribute, AttributeRow const& row) {
    EXPECT_EQ(attribute.name(), QByteArray(row.key));
    EXPECT_EQ(attribute.type(), QByteArray(row.type)) << row.key;
    EXPECT_TRUE(row.holdsDefault(attribute)) << row.key << " must start with its default value";
    bool const onUser = row.layer == Basalt::Attribute::LAYER_USER;
    EXPECT_EQ(attribute.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER), onUser)
        << row.key
        << (onUser ? " must be written on the user layer by the constructor"
                   : " must keep its value on the default layer");
}

/// Walks `node`'s attributes in order: each row must be found after the one before it, and the attributes
/// from `firstOwn` on must be exactly the rows at or after that position, so nothing undeclared slips in.
inline void expectAttributeTable(Basalt::Node const& node, std::vector<AttributeRow> const& rows,
                                 std::size_t firstOwn) {
    auto const& attributes = node.attributes();
    std::size_t next = 0;
    std::size_t ownRows = 0;
    for (AttributeRow const& row : rows) {
        std::size_t index = next;
        while (index < attributes.size() && attributes[index].first != row.key) {
            ++index;
        }
        ASSERT_LT(index, attributes.size()) << row.key << " must follow the attribute declared before it";
        expectRow(*attributes[index].second, row);
        if (index >= firstOwn) {
            ++ownRows;
        }
        next = index + 1;
    }
    EXPECT_EQ(attributes.size() - firstOwn, ownRows) << "the class declares attributes that the table lacks";
}

} // namespace MediaTest
