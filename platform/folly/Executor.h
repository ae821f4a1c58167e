#pragma once

// Bundled stand-in for <folly/Executor.h>.

#include <functional>
#include <type_traits>
#include <utility>

namespace folly {

/// A unit of work handed to an executor. folly uses the move-only folly::Function<void()>; here it
/// is std::function, so anything stored in a Func must be copyable (the futures code wraps its
/// move-only continuations accordingly).
using Func = std::function<void()>;

/// Something that runs functions: a thread pool, an event loop, a queue drained by hand.
///
/// add() must be safe to call from any thread. Executors that want to be kept alive by the
/// futures that will run on them override keepAliveAcquire()/keepAliveRelease() to count
/// KeepAlive tokens; the default does no counting and the caller has to keep the executor alive
/// for as long as work may be added to it.
class Executor {
public:
    virtual ~Executor();

    /// Schedules `func` to run. Thread safe. Every call must run `func` at most once; an executor
    /// that drops a function without running it must still destroy it.
    virtual void add(Func func) = 0;

    /// A (possibly counted) reference to an executor.
    ///
    /// Obtained from getKeepAliveToken(). If the executor's keepAliveAcquire() returned true the
    /// token is counted: every copy acquires again and every destruction releases once. Otherwise
    /// it is a plain pointer ("dummy") and copies cost nothing. A default-constructed token is null.
    /// Tokens are copyable and movable; a single token is not synchronised.
    template <typename ExecutorT = Executor>
    class KeepAlive {
    public:
        KeepAlive() = default;

        /// Same as getKeepAliveToken(executor); a null pointer gives a null token.
        /* implicit */ KeepAlive(ExecutorT* executor) { *this = Executor::getKeepAliveToken(executor); }

        ~KeepAlive() { reset(); }

        KeepAlive(KeepAlive&& other) noexcept
            : executor_(std::exchange(other.executor_, nullptr)), dummy_(std::exchange(other.dummy_, true)) {}

        template <typename OtherExecutor,
                  typename = std::enable_if_t<std::is_convertible<OtherExecutor*, ExecutorT*>::value>>
        /* implicit */ KeepAlive(KeepAlive<OtherExecutor>&& other) noexcept
            : executor_(std::exchange(other.executor_, nullptr)), dummy_(std::exchange(other.dummy_, true)) {}

        KeepAlive(const KeepAlive& other) noexcept : KeepAlive(other.copy()) {}

        template <typename OtherExecutor,
                  typename = std::enable_if_t<std::is_convertible<OtherExecutor*, ExecutorT*>::value>>
        /* implicit */ KeepAlive(const KeepAlive<OtherExecutor>& other) noexcept : KeepAlive(other.copy()) {}

        KeepAlive& operator=(KeepAlive&& other) noexcept {
            if (this != &other) {
                reset();
                executor_ = std::exchange(other.executor_, nullptr);
                dummy_ = std::exchange(other.dummy_, true);
            }
            return *this;
        }

        template <typename OtherExecutor,
                  typename = std::enable_if_t<std::is_convertible<OtherExecutor*, ExecutorT*>::value>>
        KeepAlive& operator=(KeepAlive<OtherExecutor>&& other) noexcept {
            return *this = KeepAlive(std::move(other));
        }

        KeepAlive& operator=(const KeepAlive& other) noexcept { return *this = other.copy(); }

        /// Drops the reference (releasing it if counted); the token becomes null.
        void reset() noexcept {
            ExecutorT* executor = std::exchange(executor_, nullptr);
            if (executor != nullptr && !std::exchange(dummy_, true)) {
                // Go through the base: a derived executor may have made the override private.
                static_cast<Executor*>(executor)->keepAliveRelease();
            }
        }

        /// True unless null.
        explicit operator bool() const noexcept { return executor_ != nullptr; }

        /// The executor, or nullptr.
        ExecutorT* get() const noexcept { return executor_; }
        ExecutorT& operator*() const noexcept { return *executor_; }
        ExecutorT* operator->() const noexcept { return executor_; }

        /// A new token for the same executor, acquired again when this one is counted.
        KeepAlive copy() const noexcept {
            if (executor_ == nullptr || dummy_) {
                return KeepAlive(executor_, true);
            }
            return Executor::getKeepAliveToken(executor_);
        }

    private:
        friend class Executor;
        template <typename OtherExecutor>
        friend class KeepAlive;

        KeepAlive(ExecutorT* executor, bool dummy) noexcept : executor_(executor), dummy_(dummy) {}

        ExecutorT* executor_ = nullptr;
        bool dummy_ = true;
    };

    /// A token for `executor`, counted if the executor supports it. Null for a null pointer.
    template <typename ExecutorT>
    static KeepAlive<ExecutorT> getKeepAliveToken(ExecutorT* executor) {
        static_assert(std::is_base_of<Executor, ExecutorT>::value,
                      "getKeepAliveToken only works for folly::Executor implementations");
        if (executor == nullptr) {
            return KeepAlive<ExecutorT>();
        }
        const bool counted = static_cast<Executor*>(executor)->keepAliveAcquire();
        return KeepAlive<ExecutorT>(executor, !counted);
    }

    /// Same as getKeepAliveToken(&executor).
    template <typename ExecutorT>
    static KeepAlive<ExecutorT> getKeepAliveToken(ExecutorT& executor) {
        return getKeepAliveToken(&executor);
    }

protected:
    /// Called for every new counted token. Return true to have tokens counted (and released
    /// through keepAliveRelease()); the default returns false: tokens are not counted.
    virtual bool keepAliveAcquire() noexcept;

    /// Called when a counted token goes away. Executors that return true from keepAliveAcquire()
    /// must override this; the default aborts because it can only be reached by such a mistake.
    virtual void keepAliveRelease() noexcept;
};

/// Free-function form of Executor::getKeepAliveToken(ExecutorT*).
template <typename ExecutorT>
Executor::KeepAlive<ExecutorT> getKeepAliveToken(ExecutorT* executor) {
    return Executor::getKeepAliveToken(executor);
}

/// Free-function form of Executor::getKeepAliveToken(ExecutorT&).
template <typename ExecutorT>
Executor::KeepAlive<ExecutorT> getKeepAliveToken(ExecutorT& executor) {
    return Executor::getKeepAliveToken(executor);
}

/// Another token for the executor behind `ka` (a counted copy when `ka` is counted).
template <typename ExecutorT>
Executor::KeepAlive<ExecutorT> getKeepAliveToken(Executor::KeepAlive<ExecutorT>& ka) {
    return ka.copy();
}

} // namespace folly
