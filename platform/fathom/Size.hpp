#pragma once

#include <istream>
#include <ostream>

namespace Fathom {

/// A width and a height. As text the two are separated by one blank.
template <typename T>
struct SizeT {
    T width{};
    T height{};

    constexpr SizeT() = default;
    constexpr SizeT(T width_, T height_) : width(width_), height(height_) {}

    constexpr T& operator[](int index) { return index == 0 ? width : height; }
    constexpr T const& operator[](int index) const { return index == 0 ? width : height; }
    static constexpr int size() { return 2; }

    constexpr bool operator==(SizeT const& other) const {
        return width == other.width && height == other.height;
    }
    constexpr bool operator!=(SizeT const& other) const { return !(*this == other); }
};

using Sizef = SizeT<float>;
using Sizei = SizeT<int>;

template <typename T>
std::ostream& operator<<(std::ostream& stream, SizeT<T> const& size) {
    return stream << size.width << ' ' << size.height;
}

template <typename T>
std::istream& operator>>(std::istream& stream, SizeT<T>& size) {
    SizeT<T> parsed;
    if (stream >> parsed.width >> parsed.height) {
        size = parsed;
    }
    return stream;
}

} // namespace Fathom
