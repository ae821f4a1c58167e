#pragma once

#include "platform/fathom/Vector.hpp"
#include "platform/sienna/BezierNode.hpp"

#include <QList>

#include <optional>
#include <vector>

namespace Sienna {

/// Turns a stroke of the old kind, a flat list of cubic Bezier control points (point, out, in, point, out,
/// in, ..., point, so 3k + 1 of them) drawn with one `width`, into Bezier nodes whose z coordinates carry
/// half that width. With `smooth`, an interior node whose handles meet at a corner gets handles along the
/// chord between its neighbours, keeping their lengths. No value for a list whose length isn't 3k + 1.
/// Computes in single precision.
std::optional<std::vector<BezierNode>> convertSplineManagerPath2D(QList<Fathom::Vector2T<float>> const& path,
                                                                  float width, bool smooth);

} // namespace Sienna
