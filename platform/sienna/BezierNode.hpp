#pragma once

#include "platform/fathom/Vector.hpp"

#include <iosfwd>

namespace Sienna {

/// One point of a stroke with its incoming and outgoing control points. z carries the stroke's local width.
/// Nine 32-bit floats in this order: ctrlIn, point, ctrlOut; stored and sent in exactly this layout.
struct BezierNode {
    Fathom::Vector3T<float> ctrlIn;
    Fathom::Vector3T<float> point;
    Fathom::Vector3T<float> ctrlOut;

    bool operator==(BezierNode const& other) const {
        return ctrlIn == other.ctrlIn && point == other.point && ctrlOut == other.ctrlOut;
    }
    bool operator!=(BezierNode const& other) const { return !(*this == other); }
};

static_assert(sizeof(BezierNode) == 36, "a node is nine packed floats");

/// The nine numbers in order, separated by one blank.
std::ostream& operator<<(std::ostream& stream, BezierNode const& node);
/// Reads nine numbers with any white space between them; fails the stream otherwise.
std::istream& operator>>(std::istream& stream, BezierNode& node);

} // namespace Sienna
