#include "platform/cobalt/Color.hpp"

#include <QStringList>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>

using Cobalt::Color;
using Cobalt::ColorPMA;

namespace {

constexpr float byte(int value) {
    return static_cast<float>(value) / 255.0f;
}

// A colour no parse produces, so "left unchanged" and "overwritten" can be told apart.
constexpr Color sentinel(0.125f, 0.25f, 0.375f, 0.625f);

void expectComponents(Color const& color, float r, float g, float b, float a) {
    EXPECT_EQ(color.red, r);
    EXPECT_EQ(color.green, g);
    EXPECT_EQ(color.blue, b);
    EXPECT_EQ(color.alpha, a);
}

struct ParseRow {
    char const* text;
    float red;
    float green;
    float blue;
    float alpha;
};

ParseRow const acceptedRows[] = {
    // keywords
    {"red", 1.0f, 0.0f, 0.0f, 1.0f},
    {"RED", 1.0f, 0.0f, 0.0f, 1.0f},
    {"Red", 1.0f, 0.0f, 0.0f, 1.0f},
    {"white", 1.0f, 1.0f, 1.0f, 1.0f},
    {"black", 0.0f, 0.0f, 0.0f, 1.0f},
    {"rebeccapurple", byte(0x66), byte(0x33), byte(0x99), 1.0f},
    {"RebeccaPurple", byte(0x66), byte(0x33), byte(0x99), 1.0f},
    {"transparent", 0.0f, 0.0f, 0.0f, 0.0f},
    {"Transparent", 0.0f, 0.0f, 0.0f, 0.0f},
    {"cornflowerblue", byte(100), byte(149), byte(237), 1.0f},
    {"grey", byte(128), byte(128), byte(128), 1.0f},
    {"gray", byte(128), byte(128), byte(128), 1.0f},
    {"  red \n", 1.0f, 0.0f, 0.0f, 1.0f},
    // hex
    {"#f00", 1.0f, 0.0f, 0.0f, 1.0f},
    {"#F00", 1.0f, 0.0f, 0.0f, 1.0f},
    {"#abc", byte(0xaa), byte(0xbb), byte(0xcc), 1.0f},
    {"#f008", 1.0f, 0.0f, 0.0f, byte(0x88)},
    {"#0000", 0.0f, 0.0f, 0.0f, 0.0f},
    {"#ff0000", 1.0f, 0.0f, 0.0f, 1.0f},
    {"#FF8000", 1.0f, byte(0x80), 0.0f, 1.0f},
    {"#123456", byte(0x12), byte(0x34), byte(0x56), 1.0f},
    {"#ff000080", 1.0f, 0.0f, 0.0f, byte(0x80)},
    {"#80ff0000", byte(0x80), 1.0f, 0.0f, 0.0f}, // alpha last, never Qt's #aarrggbb
    {"#12345678", byte(0x12), byte(0x34), byte(0x56), byte(0x78)},
    {"\t#00ff00  ", 0.0f, 1.0f, 0.0f, 1.0f},
    // functions
    {"rgb(255, 0, 0)", 1.0f, 0.0f, 0.0f, 1.0f},
    {"rgb(255,0,0)", 1.0f, 0.0f, 0.0f, 1.0f},
    {"rgb( 10 ,20 , 30 )", byte(10), byte(20), byte(30), 1.0f},
    {"RGB(1,2,3)", byte(1), byte(2), byte(3), 1.0f},
    {"RgBa(1,2,3,1)", byte(1), byte(2), byte(3), 1.0f},
    {"rgba(0, 0, 255, 0.5)", 0.0f, 0.0f, 1.0f, 0.5f},
    {"rgba(1,2,3,.25)", byte(1), byte(2), byte(3), 0.25f},
    {"rgba(1,2,3)", byte(1), byte(2), byte(3), 1.0f},
    {"rgb(1,2,3,0.5)", byte(1), byte(2), byte(3), 0.5f},
    {"rgb(100%, 50%, 0%)", 1.0f, 0.5f, 0.0f, 1.0f},
    {"rgba(0,0,0,25%)", 0.0f, 0.0f, 0.0f, 0.25f},
    {"rgba(50%, 25%, 12.5%, 50%)", 0.5f, 0.25f, 0.125f, 0.5f},
    {"rgb(127.5, 0, 0)", 127.5f / 255.0f, 0.0f, 0.0f, 1.0f},
    {"rgb(1e2, +5, 0)", byte(100), byte(5), 0.0f, 1.0f},
    {" \t rgba( 255 , 255 , 255 , 0 ) \n", 1.0f, 1.0f, 1.0f, 0.0f},
    // clamping
    {"rgb(300, -20, 256)", 1.0f, 0.0f, 1.0f, 1.0f},
    {"rgb(150%, -5%, 0%)", 1.0f, 0.0f, 0.0f, 1.0f},
    {"rgba(0,0,0,2)", 0.0f, 0.0f, 0.0f, 1.0f},
    {"rgba(0,0,0,-1)", 0.0f, 0.0f, 0.0f, 0.0f},
    {"rgba(0,0,0,250%)", 0.0f, 0.0f, 0.0f, 1.0f},
    {"rgb(1e999, -1e999, 1e-999)", 1.0f, 0.0f, 0.0f, 1.0f},
};

char const* const rejectedTexts[] = {
    "",
    "   ",
    "#",
    "#12",
    "#12345",
    "#1234567",
    "#123456789",
    "#123456789abc",
    "#ggg",
    "#12345g",
    "# fff",
    "##fff",
    "#fff #fff",
    "rgb(1,2)",
    "rgb(1,2,3",
    "rgb 1,2,3",
    "rgb (1,2,3)",
    "rgb(1,2,3))",
    "rgb(1,2,3) x",
    "rgb(1,2,3,4,5)",
    "rgb()",
    "rgb(1,,3)",
    "rgb(1,2,3,)",
    "rgb(,1,2,3)",
    "rgb(1 2 3)",
    "rgb(a,b,c)",
    "rgb(nan,0,0)",
    "rgb(NaN, 0, 0)",
    "rgb(inf,0,0)",
    "rgb(0x10,0,0)",
    "rgb(1 %,2%,3%)",
    "rgb(255, 50%, 0)",
    "rgb(5.,0,0)",
    "rgb(.,0,0)",
    "rgb(-,0,0)",
    "rgb(1e,0,0)",
    "rgba(0,0,0,0.5)garbage",
    "rgbx(1,2,3)",
    "hsl(0, 100%, 50%)",
    "notacolour",
    "nan",
    "NaN",
    "light blue",
    "red green",
    "redd",
    "red;",
    "red x",
    "#ff0000 x",
    "transparent!",
};

} // namespace

TEST(ColorTest, DefaultsAreOpaqueBlack) {
    expectComponents(Color(), 0.0f, 0.0f, 0.0f, 1.0f);
    ColorPMA const pma;
    EXPECT_EQ(pma.red, 0.0f);
    EXPECT_EQ(pma.green, 0.0f);
    EXPECT_EQ(pma.blue, 0.0f);
    EXPECT_EQ(pma.alpha, 1.0f);
}

TEST(ColorTest, ComponentConstructorKeepsValuesAsGiven) {
    expectComponents(Color(1.5f, -0.25f, 0.5f, 2.0f), 1.5f, -0.25f, 0.5f, 2.0f);
    ColorPMA const pma(0.25f, 0.5f, 0.75f, 0.875f);
    EXPECT_EQ(pma.red, 0.25f);
    EXPECT_EQ(pma.green, 0.5f);
    EXPECT_EQ(pma.blue, 0.75f);
    EXPECT_EQ(pma.alpha, 0.875f);
}

TEST(ColorParseTest, AcceptsEveryNotation) {
    for (ParseRow const& row : acceptedRows) {
        SCOPED_TRACE(row.text);
        Color color = sentinel;
        EXPECT_TRUE(color.set(QByteArray(row.text)));
        expectComponents(color, row.red, row.green, row.blue, row.alpha);
    }
}

TEST(ColorParseTest, RejectsMalformedTextAndLeavesColourUnchanged) {
    for (char const* text : rejectedTexts) {
        SCOPED_TRACE(text);
        Color color = sentinel;
        EXPECT_FALSE(color.set(QByteArray(text)));
        expectComponents(color, sentinel.red, sentinel.green, sentinel.blue, sentinel.alpha);
    }
}

TEST(ColorParseTest, RejectsEmbeddedNul) {
    Color color = sentinel;
    EXPECT_FALSE(color.set(QByteArray("red\0", 4)));
    EXPECT_FALSE(color.set(QByteArray("#ff\0", 4)));
    expectComponents(color, sentinel.red, sentinel.green, sentinel.blue, sentinel.alpha);
}

TEST(ColorParseTest, KnowsEveryQtKeyword) {
    // Qt's list is the SVG one, which CSS adopted; each must come through with Qt's own bytes.
    QStringList const names = QColor::colorNames();
    ASSERT_GE(names.size(), 147);
    for (QString const& name : names) {
        SCOPED_TRACE(name.toStdString());
        QColor const expected(name);
        Color color = sentinel;
        ASSERT_TRUE(color.set(name.toUpper().toLatin1()));
        expectComponents(color, byte(expected.red()), byte(expected.green()), byte(expected.blue()),
                         byte(expected.alpha()));
    }
}

TEST(ColorParseTest, FailedSetKeepsEarlierSuccess) {
    Color color;
    ASSERT_TRUE(color.set("#336699"));
    EXPECT_FALSE(color.set("#33669"));
    EXPECT_FALSE(color.set("rgb(1,2)"));
    expectComponents(color, byte(0x33), byte(0x66), byte(0x99), 1.0f);
}

TEST(ColorParseTest, NegativeZeroIsStoredAsZero) {
    // Otherwise the archived text would read "-0".
    Color color = sentinel;
    ASSERT_TRUE(color.set("rgba(-0, -0.0, -0e3, -0)"));
    EXPECT_FALSE(std::signbit(color.red));
    EXPECT_FALSE(std::signbit(color.green));
    EXPECT_FALSE(std::signbit(color.blue));
    EXPECT_FALSE(std::signbit(color.alpha));
    std::ostringstream out;
    out << color;
    EXPECT_EQ(out.str(), "0 0 0 0");
}

TEST(ColorParseTest, TextConstructor) {
    expectComponents(Color("red"), 1.0f, 0.0f, 0.0f, 1.0f);
    expectComponents(Color("rgba(0, 255, 0, 50%)"), 0.0f, 1.0f, 0.0f, 0.5f);
    expectComponents(Color("transparent"), 0.0f, 0.0f, 0.0f, 0.0f);
    expectComponents(Color("notacolour"), 0.0f, 0.0f, 0.0f, 1.0f);
    expectComponents(Color(""), 0.0f, 0.0f, 0.0f, 1.0f);
    expectComponents(Color(static_cast<char const*>(nullptr)), 0.0f, 0.0f, 0.0f, 1.0f);
}

TEST(ColorQColorTest, ByteColoursRoundTrip) {
    int const bytes[][4] = {{0, 0, 0, 255}, {255, 0, 0, 255}, {0x33, 0x66, 0x99, 0x80}, {1, 254, 128, 0}};
    for (auto const& b : bytes) {
        Color const color(byte(b[0]), byte(b[1]), byte(b[2]), byte(b[3]));
        QColor const qcolor = color.toQColor();
        ASSERT_TRUE(qcolor.isValid());
        EXPECT_EQ(qcolor.red(), b[0]);
        EXPECT_EQ(qcolor.green(), b[1]);
        EXPECT_EQ(qcolor.blue(), b[2]);
        EXPECT_EQ(qcolor.alpha(), b[3]);

        Color const back(static_cast<float>(qcolor.redF()), static_cast<float>(qcolor.greenF()),
                         static_cast<float>(qcolor.blueF()), static_cast<float>(qcolor.alphaF()));
        EXPECT_FLOAT_EQ(back.red, color.red);
        EXPECT_FLOAT_EQ(back.green, color.green);
        EXPECT_FLOAT_EQ(back.blue, color.blue);
        EXPECT_FLOAT_EQ(back.alpha, color.alpha);
    }
}

TEST(ColorQColorTest, ClampsOutOfRangeComponents) {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    QColor const qcolor = Color(2.0f, -1.0f, nan, 1.5f).toQColor();
    ASSERT_TRUE(qcolor.isValid());
    EXPECT_EQ(qcolor.red(), 255);
    EXPECT_EQ(qcolor.green(), 0);
    EXPECT_EQ(qcolor.blue(), 0);
    EXPECT_EQ(qcolor.alpha(), 255);
}

TEST(ColorPMATest, PremultipliesAndBack) {
    Color const straight(1.0f, 0.5f, 0.25f, 0.5f);
    ColorPMA const pma = Cobalt::toPMA(straight);
    EXPECT_EQ(pma.red, 0.5f);
    EXPECT_EQ(pma.green, 0.25f);
    EXPECT_EQ(pma.blue, 0.125f);
    EXPECT_EQ(pma.alpha, 0.5f);
    expectComponents(Cobalt::fromPMA(pma), 1.0f, 0.5f, 0.25f, 0.5f);

    EXPECT_EQ(ColorPMA(straight), pma);
    EXPECT_EQ(Color(pma), straight);
}

TEST(ColorPMATest, OpaqueColourIsUnchanged) {
    Color const opaque(0.2f, 0.4f, 0.6f, 1.0f);
    EXPECT_EQ(Cobalt::toPMA(opaque), ColorPMA(0.2f, 0.4f, 0.6f, 1.0f));
    EXPECT_EQ(Cobalt::fromPMA(ColorPMA(0.2f, 0.4f, 0.6f, 1.0f)), opaque);
}

TEST(ColorPMATest, ZeroAlpha) {
    ColorPMA const pma = Cobalt::toPMA(Color(0.2f, 0.4f, 0.6f, 0.0f));
    EXPECT_EQ(pma, ColorPMA(0.0f, 0.0f, 0.0f, 0.0f));

    // Nothing to divide by: the components pass through instead of becoming NaN or infinity.
    Color const straight = Cobalt::fromPMA(ColorPMA(0.2f, 0.4f, 0.6f, 0.0f));
    expectComponents(straight, 0.2f, 0.4f, 0.6f, 0.0f);
    expectComponents(Cobalt::fromPMA(ColorPMA(0.0f, 0.0f, 0.0f, 0.0f)), 0.0f, 0.0f, 0.0f, 0.0f);
}

TEST(ColorEqualityTest, ComparesEachComponent) {
    Color const base(0.1f, 0.2f, 0.3f, 0.4f);
    EXPECT_TRUE(base == Color(0.1f, 0.2f, 0.3f, 0.4f));
    EXPECT_FALSE(base != Color(0.1f, 0.2f, 0.3f, 0.4f));
    Color const changed[] = {Color(0.5f, 0.2f, 0.3f, 0.4f), Color(0.1f, 0.5f, 0.3f, 0.4f),
                             Color(0.1f, 0.2f, 0.5f, 0.4f), Color(0.1f, 0.2f, 0.3f, 0.5f)};
    for (Color const& other : changed) {
        EXPECT_FALSE(base == other);
        EXPECT_TRUE(base != other);
    }

    ColorPMA const pmaBase(0.1f, 0.2f, 0.3f, 0.4f);
    EXPECT_TRUE(pmaBase == ColorPMA(0.1f, 0.2f, 0.3f, 0.4f));
    EXPECT_FALSE(pmaBase != ColorPMA(0.1f, 0.2f, 0.3f, 0.4f));
    ColorPMA const pmaChanged[] = {ColorPMA(0.5f, 0.2f, 0.3f, 0.4f), ColorPMA(0.1f, 0.5f, 0.3f, 0.4f),
                                   ColorPMA(0.1f, 0.2f, 0.5f, 0.4f), ColorPMA(0.1f, 0.2f, 0.3f, 0.5f)};
    for (ColorPMA const& other : pmaChanged) {
        EXPECT_FALSE(pmaBase == other);
        EXPECT_TRUE(pmaBase != other);
    }
}

TEST(ColorEqualityTest, FloatSemantics) {
    EXPECT_TRUE(Color(-0.0f, 0.0f, -0.0f, 1.0f) == Color(0.0f, -0.0f, 0.0f, 1.0f));
    EXPECT_TRUE(ColorPMA(-0.0f, 0.0f, 0.0f, 0.0f) == ColorPMA(0.0f, 0.0f, 0.0f, -0.0f));

    float const nan = std::numeric_limits<float>::quiet_NaN();
    Color const withNan(nan, 0.0f, 0.0f, 1.0f);
    EXPECT_FALSE(withNan == withNan);
    EXPECT_TRUE(withNan != withNan);
    ColorPMA const pmaWithNan(0.0f, 0.0f, 0.0f, nan);
    EXPECT_FALSE(pmaWithNan == pmaWithNan);
    EXPECT_TRUE(pmaWithNan != pmaWithNan);
}

TEST(ColorStreamTest, WritesFourBlankSeparatedFloats) {
    std::ostringstream out;
    out << Color(1.0f, 0.0f, 0.0f, 1.0f);
    EXPECT_EQ(out.str(), "1 0 0 1");

    std::ostringstream halves;
    halves << Color(0.5f, 0.25f, 0.0f, 0.75f);
    EXPECT_EQ(halves.str(), "0.5 0.25 0 0.75");

    std::ostringstream pma;
    pma << ColorPMA(0.125f, 0.0f, 1.0f, 0.5f);
    EXPECT_EQ(pma.str(), "0.125 0 1 0.5");
}

TEST(ColorStreamTest, RoundTrips) {
    Color const colors[] = {Color(), Color(1.0f, 0.0f, 0.0f, 1.0f),
                            Color(byte(0x33), byte(0x66), byte(0x99), 0.5f), Color(0.0f, 0.0f, 0.0f, 0.0f),
                            Color(1.5f, -0.25f, 1e-7f, 1.0f)};
    for (Color const& color : colors) {
        std::ostringstream out;
        out.precision(std::numeric_limits<float>::max_digits10);
        out << color;
        SCOPED_TRACE(out.str());
        Color read = sentinel;
        std::istringstream in(out.str());
        ASSERT_TRUE(in >> read);
        EXPECT_EQ(read, color);

        std::ostringstream pmaOut;
        pmaOut.precision(std::numeric_limits<float>::max_digits10);
        pmaOut << Cobalt::toPMA(color);
        ColorPMA pmaRead(0.5f, 0.5f, 0.5f, 0.5f);
        std::istringstream pmaIn(pmaOut.str());
        ASSERT_TRUE(pmaIn >> pmaRead);
        EXPECT_EQ(pmaRead, Cobalt::toPMA(color));
    }

    Color read = sentinel;
    std::istringstream spaced("  1\t0.5\n0.25   0.75 ");
    ASSERT_TRUE(spaced >> read);
    expectComponents(read, 1.0f, 0.5f, 0.25f, 0.75f);
}

TEST(ColorStreamTest, BadInputFailsAndLeavesValueUnchanged) {
    char const* const inputs[] = {"", "1 0 0", "1 x 0 1", "red", "1,0,0,1", "#ff0000"};
    for (char const* text : inputs) {
        SCOPED_TRACE(text);
        Color color = sentinel;
        std::istringstream in(text);
        in >> color;
        EXPECT_TRUE(in.fail());
        expectComponents(color, sentinel.red, sentinel.green, sentinel.blue, sentinel.alpha);

        ColorPMA const pmaSentinel(0.5f, 0.25f, 0.125f, 0.5f);
        ColorPMA pma = pmaSentinel;
        std::istringstream pmaIn(text);
        pmaIn >> pma;
        EXPECT_TRUE(pmaIn.fail());
        EXPECT_EQ(pma, pmaSentinel);
    }
}
