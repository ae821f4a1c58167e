#include "framework/CanvasLocation.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Datamodel {

CanvasLocation::CanvasLocation(Tessel::Element::Flags flags)
    : CanvasElement(flags), location(this, QByteArrayLiteral("location")),
      depth(this, QByteArrayLiteral("depth"), 0.0f) {}

bool CanvasLocation::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<CanvasLocation const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = CanvasElement::copyValues(source);
    copyAttributeIfDefinedOnUserLayer(location, other->location);
    copyAttributeIfDefinedOnUserLayer(depth, other->depth);
    return copied;
}

namespace {

// Depths in ascending order, with what is not a number last; a total order, so the sort is sound.
bool shallower(CanvasLocation const* a, CanvasLocation const* b) {
    float const da = a->depth.value();
    float const db = b->depth.value();
    if (std::isnan(db)) {
        return !std::isnan(da);
    }
    return da < db;
}

} // namespace

void CanvasLocation::normalizeDepth(Tessel::Element& root) {
    std::vector<CanvasLocation*> siblings;
    for (Entry const& entry : root.attributes()) {
        auto* element = dynamic_cast<Tessel::Element*>(entry.second);
        if (!element) {
            continue;
        }
        normalizeDepth(*element);
        if (auto* located = dynamic_cast<CanvasLocation*>(element)) {
            siblings.push_back(located);
        }
    }
    if (siblings.empty()) {
        return;
    }
    std::stable_sort(siblings.begin(), siblings.end(), shallower);
    float last = siblings.front()->depth.value();
    if (!std::isfinite(last) || last < 1.0f) {
        last = 10.0f;
        siblings.front()->depth = last;
    }
    for (auto sibling = siblings.begin() + 1; sibling != siblings.end(); ++sibling) {
        float const current = (*sibling)->depth.value();
        if (!std::isfinite(current) || last + 0.5f > current) {
            last += 1.0f;
            (*sibling)->depth = last;
        } else {
            last = current;
        }
    }
}

} // namespace Datamodel
