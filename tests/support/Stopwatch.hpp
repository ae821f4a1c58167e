#pragma once

#include <chrono>

namespace TestSupport {

/// The wall-clock seconds that `work` takes. For tests that tell linear from quadratic work, with bounds
/// generous enough that a loaded machine doesn't fail them.
template <typename Work>
double secondsTaken(Work&& work) {
    auto const start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace TestSupport
