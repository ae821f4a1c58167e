#pragma once

#include <mutex>

namespace Cobalt {

/// A mutex that is recursive or not, chosen at construction. Meets the Lockable requirements, so
/// std::lock_guard and std::unique_lock work with it.
class Mutex {
public:
    /// A recursive mutex may be locked again by the thread that holds it.
    explicit Mutex(bool recursive = false) : m_recursive(recursive) {}
    Mutex(Mutex const&) = delete;
    Mutex& operator=(Mutex const&) = delete;

    void lock() { m_recursive ? m_recursiveMutex.lock() : m_plainMutex.lock(); }
    void unlock() { m_recursive ? m_recursiveMutex.unlock() : m_plainMutex.unlock(); }
    bool try_lock() { return m_recursive ? m_recursiveMutex.try_lock() : m_plainMutex.try_lock(); }
    bool isRecursive() const { return m_recursive; }

private:
    bool const m_recursive;
    std::mutex m_plainMutex;
    std::recursive_mutex m_recursiveMutex;
};

} // namespace Cobalt
