#pragma once

#include <array>

namespace Datamodel {

// HSLuv and HPLuv: perceptually uniform hue/saturation/lightness spaces built on CIE LCh(uv) (D65 white) over
// the sRGB primaries.
//
// Ranges, in and out:
//   RGB   [R, G, B]  each 0..1, gamma-encoded sRGB.
//   HSLuv [H, S, L]  H 0..360 (degrees), S 0..100, L 0..100.
//   HPLuv [H, P, L]  H 0..360 (degrees), P 0..100 for pastel colours, L 0..100.
//
// HSLuv scales chroma by the largest chroma that stays inside sRGB for that lightness and hue, so every S in
// 0..100 is a displayable colour. HPLuv scales by the largest chroma that stays inside sRGB for that
// lightness at any hue, so it keeps hue-independent saturation but covers only the pastel part of the gamut:
// saturated sRGB colours have P well above 100 (up to about 1800).
//
// Conventions:
//   - Achromatic colours (CIE chroma below 1e-8, i.e. greys up to rounding noise) have H = 0.
//   - At L within 1e-8 of 0 or 100 the gamut shrinks to black or white: S and P come out 0, and S or P given
//     to the inverse functions are ignored there.
//   - The functions don't clamp. RGB outside 0..1 converts to finite values, with S or P of 0 when L falls
//     outside 0..100. The inverse functions treat L outside 0..100 as a grey darker than black or brighter
//     than white (S or P ignored), and S above 100 leaves the sRGB gamut (components outside 0..1).
//     hpluv2rgb with P > 100 reaches saturated colours for some hues and impossible ones (negative or above-1
//     components) for others. Clamp the result if it must be displayed.
//   - Out-of-range inputs of sane magnitude give finite results, never NaN. Hue may be any real number on
//     input; it is taken modulo 360.

/// sRGB [R, G, B] (0..1) to HSLuv [H, S, L].
std::array<double, 3> rgb2hsluv(std::array<double, 3> const& rgb);

/// HSLuv [H, S, L] to sRGB [R, G, B]; in range for S and L in 0..100.
std::array<double, 3> hsluv2rgb(std::array<double, 3> const& hsl);

/// sRGB [R, G, B] (0..1) to HPLuv [H, P, L]; P exceeds 100 for colours more saturated than the pastel range.
std::array<double, 3> rgb2hpluv(std::array<double, 3> const& rgb);

/// HPLuv [H, P, L] to sRGB [R, G, B]; in range for P and L in 0..100, see above for P > 100.
std::array<double, 3> hpluv2rgb(std::array<double, 3> const& hpl);

} // namespace Datamodel
