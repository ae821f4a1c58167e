#pragma once

#include <cstddef>

namespace TestSupport {

/// Counts heap allocations made by the current thread while it lives. The test program replaces the global
/// operator new to feed it, so any allocation, by our code, Qt or the standard library, is seen.
class AllocationCounter {
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(AllocationCounter const&) = delete;
    AllocationCounter& operator=(AllocationCounter const&) = delete;

    /// Allocations since construction.
    std::size_t count() const;

private:
    std::size_t m_start;
};

} // namespace TestSupport
