#pragma once

#include <QByteArray>
#include <QtEndian>

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Cobalt {

namespace detail {
template <typename Scalar>
using BitsOf = std::conditional_t<
    sizeof(Scalar) == 8, std::uint64_t,
    std::conditional_t<sizeof(Scalar) == 4, std::uint32_t,
                       std::conditional_t<sizeof(Scalar) == 2, std::uint16_t, std::uint8_t>>>;
} // namespace detail

/// Appends the bytes of an arithmetic value, least significant first, whatever the host's order.
template <typename Scalar>
void appendLittleEndian(QByteArray& bytes, Scalar value) {
    static_assert(std::is_arithmetic_v<Scalar>, "scalars only");
    detail::BitsOf<Scalar> bits;
    std::memcpy(&bits, &value, sizeof bits);
    bits = qToLittleEndian(bits);
    bytes.append(reinterpret_cast<char const*>(&bits), sizeof bits);
}

/// Reads a value written by `appendLittleEndian`. The caller guarantees sizeof(Scalar) readable bytes.
template <typename Scalar>
Scalar readLittleEndian(char const* data) {
    static_assert(std::is_arithmetic_v<Scalar>, "scalars only");
    detail::BitsOf<Scalar> bits;
    std::memcpy(&bits, data, sizeof bits);
    bits = qFromLittleEndian(bits);
    Scalar value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

} // namespace Cobalt
