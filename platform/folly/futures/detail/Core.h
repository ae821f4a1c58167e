#pragma once

// The state shared by a Promise and its Future. Internal: use Promise, SemiFuture and Future.

#include <atomic>
#include <cassert>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

#include "folly/Executor.h"
#include "folly/Try.h"

namespace folly {
namespace futures {
namespace detail {

/// A move-only continuation that consumes a result.
template <class T>
class CallbackBase {
public:
    virtual ~CallbackBase() = default;
    virtual void invoke(Try<T>&& result) = 0;
};

template <class T, class F>
class CallbackImpl final : public CallbackBase<T> {
public:
    template <class G>
    explicit CallbackImpl(G&& fn) : fn_(std::forward<G>(fn)) {}
    void invoke(Try<T>&& result) override { fn_(std::move(result)); }

private:
    F fn_;
};

template <class T>
using Callback = std::unique_ptr<CallbackBase<T>>;

template <class T, class F>
Callback<T> makeCallback(F&& fn) {
    return std::make_unique<CallbackImpl<T, std::decay_t<F>>>(std::forward<F>(fn));
}

/// Shared state between one producer (the Promise) and one consumer (the future side).
///
/// Exactly one result and at most one callback are ever stored. Whichever of setResult() and
/// setCallback() comes second runs the callback, outside the lock, either inline or on the
/// executor given with the callback. All state transitions happen under one mutex, so the
/// producer and the consumer may be on different threads. Owned through shared_ptr by the
/// Promise and the future (and by in-flight tasks).
template <class T>
class Core {
public:
    Core() = default;
    explicit Core(Try<T>&& result) : result_(std::move(result)), state_(State::OnlyResult) {}
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    /// True once a result was set (whether or not a callback has consumed it since).
    bool hasResult() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return state_ == State::OnlyResult || state_ == State::Done;
    }

    /// Stores the result, or hands it to the waiting callback. False if a result was already set.
    bool setResult(Try<T>&& result) {
        std::unique_lock<std::mutex> lock(mutex_);
        switch (state_) {
        case State::Start:
            result_ = std::move(result);
            state_ = State::OnlyResult;
            // Notified under the lock: a waiter cannot miss it between checking and sleeping.
            ready_.notify_all();
            return true;
        case State::OnlyCallback: {
            state_ = State::Done;
            Callback<T> callback = std::move(callback_);
            Executor::KeepAlive<> executor = std::move(executor_);
            lock.unlock();
            dispatch(std::move(callback), std::move(result), std::move(executor));
            return true;
        }
        case State::OnlyResult:
        case State::Done:
            break;
        }
        return false;
    }

    /// Attaches the one callback, to be run on `executor` (inline when it is null).
    void setCallback(Callback<T> callback, Executor::KeepAlive<> executor) {
        std::unique_lock<std::mutex> lock(mutex_);
        assert(state_ == State::Start || state_ == State::OnlyResult);
        if (state_ == State::Start) {
            callback_ = std::move(callback);
            executor_ = std::move(executor);
            state_ = State::OnlyCallback;
            return;
        }
        state_ = State::Done;
        Try<T> result = std::move(result_);
        lock.unlock();
        dispatch(std::move(callback), std::move(result), std::move(executor));
    }

    /// Blocks until a result was set.
    void wait() const {
        std::unique_lock<std::mutex> lock(mutex_);
        ready_.wait(lock, [this] { return state_ != State::Start; });
    }

    /// The stored result. Only for the consumer, after hasResult() returned true and while no
    /// callback was attached; the producer never touches it again once set.
    Try<T>& result() { return result_; }
    const Try<T>& result() const { return result_; }

private:
    enum class State { Start, OnlyResult, OnlyCallback, Done };

    // Executors take copyable functions, so the move-only callback and its argument travel in a
    // shared task; the flag guarantees a single run even if an executor invokes a copy twice.
    struct Task {
        Task(Callback<T>&& cb, Try<T>&& res, Executor::KeepAlive<>&& ka)
            : callback(std::move(cb)), result(std::move(res)), keepAlive(std::move(ka)) {}

        void run(Try<T>&& value) {
            if (!started.exchange(true, std::memory_order_acq_rel)) {
                Callback<T> cb = std::move(callback);
                cb->invoke(std::move(value));
            }
        }

        Callback<T> callback;
        Try<T> result;
        Executor::KeepAlive<> keepAlive; // keeps a counting executor alive until the task is gone
        std::atomic<bool> started{false};
    };

    static void dispatch(Callback<T>&& callback, Try<T>&& result, Executor::KeepAlive<>&& executor) {
        if (!executor) {
            callback->invoke(std::move(result));
            return;
        }
        Executor* target = executor.get();
        auto task = std::make_shared<Task>(std::move(callback), std::move(result), std::move(executor));
        try {
            target->add([task] { task->run(std::move(task->result)); });
        } catch (...) {
            // As folly does: if the executor refuses the work, the continuation still runs, inline,
            // and sees the executor's exception instead of the result.
            task->run(Try<T>(exception_wrapper(std::current_exception())));
        }
    }

    mutable std::mutex mutex_;
    mutable std::condition_variable ready_;
    Try<T> result_;
    State state_ = State::Start;
    Callback<T> callback_;
    Executor::KeepAlive<> executor_;
};

} // namespace detail
} // namespace futures
} // namespace folly
