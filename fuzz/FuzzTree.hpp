#pragma once

// A small element tree with one attribute of every kind, the target that every fuzzer feeds.

#include "attributes/AttributeT.hpp"
#include "attributes/AttributeVectorContainer.hpp"

namespace FuzzSupport {

enum class Kind { Plain = 0, Special = 1, Other = 2 };

inline Basalt::EnumNames const& kindNames() {
    static Basalt::EnumNames const names{{"plain", 0}, {"special", 1}, {"other", 2}};
    return names;
}

struct Tree {
    Basalt::Node root{nullptr, "root"};
    Basalt::AttributeT<float> width{&root, "width", 1.0f};
    Basalt::AttributeT<int> count{&root, "count", 0};
    Basalt::AttributeT<long> id{&root, "id", 0};
    Basalt::AttributeT<unsigned long> serial{&root, "serial", 0};
    Basalt::AttributeT<bool> pinned{&root, "pinned", false};
    Basalt::AttributeT<QString> text{&root, "text", QString()};
    Basalt::AttributeT<Cobalt::Color> stroke{&root, "stroke"};
    Basalt::AttributeT<Cobalt::ColorPMA> fill{&root, "fill"};
    Basalt::AttributeT<Cobalt::TimeStamp> modified{&root, "modified"};
    Basalt::AttributeT<Fathom::Vector2T<float>> offset{&root, "offset"};
    Basalt::AttributeT<Fathom::Vector2T<int>> cell{&root, "cell"};
    Basalt::AttributeT<Kind> kind{&root, "kind", Kind::Plain, kindNames()};
    Basalt::AttributeLocation2f location{&root, "location"};
    Basalt::AttributeT<Fathom::SizeT<float>> size{&root, "size"};
    Basalt::AttributeT<Fathom::SizeT<int>> grid{&root, "grid"};
    Basalt::AttributeVectorContainer<float> shares{&root, "shares", true};
    Basalt::AttributeVectorContainer<Sienna::BezierNode> points{&root, "points", true};
    Basalt::Node child{&root, "child"};
    Basalt::AttributeT<float> depth{&child, "depth", 0.0f};

    Tree() {
        // Listeners that read back, as real ones do, so that reentrant paths run too.
        for (auto const& entry : root.attributes()) {
            Basalt::Attribute* attribute = entry.second;
            attribute->addListener([attribute] { attribute->asString(); }, Basalt::Attribute::ROLE_CHANGE);
        }
    }
};

} // namespace FuzzSupport
