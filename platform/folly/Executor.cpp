#include "folly/Executor.h"

#include <cstdio>
#include <cstdlib>

namespace folly {

Executor::~Executor() = default;

bool Executor::keepAliveAcquire() noexcept {
    return false;
}

void Executor::keepAliveRelease() noexcept {
    // Only reachable when an executor counts acquisitions but forgot to count releases.
    std::fputs("folly::Executor::keepAliveRelease() called on an executor that does not override it\n",
               stderr);
    std::abort();
}

} // namespace folly
