#include "platform/sienna/SplineManagerPath.hpp"

#include <cmath>

namespace Sienna {

namespace {

Fathom::Vector3T<float> at(Fathom::Vector2T<float> const& point, float z) {
    return Fathom::Vector3T<float>(point.x, point.y, z);
}

float length(float x, float y) {
    return std::sqrt(x * x + y * y);
}

/// Straightens the handles of an interior node that meet at a corner: they point along `chord`, the way from
/// the previous on-curve point to the next, and keep their lengths.
void smoothCorner(BezierNode& node, Fathom::Vector2T<float> const& previous,
                  Fathom::Vector2T<float> const& next) {
    float const ax = node.point.x - node.ctrlIn.x;
    float const ay = node.point.y - node.ctrlIn.y;
    float const bx = node.ctrlOut.x - node.point.x;
    float const by = node.ctrlOut.y - node.point.y;
    float const la = length(ax, ay);
    float const lb = length(bx, by);
    float const d = (ax / la) * (bx / lb) + (ay / la) * (by / lb);
    // A zero handle makes d NaN: the comparison fails and the node stays.
    if (!(0.999f > d)) {
        return;
    }
    float cx = next.x - previous.x;
    float cy = next.y - previous.y;
    float const lc = length(cx, cy);
    if (lc != 0.0f) {
        cx /= lc;
        cy /= lc;
    }
    node.ctrlIn.x = node.point.x - la * cx;
    node.ctrlIn.y = node.point.y - la * cy;
    node.ctrlOut.x = node.point.x + lb * cx;
    node.ctrlOut.y = node.point.y + lb * cy;
}

} // namespace

std::optional<std::vector<BezierNode>> convertSplineManagerPath2D(QList<Fathom::Vector2T<float>> const& path,
                                                                  float width, bool smooth) {
    int const n = path.size();
    if (n % 3 != 1) {
        return std::nullopt;
    }
    float const h = width / 2.0f;
    if (n == 1) {
        return std::vector<BezierNode>{{at(path[0], h), at(path[0], h), at(path[0], h)}};
    }
    int const count = n / 3 + 1;
    std::vector<BezierNode> nodes;
    nodes.reserve(static_cast<std::size_t>(count));
    nodes.push_back({at(path[0], h), at(path[0], h), at(path[1], h)});
    for (int i = 1; i < count - 1; ++i) {
        nodes.push_back({at(path[3 * i - 1], h), at(path[3 * i], h), at(path[3 * i + 1], h)});
    }
    nodes.push_back({at(path[n - 2], h), at(path[n - 1], h), at(path[n - 1], h)});
    if (smooth) {
        for (int i = 1; i < count - 1; ++i) {
            smoothCorner(nodes[static_cast<std::size_t>(i)], path[3 * i - 3], path[3 * i + 3]);
        }
    }
    return nodes;
}

} // namespace Sienna
