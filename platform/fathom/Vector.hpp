#pragma once

#include <istream>
#include <ostream>

namespace Fathom {

/// A pair of components. As text (streams, archives) the components are separated by one blank.
template <typename T>
struct Vector2T {
    T x{};
    T y{};

    constexpr Vector2T() = default;
    constexpr Vector2T(T x_, T y_) : x(x_), y(y_) {}

    constexpr T& operator[](int index) { return index == 0 ? x : y; }
    constexpr T const& operator[](int index) const { return index == 0 ? x : y; }
    static constexpr int size() { return 2; }

    constexpr bool operator==(Vector2T const& other) const { return x == other.x && y == other.y; }
    constexpr bool operator!=(Vector2T const& other) const { return !(*this == other); }
};

/// Three components.
template <typename T>
struct Vector3T {
    T x{};
    T y{};
    T z{};

    constexpr Vector3T() = default;
    constexpr Vector3T(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}

    constexpr T& operator[](int index) { return index == 0 ? x : index == 1 ? y : z; }
    constexpr T const& operator[](int index) const { return index == 0 ? x : index == 1 ? y : z; }
    static constexpr int size() { return 3; }

    constexpr bool operator==(Vector3T const& other) const {
        return x == other.x && y == other.y && z == other.z;
    }
    constexpr bool operator!=(Vector3T const& other) const { return !(*this == other); }
};

/// Four components.
template <typename T>
struct Vector4T {
    T x{};
    T y{};
    T z{};
    T w{};

    constexpr Vector4T() = default;
    constexpr Vector4T(T x_, T y_, T z_, T w_) : x(x_), y(y_), z(z_), w(w_) {}

    constexpr T& operator[](int index) { return index == 0 ? x : index == 1 ? y : index == 2 ? z : w; }
    constexpr T const& operator[](int index) const {
        return index == 0 ? x : index == 1 ? y : index == 2 ? z : w;
    }
    static constexpr int size() { return 4; }

    constexpr bool operator==(Vector4T const& other) const {
        return x == other.x && y == other.y && z == other.z && w == other.w;
    }
    constexpr bool operator!=(Vector4T const& other) const { return !(*this == other); }
};

using Vector2f = Vector2T<float>;
using Vector2i = Vector2T<int>;
using Vector3f = Vector3T<float>;
using Vector4f = Vector4T<float>;

namespace detail {

template <typename V>
std::ostream& writeComponents(std::ostream& stream, V const& vector) {
    for (int i = 0; i < V::size(); ++i) {
        if (i > 0) {
            stream << ' ';
        }
        stream << vector[i];
    }
    return stream;
}

template <typename V>
std::istream& readComponents(std::istream& stream, V& vector) {
    V parsed;
    for (int i = 0; i < V::size(); ++i) {
        stream >> parsed[i];
    }
    if (stream) {
        vector = parsed;
    }
    return stream;
}

} // namespace detail

template <typename T>
std::ostream& operator<<(std::ostream& stream, Vector2T<T> const& v) {
    return detail::writeComponents(stream, v);
}
template <typename T>
std::ostream& operator<<(std::ostream& stream, Vector3T<T> const& v) {
    return detail::writeComponents(stream, v);
}
template <typename T>
std::ostream& operator<<(std::ostream& stream, Vector4T<T> const& v) {
    return detail::writeComponents(stream, v);
}
template <typename T>
std::istream& operator>>(std::istream& stream, Vector2T<T>& v) {
    return detail::readComponents(stream, v);
}
template <typename T>
std::istream& operator>>(std::istream& stream, Vector3T<T>& v) {
    return detail::readComponents(stream, v);
}
template <typename T>
std::istream& operator>>(std::istream& stream, Vector4T<T>& v) {
    return detail::readComponents(stream, v);
}

} // namespace Fathom
