#pragma once

#include <cstdint>
#include <iosfwd>

namespace Cobalt {

/// A point in time as a 64-bit count of microseconds since 1970-01-01 00:00 UTC.
class TimeStamp {
public:
    constexpr TimeStamp() = default;
    constexpr explicit TimeStamp(std::int64_t ticks) : m_ticks(ticks) {}

    /// The wall-clock time now.
    static TimeStamp currentTime();
    /// Ticks per second of the count.
    static constexpr std::int64_t ticksPerSecond() { return 1000000; }

    constexpr std::int64_t ticks() const { return m_ticks; }
    constexpr double seconds() const { return static_cast<double>(m_ticks) / ticksPerSecond(); }

    constexpr bool operator==(TimeStamp other) const { return m_ticks == other.m_ticks; }
    constexpr bool operator!=(TimeStamp other) const { return m_ticks != other.m_ticks; }
    constexpr bool operator<(TimeStamp other) const { return m_ticks < other.m_ticks; }
    constexpr bool operator>(TimeStamp other) const { return m_ticks > other.m_ticks; }
    constexpr bool operator<=(TimeStamp other) const { return m_ticks <= other.m_ticks; }
    constexpr bool operator>=(TimeStamp other) const { return m_ticks >= other.m_ticks; }

private:
    std::int64_t m_ticks = 0;
};

/// Writes the tick count as a decimal integer.
std::ostream& operator<<(std::ostream& stream, TimeStamp const& time);
/// Reads a decimal tick count; fails the stream on anything else.
std::istream& operator>>(std::istream& stream, TimeStamp& time);

} // namespace Cobalt
