#include "platform/fathom/Size.hpp"
#include "platform/fathom/Vector.hpp"

#include "platform/cobalt/StringUtils.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

using Fathom::Sizef;
using Fathom::Sizei;
using Fathom::Vector2f;
using Fathom::Vector2i;
using Fathom::Vector3f;
using Fathom::Vector4f;

namespace {

template <typename V>
std::string text(V const& value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

// Reads `input` into a copy of `start`; returns whether the stream stayed good and what the value became.
template <typename V>
std::pair<bool, V> readInto(V start, std::string const& input) {
    std::istringstream stream(input);
    bool const good = static_cast<bool>(stream >> start);
    return {good, start};
}

} // namespace

TEST(FathomVector, DefaultComponentsAreZero) {
    EXPECT_EQ(Vector2f(), Vector2f(0.0f, 0.0f));
    EXPECT_EQ(Vector3f(), Vector3f(0.0f, 0.0f, 0.0f));
    EXPECT_EQ(Vector4f(), Vector4f(0.0f, 0.0f, 0.0f, 0.0f));
    EXPECT_EQ(Sizei(), Sizei(0, 0));
}

TEST(FathomVector, EqualityLooksAtEveryComponent) {
    Vector4f const base(1.0f, 2.0f, 3.0f, 4.0f);
    EXPECT_EQ(base, Vector4f(1.0f, 2.0f, 3.0f, 4.0f));
    EXPECT_FALSE(base != Vector4f(1.0f, 2.0f, 3.0f, 4.0f));
    for (int i = 0; i < Vector4f::size(); ++i) {
        Vector4f changed = base;
        changed[i] += 1.0f;
        EXPECT_NE(base, changed) << "component " << i << " must count";
        EXPECT_FALSE(base == changed) << "component " << i << " must count";
    }
    for (int i = 0; i < Vector3f::size(); ++i) {
        Vector3f changed(1.0f, 2.0f, 3.0f);
        changed[i] = -1.0f;
        EXPECT_NE(Vector3f(1.0f, 2.0f, 3.0f), changed) << "component " << i << " must count";
    }
    EXPECT_NE(Vector2i(1, 2), Vector2i(2, 1));
    EXPECT_EQ(Vector2f(0.0f, -0.0f), Vector2f(-0.0f, 0.0f)) << "components compare as numbers";
}

TEST(FathomVector, IndexingReachesEachComponentInOrder) {
    Vector4f vector(1.0f, 2.0f, 3.0f, 4.0f);
    EXPECT_EQ(vector[0], vector.x);
    EXPECT_EQ(vector[1], vector.y);
    EXPECT_EQ(vector[2], vector.z);
    EXPECT_EQ(vector[3], vector.w);
    vector[0] = 10.0f;
    vector[3] = 40.0f;
    EXPECT_EQ(vector, Vector4f(10.0f, 2.0f, 3.0f, 40.0f)) << "indexing must give writable references";

    Vector3f three(5.0f, 6.0f, 7.0f);
    three[2] = 8.0f;
    EXPECT_EQ(three.z, 8.0f);
    Vector2i two(1, 2);
    two[1] = 9;
    EXPECT_EQ(two.y, 9);
    Vector2i const constant(3, 4);
    EXPECT_EQ(constant[0], 3);
    EXPECT_EQ(constant[1], 4);
    EXPECT_EQ(Vector2f::size(), 2);
    EXPECT_EQ(Vector3f::size(), 3);
    EXPECT_EQ(Vector4f::size(), 4);
}

TEST(FathomVector, TextIsTheComponentsSeparatedByOneBlank) {
    EXPECT_EQ(text(Vector2f(1.5f, -2.0f)), "1.5 -2");
    EXPECT_EQ(text(Vector2i(3, -4)), "3 -4");
    EXPECT_EQ(text(Vector3f(1.0f, 2.0f, 3.5f)), "1 2 3.5");
    EXPECT_EQ(text(Vector4f(0.0f, 0.25f, -1.0f, 100.0f)), "0 0.25 -1 100");
}

TEST(FathomVector, TextReadsBackWithAnyWhiteSpace) {
    EXPECT_EQ(readInto(Vector2f(), "1.5 -2"), std::make_pair(true, Vector2f(1.5f, -2.0f)));
    EXPECT_EQ(readInto(Vector2i(), "  3\t\n-4 "), std::make_pair(true, Vector2i(3, -4)));
    EXPECT_EQ(readInto(Vector3f(), "1 2 3.5"), std::make_pair(true, Vector3f(1.0f, 2.0f, 3.5f)));
    EXPECT_EQ(readInto(Vector4f(), "0 0.25\n-1 1e2"),
              std::make_pair(true, Vector4f(0.0f, 0.25f, -1.0f, 100.0f)));
}

TEST(FathomVector, BadTextFailsTheStreamAndKeepsTheValue) {
    Vector2f const kept2(7.0f, 8.0f);
    for (char const* input : {"", "1", "1 x", "x 1", "1,2"}) {
        auto const [good, value] = readInto(kept2, input);
        EXPECT_FALSE(good) << '"' << input << '"';
        EXPECT_EQ(value, kept2) << "a failed read must keep the whole value, input \"" << input << '"';
    }
    Vector3f const kept3(1.0f, 1.0f, 1.0f);
    for (char const* input : {"1 2", "1 2 z"}) {
        auto const [good, value] = readInto(kept3, input);
        EXPECT_FALSE(good) << '"' << input << '"';
        EXPECT_EQ(value, kept3) << "input \"" << input << '"';
    }
    Vector4f const kept4(1.0f, 2.0f, 3.0f, 4.0f);
    auto const [good, value] = readInto(kept4, "5 6 7");
    EXPECT_FALSE(good);
    EXPECT_EQ(value, kept4);
}

TEST(FathomVector, IntegerVectorRefusesAFraction) {
    // "2.5 3" reads 2, then ".5" is no integer: the read fails and the value stays.
    Vector2i const kept(1, 1);
    auto const [good, value] = readInto(kept, "2.5 3");
    EXPECT_FALSE(good);
    EXPECT_EQ(value, kept);
}

TEST(FathomVector, ArchiveTextRoundTripsAndRefusesExtraComponents) {
    Vector2f read;
    EXPECT_TRUE(Cobalt::StringUtils::fromString(Cobalt::StringUtils::toString(Vector2f(0.5f, -3.0f)), read));
    EXPECT_EQ(read, Vector2f(0.5f, -3.0f));
    EXPECT_FALSE(Cobalt::StringUtils::fromString(QStringLiteral("1 2 3"), read));
    EXPECT_EQ(read, Vector2f(0.5f, -3.0f));
}

TEST(FathomSize, WidthAndHeightCompareIndexAndStream) {
    Sizef size(3.0f, 4.5f);
    EXPECT_EQ(size[0], 3.0f);
    EXPECT_EQ(size[1], 4.5f);
    size[1] = 5.0f;
    EXPECT_EQ(size.height, 5.0f);
    EXPECT_EQ(Sizef::size(), 2);
    EXPECT_EQ(size, Sizef(3.0f, 5.0f));
    EXPECT_NE(size, Sizef(3.0f, 4.0f));
    EXPECT_NE(size, Sizef(2.0f, 5.0f));
    EXPECT_EQ(text(Sizef(1.5f, 2.0f)), "1.5 2");
    EXPECT_EQ(text(Sizei(640, 480)), "640 480");
    EXPECT_EQ(readInto(Sizei(), " 640\t480"), std::make_pair(true, Sizei(640, 480)));
}

TEST(FathomSize, BadTextFailsTheStreamAndKeepsTheValue) {
    Sizei const kept(1, 2);
    for (char const* input : {"", "3", "3 y", "w h"}) {
        auto const [good, value] = readInto(kept, input);
        EXPECT_FALSE(good) << '"' << input << '"';
        EXPECT_EQ(value, kept) << "input \"" << input << '"';
    }
}
