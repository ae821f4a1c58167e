#pragma once

#include "folly/Executor.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace Tessel {

/// An executor with one thread of its own, for work that must not hold up a document's thread (hashing
/// and copying files). Runs what it is given in order. Its destructor runs what is queued, then joins the
/// thread: whoever owns it waits for its work to end.
class WorkerThread final : public folly::Executor {
public:
    WorkerThread();
    ~WorkerThread() override;
    WorkerThread(WorkerThread const&) = delete;
    WorkerThread& operator=(WorkerThread const&) = delete;

    /// Queues `func`. Thread safe.
    void add(folly::Func func) override;

private:
    void run();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<folly::Func> m_queue;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace Tessel
