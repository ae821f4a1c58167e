#pragma once

#include "platform/basalt/Serializer.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "platform/cobalt/Color.hpp"
#include "platform/cobalt/StringUtils.hpp"
#include "platform/cobalt/TimeStamp.hpp"
#include "platform/fathom/Vector.hpp"

#include <QString>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace Basalt {

/// Conversions from floating point that never overflow: NaN gives 0 and values beyond the range of I give
/// its nearest limit. The fraction is truncated toward zero.
template <typename I>
I saturatingCast(double value) {
    static_assert(std::is_integral_v<I>, "integers only");
    if (std::isnan(value)) {
        return 0;
    }
    // The limits as doubles: the upper one is 2^bits exactly, one above the largest value.
    double const lowest = static_cast<double>(std::numeric_limits<I>::lowest());
    double const aboveHighest = std::ldexp(1.0, std::numeric_limits<I>::digits);
    if (value <= lowest) {
        return std::numeric_limits<I>::lowest();
    }
    if (value >= aboveHighest) {
        return std::numeric_limits<I>::max();
    }
    return static_cast<I>(value);
}

/// Rounds half away from zero: v + 0.5 above zero, v - 0.5 otherwise, then truncates.
template <typename I>
I roundHalfAwayFromZero(double value) {
    return saturatingCast<I>(value > 0 ? value + 0.5 : value - 0.5);
}

/// The traits of a value type that compares with == and has stream operators.
template <typename T>
struct GenericValueTraits {
    /// The test of a new value against the shown one.
    static bool same(T const& a, T const& b) { return a == b; }
    /// The test against a transition's ends and between layers.
    static bool equal(T const& a, T const& b) { return a == b; }
    /// Text of a value in archives.
    static QString toText(T const& value) { return Cobalt::StringUtils::toString(value); }
    /// Reads archive text. False leaves `value` alone and the caller writes nothing.
    static bool parse(QString const& text, T& value) { return Cobalt::StringUtils::fromString(text, value); }
    /// The value at curve position `y` between `from` and `to`: types without a blend switch at 0.5.
    static T blend(T const& from, T const& to, float y) { return y < 0.5f ? from : to; }
};

/// What the attribute templates need to know of a value type; the specialisations below add what differs.
template <typename T, typename = void>
struct ValueTraits : GenericValueTraits<T> {};

template <>
struct ValueTraits<float> {
    // Bit patterns, so that -0.0 over 0.0 is a change and a NaN over the same NaN is none.
    static bool same(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }
    static bool equal(float a, float b) { return a == b; }
    static QString toText(float value) { return Cobalt::StringUtils::toString(value); }
    /// Bad text parses as 0 and is stored: numbers have no failure path.
    static bool parse(QString const& text, float& value) {
        value = text.toUtf8().toFloat();
        return true;
    }
    static float blend(float from, float to, float y) { return (1.0f - y) * from + y * to; }
    static float read(Cobalt::BinaryData& data, bool* ok) { return data.readFloat32(ok); }
};

/// The integer attributes: int, long and unsigned long.
template <typename T>
struct ValueTraits<T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>>> {
    static bool same(T a, T b) { return a == b; }
    static bool equal(T a, T b) { return a == b; }
    static QString toText(T value) { return Cobalt::StringUtils::toString(value); }
    static bool parse(QString const& text, T& value) {
        QByteArray const bytes = text.toUtf8();
        if constexpr (std::is_same_v<T, int>) {
            value = bytes.toInt(nullptr, 10);
        } else if constexpr (std::is_signed_v<T>) {
            value = static_cast<T>(bytes.toLongLong(nullptr, 10));
        } else {
            value = static_cast<T>(bytes.toULongLong(nullptr, 10));
        }
        return true;
    }
    // Blended in float and then rounded, as every site does it: the value in between must be the same
    // everywhere, so the arithmetic is part of the contract even where double would be closer.
    static T blend(T from, T to, float y) {
        float const blended = (1.0f - y) * static_cast<float>(from) + y * static_cast<float>(to);
        float const rounded = blended > 0 ? blended + 0.5f : blended - 0.5f; // half away from zero, in float
        return saturatingCast<T>(static_cast<double>(rounded));
    }
    static T read(Cobalt::BinaryData& data, bool* ok) {
        if constexpr (sizeof(T) <= 4) {
            return static_cast<T>(data.readInt32(ok));
        } else {
            // unsigned long travels as the signed 64-bit pattern
            return static_cast<T>(data.readInt64(ok));
        }
    }
};

template <>
struct ValueTraits<Cobalt::TimeStamp> : GenericValueTraits<Cobalt::TimeStamp> {
    static Cobalt::TimeStamp blend(Cobalt::TimeStamp from, Cobalt::TimeStamp to, float y) {
        return Cobalt::TimeStamp(ValueTraits<std::int64_t>::blend(from.ticks(), to.ticks(), y));
    }
    static Cobalt::TimeStamp read(Cobalt::BinaryData& data, bool* ok) { return data.readTimeStamp(ok); }
};

/// Colours: compared as floats, blended per component, and read from archive text with no failure path
/// (text that isn't four numbers stores opaque black).
template <typename C>
struct ColorValueTraits {
    static bool same(C const& a, C const& b) { return a == b; }
    static bool equal(C const& a, C const& b) { return a == b; }
    static QString toText(C const& value) { return Cobalt::StringUtils::toString(value); }
    static bool parse(QString const& text, C& value) {
        value = Cobalt::StringUtils::fromString<C>(text);
        return true;
    }
    static C blend(C const& from, C const& to, float y) {
        return C((1.0f - y) * from.red + y * to.red, (1.0f - y) * from.green + y * to.green,
                 (1.0f - y) * from.blue + y * to.blue, (1.0f - y) * from.alpha + y * to.alpha);
    }
};
template <>
struct ValueTraits<Cobalt::Color> : ColorValueTraits<Cobalt::Color> {};
template <>
struct ValueTraits<Cobalt::ColorPMA> : ColorValueTraits<Cobalt::ColorPMA> {};

template <typename C>
struct ValueTraits<Fathom::Vector2T<C>> : GenericValueTraits<Fathom::Vector2T<C>> {
    static Fathom::Vector2T<C> blend(Fathom::Vector2T<C> const& from, Fathom::Vector2T<C> const& to,
                                     float y) {
        return Fathom::Vector2T<C>(ValueTraits<C>::blend(from.x, to.x, y),
                                   ValueTraits<C>::blend(from.y, to.y, y));
    }
};

} // namespace Basalt
