#include "platform/tessel/WorkerThread.hpp"

namespace Tessel {

WorkerThread::WorkerThread() : m_thread([this] { run(); }) {}

WorkerThread::~WorkerThread() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void WorkerThread::add(folly::Func func) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.push_back(std::move(func));
    }
    m_wake.notify_one();
}

void WorkerThread::run() {
    for (;;) {
        folly::Func func;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
            if (m_queue.empty()) {
                return;
            }
            func = std::move(m_queue.front());
            m_queue.pop_front();
        }
        func();
    }
}

} // namespace Tessel
