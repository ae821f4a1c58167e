#include "platform/sienna/BezierNode.hpp"

#include "platform/cobalt/StringUtils.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

using Sienna::BezierNode;

namespace {

BezierNode sampleNode() {
    BezierNode node;
    node.ctrlIn = Fathom::Vector3T<float>(1.0f, 2.0f, 3.0f);
    node.point = Fathom::Vector3T<float>(4.0f, 5.5f, 6.0f);
    node.ctrlOut = Fathom::Vector3T<float>(-7.0f, 8.0f, 0.25f);
    return node;
}

float& component(BezierNode& node, int index) {
    Fathom::Vector3T<float>* const parts[] = {&node.ctrlIn, &node.point, &node.ctrlOut};
    return (*parts[index / 3])[index % 3];
}

} // namespace

TEST(BezierNode, IsNinePackedFloats) {
    EXPECT_EQ(sizeof(BezierNode), 36u);
    EXPECT_EQ(sizeof(BezierNode), 9 * sizeof(float));
}

// Nodes are stored and sent as raw memory: ctrlIn, point, ctrlOut, each x y z.
TEST(BezierNode, MemoryLayoutIsCtrlInPointCtrlOut) {
    BezierNode const node = sampleNode();
    float raw[9];
    std::memcpy(raw, &node, sizeof raw);
    float const expected[9] = {1.0f, 2.0f, 3.0f, 4.0f, 5.5f, 6.0f, -7.0f, 8.0f, 0.25f};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(raw[i], expected[i]) << "float " << i;
    }
}

TEST(BezierNode, DefaultIsAllZero) {
    BezierNode const node{};
    for (int i = 0; i < 9; ++i) {
        BezierNode copy = node;
        EXPECT_EQ(component(copy, i), 0.0f) << "number " << i;
    }
}

TEST(BezierNode, EqualityLooksAtEachOfTheNineNumbers) {
    BezierNode const base = sampleNode();
    EXPECT_EQ(base, sampleNode());
    EXPECT_FALSE(base != sampleNode());
    for (int i = 0; i < 9; ++i) {
        BezierNode changed = sampleNode();
        component(changed, i) += 100.0f;
        EXPECT_NE(base, changed) << "number " << i << " must count";
        EXPECT_FALSE(base == changed) << "number " << i << " must count";
    }
}

TEST(BezierNode, TextIsNineNumbersSeparatedByOneBlank) {
    std::ostringstream stream;
    stream << sampleNode();
    EXPECT_EQ(stream.str(), "1 2 3 4 5.5 6 -7 8 0.25");
}

TEST(BezierNode, TextReadsBackWithAnyWhiteSpaceBetween) {
    for (char const* input : {"1 2 3 4 5.5 6 -7 8 0.25", "  1\t2\n3   4 5.5\r\n6 -7\t\t8 0.25  ",
                              "1 2 3\n4 5.5 6\n-7 8 0.25\n"}) {
        std::istringstream stream(input);
        BezierNode node;
        EXPECT_TRUE(static_cast<bool>(stream >> node)) << '"' << input << '"';
        EXPECT_EQ(node, sampleNode()) << '"' << input << '"';
    }
}

TEST(BezierNode, BadTextFailsTheStreamAndKeepsTheNode) {
    char const* const inputs[] = {
        "",
        "1 2 3 4 5 6 7 8",      // eight numbers
        "1 2 3 4 5 6 7 8 x",    // the ninth is no number
        "a 2 3 4 5 6 7 8 9",    // the first is no number
        "1 2 3 4 five 6 7 8 9", // one in the middle
        "1,2,3,4,5,6,7,8,9",
    };
    for (char const* input : inputs) {
        std::istringstream stream(input);
        BezierNode node = sampleNode();
        EXPECT_FALSE(static_cast<bool>(stream >> node)) << '"' << input << '"';
        EXPECT_EQ(node, sampleNode()) << "a failed read must keep the whole node, input \"" << input << '"';
    }
}

TEST(BezierNode, ArchiveTextRoundTrips) {
    BezierNode read;
    EXPECT_TRUE(Cobalt::StringUtils::fromString(Cobalt::StringUtils::toString(sampleNode()), read));
    EXPECT_EQ(read, sampleNode());
    BezierNode kept = sampleNode();
    EXPECT_FALSE(Cobalt::StringUtils::fromString(QStringLiteral("1 2 3 4 5 6 7 8 9 10"), kept))
        << "a tenth number is trailing garbage";
    EXPECT_EQ(kept, sampleNode());
}
