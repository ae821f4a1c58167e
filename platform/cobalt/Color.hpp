#pragma once

#include <QByteArray>
#include <QColor>

#include <iosfwd>

namespace Cobalt {

struct ColorPMA;

/// An RGBA colour with straight (non-premultiplied) alpha. Components are nominally in 0..1 but are
/// stored as given; only toQColor() clamps.
struct Color {
    float red;
    float green;
    float blue;
    float alpha;

    /// Opaque black, (0, 0, 0, 1): a colour that is visible wherever it ends up, unlike all-zero
    /// transparent black.
    constexpr Color() : red(0.0f), green(0.0f), blue(0.0f), alpha(1.0f) {}

    /// The components as given, without clamping.
    constexpr Color(float r, float g, float b, float a) : red(r), green(g), blue(b), alpha(a) {}

    /// Parses @p text as set() does; text that does not parse (or a null pointer) gives opaque black.
    explicit Color(char const* text);

    /// Un-premultiplies @p pma; same as fromPMA().
    explicit Color(ColorPMA const& pma);

    /// Parses a CSS colour and stores it, returning true; on failure returns false and leaves the
    /// colour unchanged. Accepted, with surrounding whitespace ignored:
    /// - the CSS named colours, case-insensitive, including "transparent" (0, 0, 0, 0);
    /// - "#rgb", "#rgba", "#rrggbb" and "#rrggbbaa" (alpha last, as in CSS), each channel byte / 255;
    /// - "rgb(r, g, b)" and "rgba(r, g, b, a)", function names case-insensitive, where r, g, b are
    ///   all numbers in 0..255 or all percentages, and a is a number in 0..1 or a percentage.
    ///   As in current CSS, rgb() and rgba() are aliases, so either takes three or four arguments.
    ///   Out-of-range values are clamped.
    bool set(QByteArray const& text);

    /// The colour as a QColor, each component clamped to 0..1 first (NaN becomes 0).
    QColor toQColor() const;
};

/// An RGBA colour whose red, green and blue have already been multiplied by alpha, the form
/// compositing works in.
struct ColorPMA {
    float red;
    float green;
    float blue;
    float alpha;

    /// Opaque black, (0, 0, 0, 1), matching the default Color.
    constexpr ColorPMA() : red(0.0f), green(0.0f), blue(0.0f), alpha(1.0f) {}

    /// The components as given; red, green and blue are taken to be premultiplied already.
    constexpr ColorPMA(float r, float g, float b, float a) : red(r), green(g), blue(b), alpha(a) {}

    /// Premultiplies @p color; same as toPMA().
    explicit ColorPMA(Color const& color);
};

/// Premultiplies: red, green and blue are multiplied by alpha.
ColorPMA toPMA(Color const& color);

/// Undoes premultiplication: red, green and blue are divided by alpha. With alpha 0 the colour
/// information is gone, so the components are copied unchanged rather than divided by zero.
Color fromPMA(ColorPMA const& pma);

/// Component-wise float comparison: -0 equals 0, and a colour holding NaN equals nothing.
constexpr bool operator==(Color const& a, Color const& b) {
    return a.red == b.red && a.green == b.green && a.blue == b.blue && a.alpha == b.alpha;
}

/// Negation of ==.
constexpr bool operator!=(Color const& a, Color const& b) {
    return !(a == b);
}

/// Component-wise float comparison: -0 equals 0, and a colour holding NaN equals nothing.
constexpr bool operator==(ColorPMA const& a, ColorPMA const& b) {
    return a.red == b.red && a.green == b.green && a.blue == b.blue && a.alpha == b.alpha;
}

/// Negation of ==.
constexpr bool operator!=(ColorPMA const& a, ColorPMA const& b) {
    return !(a == b);
}

/// Writes "red green blue alpha", separated by single blanks, in the stream's current float format
/// (so "1 0 0 1" with default formatting). Raise the stream's precision to keep every bit.
std::ostream& operator<<(std::ostream& out, Color const& color);

/// Reads four whitespace-separated floats in the order operator<< writes them. If any is missing or
/// malformed the stream fails and @p color is left unchanged.
std::istream& operator>>(std::istream& in, Color& color);

/// Writes "red green blue alpha" (premultiplied) like the Color overload.
std::ostream& operator<<(std::ostream& out, ColorPMA const& pma);

/// Reads four whitespace-separated floats like the Color overload; @p pma is left unchanged on failure.
std::istream& operator>>(std::istream& in, ColorPMA& pma);

} // namespace Cobalt
