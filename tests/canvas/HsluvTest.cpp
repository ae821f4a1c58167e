#include "canvas/Hsluv.hpp"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

using Datamodel::hpluv2rgb;
using Datamodel::hsluv2rgb;
using Datamodel::rgb2hpluv;
using Datamodel::rgb2hsluv;
using Triple = std::array<double, 3>;

namespace {

constexpr double tolerance = 1e-11;

// Found beside this source file, so the tests don't depend on the build directory or on a shared checkout.
QString snapshotPath() {
    return QFileInfo(QStringLiteral(__FILE__)).absolutePath() +
           QStringLiteral("/../testdata/hsluv/snapshot-rev4.json");
}

struct Sample {
    std::string hex;
    Triple rgb;   // from the hex key
    Triple hsluv; // reference
    Triple hpluv; // reference
};

bool readTriple(QJsonObject const& entry, QString const& name, Triple& out) {
    QJsonArray const values = entry.value(name).toArray();
    if (values.size() != 3)
        return false;
    for (int i = 0; i < 3; ++i) {
        if (!values.at(i).isDouble())
            return false;
        out[static_cast<std::size_t>(i)] = values.at(i).toDouble();
    }
    return true;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

bool parseHex(std::string const& hex, Triple& rgb) {
    if (hex.size() != 7 || hex[0] != '#')
        return false;
    for (std::size_t i = 0; i < 3; ++i) {
        int const high = hexDigit(hex[1 + 2 * i]);
        int const low = hexDigit(hex[2 + 2 * i]);
        if (high < 0 || low < 0)
            return false;
        rgb[i] = static_cast<double>(high * 16 + low) / 255.0;
    }
    return true;
}

std::string toHex(Triple const& rgb) {
    std::string hex = "#";
    char const* digits = "0123456789abcdef";
    for (double component : rgb) {
        long const value = std::lround(component * 255.0);
        if (value < 0 || value > 255)
            return "out of range";
        hex += digits[value / 16];
        hex += digits[value % 16];
    }
    return hex;
}

std::vector<Sample> loadSnapshot(std::string& problem) {
    QFile file(snapshotPath());
    if (!file.open(QIODevice::ReadOnly)) {
        problem = "cannot open " + snapshotPath().toStdString();
        return {};
    }
    QJsonParseError error{};
    QJsonDocument const document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        problem = "cannot parse snapshot: " + error.errorString().toStdString();
        return {};
    }
    QJsonObject const root = document.object();
    std::vector<Sample> samples;
    for (auto it = root.begin(); it != root.end(); ++it) {
        Sample sample;
        sample.hex = it.key().toStdString();
        QJsonObject const entry = it.value().toObject();
        Triple listedRgb{};
        if (!parseHex(sample.hex, sample.rgb) || !readTriple(entry, QStringLiteral("rgb"), listedRgb) ||
            !readTriple(entry, QStringLiteral("hsluv"), sample.hsluv) ||
            !readTriple(entry, QStringLiteral("hpluv"), sample.hpluv)) {
            problem = "malformed entry " + sample.hex;
            return {};
        }
        // The key and the listed RGB must describe the same colour, or the comparisons below mean nothing.
        if (listedRgb != sample.rgb) {
            problem = "rgb of " + sample.hex + " does not match its key";
            return {};
        }
        samples.push_back(sample);
    }
    return samples;
}

// Hue is an angle: 359.999... and 0 are neighbours.
double hueDistance(double a, double b) {
    double const d = std::fmod(std::abs(a - b), 360.0);
    return std::min(d, 360.0 - d);
}

struct Worst {
    double error = 0.0;
    std::string hex;
    std::size_t component = 0;
    int failures = 0;
};

std::string describe(Worst const& worst) {
    std::ostringstream text;
    text.precision(3);
    text << std::scientific << worst.error << " at " << worst.hex << " component " << worst.component;
    return text.str();
}

class HsluvSnapshot : public ::testing::Test {
protected:
    static void SetUpTestSuite() { samples() = loadSnapshot(problem()); }

    static std::vector<Sample>& samples() {
        static std::vector<Sample> loaded;
        return loaded;
    }
    static std::string& problem() {
        static std::string text;
        return text;
    }

    void SetUp() override { ASSERT_EQ(samples().size(), 4096u) << problem(); }

    // Compares every component of convert(input) with the expected triple; the first component is a hue when
    // hueFirst is set. Reports the worst error as a test property and on stdout.
    void compareAll(char const* direction, std::function<Triple(Triple const&)> const& convert,
                    std::function<Triple const&(Sample const&)> const& input,
                    std::function<Triple const&(Sample const&)> const& expected, bool hueFirst) {
        Worst worst;
        for (Sample const& sample : samples()) {
            Triple const actual = convert(input(sample));
            Triple const& reference = expected(sample);
            for (std::size_t i = 0; i < 3; ++i) {
                // Greys come out with hue 0 by the library's convention, as in the reference, so hue is
                // compared for every entry.
                double const error = (hueFirst && i == 0) ? hueDistance(actual[i], reference[i])
                                                          : std::abs(actual[i] - reference[i]);
                if (!(error <= tolerance)) {
                    if (++worst.failures <= 10)
                        ADD_FAILURE() << direction << " " << sample.hex << " component " << i << ": got "
                                      << actual[i] << ", reference " << reference[i];
                }
                if (!(error <= worst.error)) { // also catches NaN
                    worst.error = error;
                    worst.hex = sample.hex;
                    worst.component = i;
                }
            }
        }
        std::string const summary = describe(worst);
        RecordProperty(std::string("worst_") + direction, summary);
        std::printf("[   INFO   ] %s worst error %s\n", direction, summary.c_str());
        EXPECT_EQ(worst.failures, 0) << direction << ": worst error " << summary;
    }
};

Triple const& rgbOf(Sample const& s) {
    return s.rgb;
}
Triple const& hsluvOf(Sample const& s) {
    return s.hsluv;
}
Triple const& hpluvOf(Sample const& s) {
    return s.hpluv;
}

TEST_F(HsluvSnapshot, CoversEveryColourOfTheGrid) {
    // Channels step by 0x11, so all 16^3 combinations should be present exactly once.
    std::vector<bool> seen(4096, false);
    for (Sample const& sample : samples()) {
        int index = 0;
        for (double component : sample.rgb) {
            long const value = std::lround(component * 255.0);
            ASSERT_EQ(value % 17, 0) << sample.hex;
            index = index * 16 + static_cast<int>(value / 17);
        }
        EXPECT_FALSE(seen[static_cast<std::size_t>(index)]) << sample.hex;
        seen[static_cast<std::size_t>(index)] = true;
    }
}

TEST_F(HsluvSnapshot, RgbToHsluvMatchesReference) {
    compareAll("rgb2hsluv", rgb2hsluv, rgbOf, hsluvOf, true);
}

TEST_F(HsluvSnapshot, HsluvToRgbMatchesReference) {
    compareAll("hsluv2rgb", hsluv2rgb, hsluvOf, rgbOf, false);
}

TEST_F(HsluvSnapshot, RgbToHpluvMatchesReference) {
    compareAll("rgb2hpluv", rgb2hpluv, rgbOf, hpluvOf, true);
}

TEST_F(HsluvSnapshot, HpluvToRgbMatchesReference) {
    compareAll("hpluv2rgb", hpluv2rgb, hpluvOf, rgbOf, false);
}

TEST_F(HsluvSnapshot, ReferenceHsluvAndHpluvGiveBackTheExactHex) {
    for (Sample const& sample : samples()) {
        EXPECT_EQ(toHex(hsluv2rgb(sample.hsluv)), sample.hex);
        EXPECT_EQ(toHex(hpluv2rgb(sample.hpluv)), sample.hex);
    }
}

TEST_F(HsluvSnapshot, OwnResultsGiveBackTheExactHex) {
    for (Sample const& sample : samples()) {
        EXPECT_EQ(toHex(hsluv2rgb(rgb2hsluv(sample.rgb))), sample.hex);
        EXPECT_EQ(toHex(hpluv2rgb(rgb2hpluv(sample.rgb))), sample.hex);
    }
}

TEST_F(HsluvSnapshot, ColoursOnTheGamutSurfaceHaveFullSaturation) {
    // A colour with a channel at 0 or 1 lies on the sRGB boundary, which is exactly where HSLuv puts S = 100.
    int checked = 0;
    for (Sample const& sample : samples()) {
        Triple const& c = sample.rgb;
        bool const grey = c[0] == c[1] && c[1] == c[2];
        bool const onSurface =
            c[0] == 0.0 || c[0] == 1.0 || c[1] == 0.0 || c[1] == 1.0 || c[2] == 0.0 || c[2] == 1.0;
        if (grey || !onSurface)
            continue;
        ++checked;
        EXPECT_NEAR(rgb2hsluv(c)[1], 100.0, 1e-9) << sample.hex;
    }
    EXPECT_GT(checked, 1000);
}

TEST_F(HsluvSnapshot, HpluvNeverExceedsHsluvSaturation) {
    // The pastel circle is inside every slice of the gamut, so P >= S for the same colour.
    for (Sample const& sample : samples())
        EXPECT_GE(rgb2hpluv(sample.rgb)[1], rgb2hsluv(sample.rgb)[1] - 1e-9) << sample.hex;
}

void expectInUnitCube(Triple const& rgb, double slack, std::string const& what) {
    for (double component : rgb) {
        EXPECT_GE(component, -slack) << what;
        EXPECT_LE(component, 1.0 + slack) << what;
    }
}

void expectFinite(Triple const& values, std::string const& what) {
    for (double value : values)
        EXPECT_TRUE(std::isfinite(value))
            << what << " gave " << values[0] << ", " << values[1] << ", " << values[2];
}

std::string label(char const* name, Triple const& in) {
    std::ostringstream text;
    text << name << "(" << in[0] << ", " << in[1] << ", " << in[2] << ")";
    return text.str();
}

TEST(Hsluv, BlackIsLightnessZeroWithoutSaturation) {
    Triple const black{0.0, 0.0, 0.0};
    for (Triple const& out : {rgb2hsluv(black), rgb2hpluv(black)}) {
        EXPECT_EQ(out[0], 0.0);
        EXPECT_EQ(out[1], 0.0);
        EXPECT_EQ(out[2], 0.0);
    }
    for (Triple const& rgb : {hsluv2rgb(black), hpluv2rgb(black)})
        for (double component : rgb)
            EXPECT_EQ(component, 0.0);
}

TEST(Hsluv, WhiteIsLightnessHundredWithoutSaturation) {
    Triple const white{1.0, 1.0, 1.0};
    for (Triple const& out : {rgb2hsluv(white), rgb2hpluv(white)}) {
        EXPECT_EQ(out[0], 0.0);
        EXPECT_EQ(out[1], 0.0);
        EXPECT_NEAR(out[2], 100.0, 1e-9);
    }
    for (Triple const& rgb : {hsluv2rgb({0.0, 0.0, 100.0}), hpluv2rgb({0.0, 0.0, 100.0})})
        for (double component : rgb)
            EXPECT_NEAR(component, 1.0, 1e-12);
}

TEST(Hsluv, PureRedSitsOnTheGamutEdge) {
    Triple const red{1.0, 0.0, 0.0};
    Triple const hsl = rgb2hsluv(red);
    Triple const hpl = rgb2hpluv(red);
    EXPECT_NEAR(hsl[1], 100.0, 1e-9);
    EXPECT_GT(hpl[1], 100.0); // far outside the pastel circle
    EXPECT_EQ(hsl[0], hpl[0]);
    EXPECT_EQ(hsl[2], hpl[2]);
    // Going from red towards yellow raises the hue.
    EXPECT_LT(hsl[0], rgb2hsluv({1.0, 0.5, 0.0})[0]);
    for (Triple const& back : {hsluv2rgb(hsl), hpluv2rgb(hpl)})
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(back[i], red[i], 1e-12);
    // Any more saturation leaves the gamut.
    Triple const beyond = hsluv2rgb({hsl[0], 101.0, hsl[2]});
    EXPECT_TRUE(beyond[0] > 1.0 || beyond[1] < 0.0 || beyond[2] < 0.0);
}

TEST(Hsluv, LightnessZeroAndHundredRoundTripForEveryHueAndSaturation) {
    for (double hue = 0.0; hue < 360.0; hue += 15.0) {
        for (double saturation : {0.0, 37.5, 100.0, 250.0}) {
            for (auto toRgb : {hsluv2rgb, hpluv2rgb}) {
                Triple const dark = toRgb({hue, saturation, 0.0});
                Triple const light = toRgb({hue, saturation, 100.0});
                for (std::size_t i = 0; i < 3; ++i) {
                    EXPECT_EQ(dark[i], 0.0) << hue << " " << saturation;
                    EXPECT_NEAR(light[i], 1.0, 1e-12) << hue << " " << saturation;
                }
                for (auto toHxl : {rgb2hsluv, rgb2hpluv}) {
                    Triple const darkBack = toHxl(dark);
                    Triple const lightBack = toHxl(light);
                    EXPECT_EQ(darkBack[2], 0.0);
                    EXPECT_EQ(darkBack[1], 0.0);
                    EXPECT_NEAR(lightBack[2], 100.0, 1e-9);
                    EXPECT_EQ(lightBack[1], 0.0);
                }
            }
        }
    }
}

TEST(Hsluv, InRangeHsluvAndHpluvStayInsideTheGamutAndRoundTrip) {
    for (double hue = 0.0; hue < 360.0; hue += 7.5) {
        for (double saturation = 0.0; saturation <= 100.0; saturation += 12.5) {
            for (double lightness = 0.5; lightness < 100.0; lightness += 9.75) {
                Triple const in{hue, saturation, lightness};
                Triple const fromHsluv = hsluv2rgb(in);
                Triple const fromHpluv = hpluv2rgb(in);
                // S = 100 lies on the gamut surface, so rounding may step just outside it.
                expectInUnitCube(fromHsluv, tolerance, label("hsluv2rgb", in));
                expectInUnitCube(fromHpluv, tolerance, label("hpluv2rgb", in));
                Triple const backHsluv = rgb2hsluv(fromHsluv);
                Triple const backHpluv = rgb2hpluv(fromHpluv);
                if (saturation > 0.0) {
                    EXPECT_LT(hueDistance(backHsluv[0], hue), 1e-8) << label("hsluv", in);
                    EXPECT_LT(hueDistance(backHpluv[0], hue), 1e-8) << label("hpluv", in);
                }
                EXPECT_NEAR(backHsluv[1], saturation, 1e-8) << label("hsluv", in);
                EXPECT_NEAR(backHpluv[1], saturation, 1e-8) << label("hpluv", in);
                EXPECT_NEAR(backHsluv[2], lightness, 1e-9) << label("hsluv", in);
                EXPECT_NEAR(backHpluv[2], lightness, 1e-9) << label("hpluv", in);
            }
        }
    }
}

TEST(Hsluv, HueIsTakenModuloAFullTurn) {
    for (double hue : {0.0, 45.0, 200.0, 359.0}) {
        Triple const base = hsluv2rgb({hue, 80.0, 60.0});
        for (double turns : {-2.0, -1.0, 1.0, 3.0}) {
            Triple const shifted = hsluv2rgb({hue + 360.0 * turns, 80.0, 60.0});
            Triple const shiftedP = hpluv2rgb({hue + 360.0 * turns, 80.0, 60.0});
            Triple const baseP = hpluv2rgb({hue, 80.0, 60.0});
            for (std::size_t i = 0; i < 3; ++i) {
                EXPECT_NEAR(shifted[i], base[i], 1e-12);
                EXPECT_NEAR(shiftedP[i], baseP[i], 1e-12);
            }
        }
    }
}

TEST(Hsluv, ForwardHueStaysInHalfOpenRange) {
    for (int r = 0; r <= 255; r += 15)
        for (int g = 0; g <= 255; g += 15)
            for (int b = 0; b <= 255; b += 15) {
                Triple const rgb{r / 255.0, g / 255.0, b / 255.0};
                for (Triple const& out : {rgb2hsluv(rgb), rgb2hpluv(rgb)}) {
                    EXPECT_GE(out[0], 0.0);
                    EXPECT_LT(out[0], 360.0);
                }
            }
}

TEST(Hsluv, HpluvAboveHundredReachesSaturatedColoursWithoutNan) {
    // P > 100 is outside the pastel circle: some hues are still displayable, others leave the unit cube.
    bool leftTheGamut = false;
    for (double hue = 0.0; hue < 360.0; hue += 10.0) {
        for (double p : {150.0, 400.0, 1784.0, 1e6}) {
            Triple const in{hue, p, 50.0};
            Triple const rgb = hpluv2rgb(in);
            expectFinite(rgb, label("hpluv2rgb", in));
            for (double component : rgb)
                leftTheGamut = leftTheGamut || component < 0.0 || component > 1.0;
            if (p < 1e6) { // the inverse stays exact while the colour is not absurdly far away
                Triple const back = rgb2hpluv(rgb);
                EXPECT_NEAR(back[1], p, 1e-9 * p) << label("hpluv", in);
                EXPECT_LT(hueDistance(back[0], hue), 1e-8) << label("hpluv", in);
            }
        }
    }
    EXPECT_TRUE(leftTheGamut);
}

TEST(Hsluv, OutOfRangeInputsStayFinite) {
    std::vector<Triple> const rgbs{{-0.5, 0.2, 0.3}, {1.5, 2.0, -1.0},  {-1.0, -1.0, -1.0}, {1e6, 0.0, 0.0},
                                   {2.0, 2.0, 2.0},  {-1e-9, 0.0, 0.0}, {0.0, 0.0, 1e-300}};
    for (Triple const& rgb : rgbs) {
        expectFinite(rgb2hsluv(rgb), label("rgb2hsluv", rgb));
        expectFinite(rgb2hpluv(rgb), label("rgb2hpluv", rgb));
    }
    std::vector<Triple> const hxls{{-30.0, 50.0, 50.0}, {720.5, 50.0, 50.0},       {10.0, -40.0, 50.0},
                                   {10.0, 250.0, 50.0}, {10.0, 50.0, -20.0},       {10.0, 50.0, 140.0},
                                   {10.0, 50.0, 1e-12}, {10.0, 50.0, 99.99999999}, {1e9, 1e9, 1e9},
                                   {10.0, 1e6, 50.0}};
    for (Triple const& hxl : hxls) {
        expectFinite(hsluv2rgb(hxl), label("hsluv2rgb", hxl));
        expectFinite(hpluv2rgb(hxl), label("hpluv2rgb", hxl));
    }
}

} // namespace
