#include "platform/basalt/ListenerList.hpp"

namespace Basalt {
namespace detail {

long nextListenerId() {
    static std::atomic<long> counter{0};
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

} // namespace detail
} // namespace Basalt
