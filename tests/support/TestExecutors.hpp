#pragma once

// Executors for tests: one that runs nothing until the test says so, and one with its own thread.
//
// Usage:
//     TestSupport::ManualExecutor executor;
//     auto f = promise.getFuture().via(&executor).thenValue(...);
//     promise.setValue(1);    // the continuation is only queued
//     executor.drain();       // ...and runs here, on the test thread
//
//     TestSupport::ThreadExecutor worker;
//     auto g = folly::via(&worker).thenValue([&](folly::Unit) { return worker.isWorkerThread(); });
//     EXPECT_TRUE(std::move(g).get());
//
// Both must outlive every future and KeepAlive that refers to them (declare them first in a test).

#include "folly/Executor.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace TestSupport {

/// Queues functions and runs them only when the test calls runOne(), run() or drain(), on the
/// calling thread, oldest first.
///
/// add() is thread safe, so work may be queued from any thread; running is meant for one thread
/// at a time. Functions still queued at destruction are destroyed without running (which breaks
/// the promises they hold, as with a real executor that shuts down).
///
/// With `countKeepAlives` the executor counts KeepAlive tokens (keepAliveCount()); otherwise its
/// tokens are uncounted, like those of folly's default Executor.
class ManualExecutor final : public folly::Executor {
public:
    explicit ManualExecutor(bool countKeepAlives = false) : m_countKeepAlives(countKeepAlives) {}
    ManualExecutor(ManualExecutor const&) = delete;
    ManualExecutor& operator=(ManualExecutor const&) = delete;

    ~ManualExecutor() override {
        // Destroying a function may queue another one (a broken promise completing a continuation
        // bound to this executor), hence the loop.
        for (;;) {
            std::deque<folly::Func> dropped;
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                if (m_queue.empty()) {
                    break;
                }
                dropped.swap(m_queue);
            }
        }
    }

    /// Queues `func`. Thread safe.
    void add(folly::Func func) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.push_back(std::move(func));
        ++m_added;
    }

    /// Runs the oldest queued function, if any. Returns whether one ran.
    bool runOne() {
        folly::Func func;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_queue.empty()) {
                return false;
            }
            func = std::move(m_queue.front());
            m_queue.pop_front();
        }
        func();
        ++m_executed;
        return true;
    }

    /// Runs the functions queued at the time of the call (not those they queue). Returns how many ran.
    std::size_t run() {
        std::size_t count = pending();
        std::size_t ran = 0;
        while (ran < count && runOne()) {
            ++ran;
        }
        return ran;
    }

    /// Runs functions until the queue is empty, including those queued meanwhile. Returns how many ran.
    std::size_t drain() {
        std::size_t ran = 0;
        while (runOne()) {
            ++ran;
        }
        return ran;
    }

    /// Functions queued and not yet run.
    std::size_t pending() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_queue.size();
    }

    /// Functions ever queued.
    std::size_t added() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_added;
    }

    /// Functions run so far.
    std::size_t executed() const { return m_executed.load(); }

    /// Live counted KeepAlive tokens (always 0 unless constructed with countKeepAlives).
    long keepAliveCount() const { return m_keepAlives.load(); }

protected:
    bool keepAliveAcquire() noexcept override {
        if (!m_countKeepAlives) {
            return false;
        }
        ++m_keepAlives;
        return true;
    }

    void keepAliveRelease() noexcept override { --m_keepAlives; }

private:
    bool const m_countKeepAlives;
    mutable std::mutex m_mutex;
    std::deque<folly::Func> m_queue;
    std::size_t m_added = 0;
    std::atomic<std::size_t> m_executed{0};
    std::atomic<long> m_keepAlives{0};
};

/// Runs functions on one worker thread of its own, in the order they were added.
///
/// add() is thread safe. Destruction runs everything still queued (including work queued by that
/// work) and joins the worker; no other thread may add() once destruction has begun. Functions
/// must not throw.
class ThreadExecutor final : public folly::Executor {
public:
    ThreadExecutor() : m_worker([this] { loop(); }) { m_workerId = m_worker.get_id(); }
    ThreadExecutor(ThreadExecutor const&) = delete;
    ThreadExecutor& operator=(ThreadExecutor const&) = delete;

    ~ThreadExecutor() override {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stopping = true;
        }
        m_wake.notify_all();
        m_worker.join();
    }

    /// Queues `func` for the worker. Thread safe.
    void add(folly::Func func) override {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_queue.push_back(std::move(func));
        }
        m_wake.notify_all();
    }

    /// The worker thread's id.
    std::thread::id workerId() const noexcept { return m_workerId; }

    /// True when called from inside a function run by this executor.
    bool isWorkerThread() const noexcept { return std::this_thread::get_id() == m_workerId; }

    /// Blocks until the queue is empty and no function is running. Not for use from the worker.
    void waitUntilIdle() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_idle.wait(lock, [this] { return m_queue.empty() && !m_running; });
    }

    /// Functions run so far.
    std::size_t executed() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_executed;
    }

private:
    void loop() {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
            if (m_queue.empty()) {
                return; // stopping, and nothing left
            }
            folly::Func func = std::move(m_queue.front());
            m_queue.pop_front();
            m_running = true;
            lock.unlock();
            func();
            func = nullptr; // destroyed outside the lock: a destructor may add() more work
            lock.lock();
            m_running = false;
            ++m_executed;
            if (m_queue.empty()) {
                m_idle.notify_all();
            }
        }
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<folly::Func> m_queue;
    bool m_stopping = false;
    bool m_running = false;
    std::size_t m_executed = 0;
    std::thread::id m_workerId;
    std::thread m_worker; // last: started once everything above is initialised
};

} // namespace TestSupport
