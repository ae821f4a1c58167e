#include "tests/support/AllocationCounter.hpp"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t t_allocations = 0;

void* allocate(std::size_t size) {
    ++t_allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace TestSupport {

AllocationCounter::AllocationCounter() : m_start(t_allocations) {}
AllocationCounter::~AllocationCounter() = default;
std::size_t AllocationCounter::count() const {
    return t_allocations - m_start;
}

} // namespace TestSupport
