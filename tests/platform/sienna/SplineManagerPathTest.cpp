// Old strokes, flat lists of cubic control points, turned into Bezier nodes that carry their width.

#include "platform/sienna/SplineManagerPath.hpp"

#include <gtest/gtest.h>

#include <cmath>

using Fathom::Vector2T;
using Fathom::Vector3T;
using Sienna::BezierNode;
using Sienna::convertSplineManagerPath2D;

namespace {

using Path = QList<Vector2T<float>>;

Vector3T<float> at(float x, float y, float z) {
    return Vector3T<float>(x, y, z);
}

/// A path of 7 control points whose interior node at (10, 0) has an incoming handle along x and an outgoing
/// one turned so that the cosine between them is `cosine`.
Path cornerPath(float cosine) {
    float const sine = std::sqrt(1.0f - cosine * cosine);
    return Path{{0, 0}, {2, 0}, {8, 0}, {10, 0}, {10 + 2 * cosine, 2 * sine}, {18, 4}, {20, 4}};
}

} // namespace

TEST(ConvertSplineManagerPath2D, APathWhoseLengthIsNotThreeKPlusOneGivesNoValue) {
    for (int length : {0, 2, 3, 5}) {
        Path path;
        for (int i = 0; i < length; ++i) {
            path.append(Vector2T<float>(static_cast<float>(i), 0));
        }
        EXPECT_FALSE(convertSplineManagerPath2D(path, 2.0f, true).has_value()) << length << " points";
    }
}

TEST(ConvertSplineManagerPath2D, OnePointBecomesOneNodeWithBothHandlesOnItAndHalfTheWidthAsZ) {
    auto const nodes = convertSplineManagerPath2D(Path{{3, 4}}, 5.0f, true);
    ASSERT_TRUE(nodes.has_value());
    ASSERT_EQ(nodes->size(), 1u);
    EXPECT_EQ(nodes->front(), (BezierNode{at(3, 4, 2.5f), at(3, 4, 2.5f), at(3, 4, 2.5f)}));
}

TEST(ConvertSplineManagerPath2D, FourPointsGiveAFirstAndALastNode) {
    auto const nodes = convertSplineManagerPath2D(Path{{0, 0}, {1, 1}, {2, 1}, {3, 0}}, 2.0f, true);
    ASSERT_TRUE(nodes.has_value());
    std::vector<BezierNode> const expected{{at(0, 0, 1), at(0, 0, 1), at(1, 1, 1)},
                                           {at(2, 1, 1), at(3, 0, 1), at(3, 0, 1)}};
    EXPECT_EQ(*nodes, expected);
}

TEST(ConvertSplineManagerPath2D, InteriorNodesTakeTheirHandlesFromThePath) {
    auto const nodes = convertSplineManagerPath2D(cornerPath(1.0f), 4.0f, false);
    ASSERT_TRUE(nodes.has_value());
    ASSERT_EQ(nodes->size(), 3u);
    EXPECT_EQ((*nodes)[1], (BezierNode{at(8, 0, 2), at(10, 0, 2), at(12, 0, 2)}));
    EXPECT_EQ((*nodes)[2], (BezierNode{at(18, 4, 2), at(20, 4, 2), at(20, 4, 2)}));
}

TEST(ConvertSplineManagerPath2D, AStraightInteriorNodeStaysExactlyAsItWas) {
    auto const smoothed = convertSplineManagerPath2D(cornerPath(1.0f), 4.0f, true);
    auto const plain = convertSplineManagerPath2D(cornerPath(1.0f), 4.0f, false);
    ASSERT_TRUE(smoothed && plain);
    EXPECT_EQ(*smoothed, *plain);
}

TEST(ConvertSplineManagerPath2D, ACornerJustBelowTheThresholdGetsHandlesAlongTheChord) {
    auto const nodes = convertSplineManagerPath2D(cornerPath(0.9989f), 4.0f, true);
    ASSERT_TRUE(nodes.has_value());
    BezierNode const& corner = (*nodes)[1];
    // The chord runs from (0, 0) to (20, 4); both handles are 2 long.
    float const chordLength = std::sqrt(20.0f * 20.0f + 4.0f * 4.0f);
    float const cx = 20.0f / chordLength;
    float const cy = 4.0f / chordLength;
    EXPECT_FLOAT_EQ(corner.ctrlIn.x, 10.0f - 2.0f * cx);
    EXPECT_FLOAT_EQ(corner.ctrlIn.y, -2.0f * cy);
    EXPECT_NEAR(corner.ctrlOut.x, 10.0f + 2.0f * cx, 1e-5f);
    EXPECT_NEAR(corner.ctrlOut.y, 2.0f * cy, 1e-5f);
    EXPECT_EQ(corner.point, at(10, 0, 2)) << "the point itself stays";
    EXPECT_EQ(corner.ctrlIn.z, 2.0f) << "only x and y change";
}

TEST(ConvertSplineManagerPath2D, ACornerAboveTheThresholdOrWithAZeroHandleStays) {
    auto const nearlyStraight = convertSplineManagerPath2D(cornerPath(0.9995f), 4.0f, true);
    auto const plain = convertSplineManagerPath2D(cornerPath(0.9995f), 4.0f, false);
    EXPECT_EQ(*nearlyStraight, *plain);
    Path zeroHandle{{0, 0}, {2, 0}, {10, 0}, {10, 0}, {10, 5}, {18, 4}, {20, 4}};
    EXPECT_EQ(*convertSplineManagerPath2D(zeroHandle, 4.0f, true),
              *convertSplineManagerPath2D(zeroHandle, 4.0f, false))
        << "a zero handle gives no angle to judge";
}
