#include "platform/cobalt/TimeStamp.hpp"

#include <chrono>
#include <istream>
#include <ostream>

namespace Cobalt {

TimeStamp TimeStamp::currentTime() {
    auto const sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return TimeStamp(std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count());
}

std::ostream& operator<<(std::ostream& stream, TimeStamp const& time) {
    return stream << time.ticks();
}

std::istream& operator>>(std::istream& stream, TimeStamp& time) {
    std::int64_t ticks = 0;
    if (stream >> ticks) {
        time = TimeStamp(ticks);
    }
    return stream;
}

} // namespace Cobalt
