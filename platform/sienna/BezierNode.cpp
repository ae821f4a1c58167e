#include "platform/sienna/BezierNode.hpp"

#include <istream>
#include <ostream>

namespace Sienna {

std::ostream& operator<<(std::ostream& stream, BezierNode const& node) {
    return stream << node.ctrlIn << ' ' << node.point << ' ' << node.ctrlOut;
}

std::istream& operator>>(std::istream& stream, BezierNode& node) {
    BezierNode parsed;
    if (stream >> parsed.ctrlIn >> parsed.point >> parsed.ctrlOut) {
        node = parsed;
    }
    return stream;
}

} // namespace Sienna
