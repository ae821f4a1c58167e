#include "tests/support/AllocationCounter.hpp"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t t_allocations = 0;

} // namespace

#if defined(__SANITIZE_ADDRESS__)
// Under AddressSanitizer the allocator is the sanitizer's: count through its hooks instead of replacing
// operator new, which would mix its allocations with our frees.
// Declared here: gcc ships the sanitizer runtime that defines it, but not this header.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(void const volatile*, std::size_t),
                                                         void (*onFree)(void const volatile*));

namespace {
void countAllocation(void const volatile*, std::size_t) {
    ++t_allocations;
}
void ignoreFree(void const volatile*) {}
int const s_hooksInstalled = __sanitizer_install_malloc_and_free_hooks(countAllocation, ignoreFree);
} // namespace

#else

namespace {

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
// The non-throwing forms too: the standard library frees their memory through the plain delete below.
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    ++t_allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, std::nothrow_t const& tag) noexcept {
    return operator new(size, tag);
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
void operator delete(void* memory, std::nothrow_t const&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::nothrow_t const&) noexcept {
    std::free(memory);
}

#endif

namespace TestSupport {

AllocationCounter::AllocationCounter() : m_start(t_allocations) {}
AllocationCounter::~AllocationCounter() = default;
std::size_t AllocationCounter::count() const {
    return t_allocations - m_start;
}

} // namespace TestSupport
