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

/// One member of a class's table: its key, type text, default as text, and the layer that holds its
/// constructor value (LAYER_USER or not).
struct MemberRow {
    QByteArray key;
    QByteArray type;
    QString defaultText;
    Basalt::Attribute::Layer layer;
};

/// Checks a class's own members against its table, for classes whose attributes follow those of their base:
/// `listed[i]`, the node's entry at that place, must be `declared[i]`, the member, with row i's key, type,
/// default text and layer.
inline void expectOwnAttributes(std::vector<Basalt::Attribute const*> const& listed,
                                std::vector<Basalt::Attribute const*> const& declared,
                                std::vector<MemberRow> const& rows) {
    using Basalt::Attribute;
    ASSERT_EQ(declared.size(), rows.size()) << "one row per declared member";
    ASSERT_EQ(listed.size(), rows.size()) << "the node lists exactly the members of the table";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        MemberRow const& row = rows[i];
        Attribute const& attribute = *declared[i];
        SCOPED_TRACE(testing::Message() << "member " << i << " \"" << row.key.constData() << "\"");
        EXPECT_EQ(listed[i], &attribute) << "the node lists its members in order of declaration";
        EXPECT_EQ(attribute.name(), row.key);
        EXPECT_EQ(attribute.type(), row.type);
        EXPECT_EQ(attribute.asString(nullptr, Attribute::LAYER_DEFAULT).toStdString(),
                  row.defaultText.toStdString())
            << "default value";
        EXPECT_EQ(attribute.isValueDefinedOnLayer(Attribute::LAYER_USER), row.layer == Attribute::LAYER_USER)
            << "the constructor value is on the wrong layer";
    }
}

/// The last `count` attributes of `node`, in order: a class's own, when they follow its base's.
inline std::vector<Basalt::Attribute const*> lastAttributes(Basalt::Node const& node, std::size_t count) {
    auto const& entries = node.attributes();
    std::vector<Basalt::Attribute const*> last;
    for (std::size_t i = entries.size() > count ? entries.size() - count : 0; i < entries.size(); ++i) {
        last.push_back(entries[i].second);
    }
    return last;
}

} // namespace TestSupport
