#include "canvas/Hsluv.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Datamodel {

namespace {

using Triple = std::array<double, 3>;

// Linear sRGB from CIE XYZ (D65) and back.
constexpr double xyzToRgb[3][3] = {{3.240969941904521, -1.537383177570093, -0.498610760293},
                                   {-0.96924363628087, 1.87596750150772, 0.041555057407175},
                                   {0.055630079696993, -0.20397695888897, 1.056971514242878}};
constexpr double rgbToXyz[3][3] = {{0.41239079926595, 0.35758433938387, 0.18048078840183},
                                   {0.21263900587151, 0.71516867876775, 0.072192315360733},
                                   {0.019330818715591, 0.11919477979462, 0.95053215224966}};

// Chromaticity u', v' of the D65 white point.
constexpr double refU = 0.19783000664283;
constexpr double refV = 0.46831999493879;

// The gamut sides use the exact chromaticity of D65: x = 0.3127, y = 0.3290 give u' = 6254/31613 and
// v' = 14805/31613. The rounded values above differ in the 14th digit, which shifts HPLuv's P by more than
// 1e-11 for saturated colours, so the sides are scaled by 31613 to keep every constant an exact integer.
constexpr double whiteUNumerator = 6254.0;
constexpr double whiteVNumerator = 14805.0;
constexpr double whiteDenominator = 31613.0;

// CIE lightness: a cube root above epsilon, a straight line below it so that the curve has no infinite slope.
constexpr double kappa = 903.2962962;
constexpr double epsilon = 0.0088564516;

// Below these, hue and the gamut are lost in rounding noise.
constexpr double minChroma = 1e-8;
constexpr double lightnessSlack = 1e-8;

constexpr double pi = 3.14159265358979323846;

double toLinear(double c) {
    return c > 0.04045 ? std::pow((c + 0.055) / 1.055, 2.4) : c / 12.92;
}

double fromLinear(double c) {
    return c > 0.0031308 ? 1.055 * std::pow(c, 1.0 / 2.4) - 0.055 : 12.92 * c;
}

Triple multiply(double const (&m)[3][3], Triple const& v) {
    Triple out{};
    for (int row = 0; row < 3; ++row)
        out[row] = m[row][0] * v[0] + m[row][1] * v[1] + m[row][2] * v[2];
    return out;
}

Triple rgbToXyzTriple(Triple const& rgb) {
    return multiply(rgbToXyz, {toLinear(rgb[0]), toLinear(rgb[1]), toLinear(rgb[2])});
}

Triple xyzToRgbTriple(Triple const& xyz) {
    Triple const lin = multiply(xyzToRgb, xyz);
    return {fromLinear(lin[0]), fromLinear(lin[1]), fromLinear(lin[2])};
}

// Near white the gamut narrows to a point and its sides come from differences of nearly equal terms, so the
// last bits of Y decide P there to about 1e-11. These two are written as the plain powers the reference
// values were computed with, not as cbrt or repeated products, to round alike.
double yToL(double y) {
    return y <= epsilon ? y * kappa : 116.0 * std::pow(y, 1.0 / 3.0) - 16.0;
}

double lToY(double l) {
    return l <= 8.0 ? l / kappa : std::pow(l + 16.0, 3.0) / (116.0 * 116.0 * 116.0);
}

Triple xyzToLuv(Triple const& xyz) {
    double const l = yToL(xyz[1]);
    double const denominator = xyz[0] + 15.0 * xyz[1] + 3.0 * xyz[2];
    // Black has no chromaticity; out-of-range inputs can also cancel the denominator.
    if (l == 0.0 || denominator == 0.0)
        return {l, 0.0, 0.0};
    double const uPrime = 4.0 * xyz[0] / denominator;
    double const vPrime = 9.0 * xyz[1] / denominator;
    return {l, 13.0 * l * (uPrime - refU), 13.0 * l * (vPrime - refV)};
}

Triple luvToXyz(Triple const& luv) {
    double const l = luv[0];
    if (l == 0.0)
        return {0.0, 0.0, 0.0};
    double const uPrime = luv[1] / (13.0 * l) + refU;
    double const vPrime = luv[2] / (13.0 * l) + refV;
    // Only reachable far outside the gamut (v' = 0 means no luminance at all).
    if (vPrime == 0.0)
        return {0.0, 0.0, 0.0};
    double const y = lToY(l);
    return {y * 9.0 * uPrime / (4.0 * vPrime), y, y * (12.0 - 3.0 * uPrime - 20.0 * vPrime) / (4.0 * vPrime)};
}

Triple luvToLch(Triple const& luv) {
    double const c = std::hypot(luv[1], luv[2]);
    if (c < minChroma)
        return {luv[0], c, 0.0};
    double h = std::atan2(luv[2], luv[1]) * (180.0 / pi);
    if (h < 0.0)
        h += 360.0;
    if (h >= 360.0) // a tiny negative angle rounds up to a full turn
        h -= 360.0;
    return {luv[0], c, h};
}

Triple lchToLuv(Triple const& lch) {
    double const radians = lch[2] * (pi / 180.0);
    return {lch[0], lch[1] * std::cos(radians), lch[1] * std::sin(radians)};
}

// A side of the sRGB gamut at fixed lightness: one linear channel at 0 or 1 is a straight line
// a*u + b*v + c = 0 in the (u, v) plane. Writing X and Z through u', v' and Y, setting the channel to t and
// multiplying by 4 v' * 13 L * 31613 clears every denominator.
struct Line {
    double a;
    double b;
    double c;
};

// With m a row of the XYZ-to-RGB matrix, w = 31613, U = 6254 and V = 14805, the side is
//   w (9 m1 - 3 m3) Y u  +  (w (4 m2 - 20 m3) Y - 4 w t) v
//     +  13 L (Y (9 U m1 + 4 V m2 + (12 w - 3 U - 20 V) m3) - 4 V t)  =  0.
constexpr double uTermX = whiteDenominator * 9.0;
constexpr double uTermZ = whiteDenominator * 3.0;
constexpr double vTermY = whiteDenominator * 4.0;
constexpr double vTermZ = whiteDenominator * 20.0;
constexpr double cTermX = 13.0 * 9.0 * whiteUNumerator;
constexpr double cTermY = 13.0 * 4.0 * whiteVNumerator;
constexpr double cTermZ = 13.0 * (12.0 * whiteDenominator - 3.0 * whiteUNumerator - 20.0 * whiteVNumerator);

std::array<Line, 6> gamutBounds(double l) {
    double const y = lToY(l);
    std::array<Line, 6> lines{};
    int i = 0;
    for (auto const& m : xyzToRgb) {
        double const a = (uTermX * m[0] - uTermZ * m[2]) * y;
        double const bY = (vTermY * m[1] - vTermZ * m[2]) * y;
        double const cY = (cTermX * m[0] + cTermY * m[1] + cTermZ * m[2]) * l * y;
        for (double t : {0.0, 1.0})
            lines[i++] = {a, bY - vTermY * t, cY - cTermY * t * l};
    }
    return lines;
}

// Largest chroma inside the gamut along hue h: the nearest side crossed by the ray from the grey axis.
double maxChromaForHue(double l, double hueDegrees) {
    double const radians = hueDegrees * (pi / 180.0);
    double const cosH = std::cos(radians);
    double const sinH = std::sin(radians);
    double best = std::numeric_limits<double>::infinity();
    for (Line const& line : gamutBounds(l)) {
        double const along = line.a * cosH + line.b * sinH;
        if (along == 0.0)
            continue;
        double const length = -line.c / along;
        if (length >= 0.0 && length < best)
            best = length;
    }
    return best;
}

// Largest chroma inside the gamut at every hue: the radius of the circle touching the nearest side.
double maxSafeChroma(double l) {
    double best = std::numeric_limits<double>::infinity();
    for (Line const& line : gamutBounds(l))
        best = std::min(best, std::abs(line.c) / std::hypot(line.a, line.b));
    return best;
}

bool gamutCollapsed(double l) {
    return l <= lightnessSlack || l >= 100.0 - lightnessSlack;
}

template <typename MaxChroma>
Triple lchToRelative(Triple const& lch, MaxChroma maxChroma) {
    double const l = lch[0];
    if (gamutCollapsed(l))
        return {lch[2], 0.0, l};
    double const limit = maxChroma(l, lch[2]);
    if (!(limit > 0.0) || std::isinf(limit))
        return {lch[2], 0.0, l};
    return {lch[2], lch[1] / limit * 100.0, l};
}

template <typename MaxChroma>
Triple relativeToLch(Triple const& hxl, MaxChroma maxChroma) {
    double const l = hxl[2];
    if (gamutCollapsed(l))
        return {l, 0.0, hxl[0]};
    double const limit = maxChroma(l, hxl[0]);
    if (!std::isfinite(limit))
        return {l, 0.0, hxl[0]};
    return {l, limit / 100.0 * hxl[1], hxl[0]};
}

Triple rgbToLch(Triple const& rgb) {
    return luvToLch(xyzToLuv(rgbToXyzTriple(rgb)));
}

Triple lchToRgb(Triple const& lch) {
    return xyzToRgbTriple(luvToXyz(lchToLuv(lch)));
}

double hsluvLimit(double l, double h) {
    return maxChromaForHue(l, h);
}

double hpluvLimit(double l, double) {
    return maxSafeChroma(l);
}

} // namespace

std::array<double, 3> rgb2hsluv(std::array<double, 3> const& rgb) {
    return lchToRelative(rgbToLch(rgb), hsluvLimit);
}

std::array<double, 3> hsluv2rgb(std::array<double, 3> const& hsl) {
    return lchToRgb(relativeToLch(hsl, hsluvLimit));
}

std::array<double, 3> rgb2hpluv(std::array<double, 3> const& rgb) {
    return lchToRelative(rgbToLch(rgb), hpluvLimit);
}

std::array<double, 3> hpluv2rgb(std::array<double, 3> const& hpl) {
    return lchToRgb(relativeToLch(hpl, hpluvLimit));
}

} // namespace Datamodel
