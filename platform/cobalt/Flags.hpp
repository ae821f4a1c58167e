#pragma once

#include <type_traits>

namespace Cobalt {

/// A set of bits over an enumeration whose enumerators are single bits (or masks).
template <typename E, typename Storage = unsigned int>
class FlagsT {
public:
    constexpr FlagsT() = default;
    constexpr FlagsT(E flag) : m_bits(static_cast<Storage>(flag)) {}
    constexpr static FlagsT fromBits(Storage bits) {
        FlagsT flags;
        flags.m_bits = bits;
        return flags;
    }

    constexpr Storage bits() const { return m_bits; }
    /// Whether every bit of `flag` is set.
    constexpr bool test(E flag) const {
        return (m_bits & static_cast<Storage>(flag)) == static_cast<Storage>(flag);
    }
    constexpr bool any() const { return m_bits != 0; }
    constexpr explicit operator bool() const { return m_bits != 0; }
    void clear() { m_bits = 0; }
    FlagsT& set(E flag, bool on = true) {
        m_bits = on ? (m_bits | static_cast<Storage>(flag)) : (m_bits & ~static_cast<Storage>(flag));
        return *this;
    }

    constexpr FlagsT operator|(FlagsT other) const { return fromBits(m_bits | other.m_bits); }
    constexpr FlagsT operator&(FlagsT other) const { return fromBits(m_bits & other.m_bits); }
    constexpr FlagsT operator^(FlagsT other) const { return fromBits(m_bits ^ other.m_bits); }
    constexpr FlagsT operator~() const { return fromBits(~m_bits); }
    FlagsT& operator|=(FlagsT other) { return *this = *this | other; }
    FlagsT& operator&=(FlagsT other) { return *this = *this & other; }
    FlagsT& operator^=(FlagsT other) { return *this = *this ^ other; }
    constexpr bool operator==(FlagsT other) const { return m_bits == other.m_bits; }
    constexpr bool operator!=(FlagsT other) const { return m_bits != other.m_bits; }

private:
    Storage m_bits = 0;
};

} // namespace Cobalt
