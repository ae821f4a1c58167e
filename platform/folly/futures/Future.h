#pragma once

// Bundled stand-in for <folly/futures/Future.h>: SemiFuture, Future, makeFuture, makeSemiFuture and
// via, with folly's semantics. Deliberately small; anything not here is not available.

#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

#include "folly/ExceptionWrapper.h"
#include "folly/Executor.h"
#include "folly/Try.h"
#include "folly/Unit.h"
#include "folly/futures/FutureException.h"
#include "folly/futures/Promise.h"
#include "folly/futures/detail/Core.h"

namespace folly {

template <class T>
class SemiFuture;
template <class T>
class Future;

/// True for Future<T>; `Inner` is T (for other types: the type itself, void lifted to Unit).
template <class T>
struct isFuture : std::false_type {
    using Inner = lift_unit_t<T>;
};
template <class T>
struct isFuture<Future<T>> : std::true_type {
    using Inner = T;
};

/// True for SemiFuture<T>; `Inner` as for isFuture.
template <class T>
struct isSemiFuture : std::false_type {
    using Inner = lift_unit_t<T>;
};
template <class T>
struct isSemiFuture<SemiFuture<T>> : std::true_type {
    using Inner = T;
};

/// True for Future<T> and SemiFuture<T>; `Inner` as for isFuture.
template <class T>
struct isFutureOrSemiFuture : std::false_type {
    using Inner = lift_unit_t<T>;
};
template <class T>
struct isFutureOrSemiFuture<Future<T>> : std::true_type {
    using Inner = T;
};
template <class T>
struct isFutureOrSemiFuture<SemiFuture<T>> : std::true_type {
    using Inner = T;
};

namespace futures {
namespace detail {

/// The value type of the future a continuation returning R produces: R itself, Unit for void,
/// and U for a continuation that returns Future<U> or SemiFuture<U> (which is flattened).
template <class R>
using continuation_value_t = typename isFutureOrSemiFuture<R>::Inner;

// Lets the free functions and the continuation plumbing reach the private parts of the futures.
struct FutureAccess;

/// What SemiFuture and Future have in common: ownership of the shared state and the accessors that
/// only make sense once the result is there.
///
/// Move-only. One thread at a time per object; the producing Promise may be on another thread.
template <class T>
class FutureBase {
    static_assert(!std::is_void<T>::value, "folly has no Future<void>; use Future<Unit>");
    static_assert(!std::is_reference<T>::value, "futures of references are not supported");

public:
    using value_type = T;

    FutureBase(const FutureBase&) = delete;
    FutureBase& operator=(const FutureBase&) = delete;
    FutureBase(FutureBase&&) noexcept = default;
    FutureBase& operator=(FutureBase&&) noexcept = default;

    /// False once moved from or consumed (get(), via(), thenValue(), ...). Every other member
    /// throws FutureInvalid on an invalid future.
    bool valid() const noexcept { return core_ != nullptr; }

    /// True once the promise was fulfilled (with a value or an exception). Does not block.
    bool isReady() const { return getCore().hasResult(); }

    /// True if ready with a value. Throws FutureNotReady when not ready.
    bool hasValue() const { return result().hasValue(); }

    /// True if ready with an exception. Throws FutureNotReady when not ready.
    bool hasException() const { return result().hasException(); }

    /// The value, without blocking. Rethrows the stored exception; throws FutureNotReady when not
    /// ready. The rvalue overload moves the value out but leaves the future valid.
    T& value() & { return result().value(); }
    const T& value() const& { return result().value(); }
    T&& value() && { return std::move(result()).value(); }
    const T&& value() const&& { return std::move(result()).value(); }

    /// The stored outcome, without blocking. Throws FutureNotReady when not ready.
    Try<T>& result() & { return readyCore().result(); }
    const Try<T>& result() const& { return readyCore().result(); }
    Try<T>&& result() && { return std::move(readyCore().result()); }
    const Try<T>&& result() const&& { return std::move(readyCore().result()); }

protected:
    friend struct FutureAccess;

    explicit FutureBase(std::shared_ptr<Core<T>> core) noexcept : core_(std::move(core)) {}
    ~FutureBase() = default;

    Core<T>& getCore() const {
        if (!core_) {
            throw FutureInvalid();
        }
        return *core_;
    }

    Core<T>& readyCore() const {
        Core<T>& core = getCore();
        if (!core.hasResult()) {
            throw FutureNotReady();
        }
        return core;
    }

    // Leaves this future invalid.
    std::shared_ptr<Core<T>> takeCore() {
        getCore();
        return std::move(core_);
    }

    std::shared_ptr<Core<T>> core_;
};

} // namespace detail
} // namespace futures

/// The consuming end of a promise that has no executor yet: it can be waited on, inspected, or
/// turned into a continuable Future with via().
///
/// Move-only. One thread at a time per object; the producing Promise may be on another thread.
template <class T>
class SemiFuture : public futures::detail::FutureBase<T> {
public:
    SemiFuture(SemiFuture&&) noexcept = default;
    SemiFuture& operator=(SemiFuture&&) noexcept = default;
    ~SemiFuture() = default;

    /// A Future over the same result whose continuations run on `executor`. Consumes this
    /// SemiFuture. A raw `Executor*` converts implicitly (see Executor::KeepAlive).
    Future<T> via(Executor::KeepAlive<> executor) && {
        return Future<T>(this->takeCore(), std::move(executor));
    }

    /// Blocks until ready. Returns *this.
    SemiFuture<T>& wait() & {
        this->getCore().wait();
        return *this;
    }

    /// Blocks until ready. Returns *this as an rvalue (the future is not consumed unless the result
    /// is moved into a new object).
    SemiFuture<T>&& wait() && {
        this->getCore().wait();
        return std::move(*this);
    }

    /// Blocks until ready, then returns the value or throws the stored exception. Consumes the
    /// future: `std::move(f).get()`.
    T get() && {
        wait();
        SemiFuture<T> self(std::move(*this));
        return std::move(self.result()).value();
    }

private:
    friend class Promise<T>;
    friend struct futures::detail::FutureAccess;

    explicit SemiFuture(std::shared_ptr<futures::detail::Core<T>> core) noexcept
        : futures::detail::FutureBase<T>(std::move(core)) {}
};

/// The consuming end of a promise, with continuations.
///
/// thenValue(), thenTry(), thenError() and ensure() consume this future and return a new one for
/// the continuation's result. The continuation runs exactly once: on the executor set with via()
/// (which the returned future inherits), or, without an executor, inline, either on the thread that
/// fulfils the promise or at once on the calling thread if the future is already ready.
/// An exception thrown by a continuation becomes the returned future's result; a continuation that
/// returns a Future or SemiFuture is flattened into it.
///
/// Move-only. One thread at a time per object; the producing Promise may be on another thread.
template <class T>
class Future : public futures::detail::FutureBase<T> {
public:
    Future(Future&&) noexcept = default;
    Future& operator=(Future&&) noexcept = default;
    ~Future() = default;

    /// The executor continuations will run on, or nullptr for inline.
    Executor* getExecutor() const noexcept { return executor_.get(); }

    /// The same future with its continuations moved onto `executor`. Consumes this future.
    /// A raw `Executor*` converts implicitly (see Executor::KeepAlive).
    Future<T> via(Executor::KeepAlive<> executor) && {
        this->getCore();
        executor_ = std::move(executor);
        return Future<T>(std::move(*this));
    }

    /// Blocks until ready, independent of the executor. Returns *this.
    Future<T>& wait() & {
        this->getCore().wait();
        return *this;
    }

    /// Blocks until ready. Returns *this as an rvalue (the future is not consumed unless the result
    /// is moved into a new object).
    Future<T>&& wait() && {
        this->getCore().wait();
        return std::move(*this);
    }

    /// Blocks until ready, then returns the value or throws the stored exception. Consumes the
    /// future: `std::move(f).get()`.
    T get() && {
        wait();
        Future<T> self(std::move(*this));
        return std::move(self.result()).value();
    }

    /// Continues with `func(T&&)` once a value is there; a stored exception skips `func` and passes
    /// through. The result is Future<R> for a callable returning R, Future<Unit> for void, and
    /// Future<U> (flattened) for one returning Future<U> or SemiFuture<U>. Consumes this future.
    template <class F>
    Future<futures::detail::continuation_value_t<std::invoke_result_t<std::decay_t<F>, T&&>>>
    thenValue(F&& func) && {
        using B = futures::detail::continuation_value_t<std::invoke_result_t<std::decay_t<F>, T&&>>;
        return std::move(*this).template then_<B>(
            [fn = std::decay_t<F>(std::forward<F>(func))](Promise<B>& promise, Try<T>&& t) mutable {
                if (t.hasException()) {
                    promise.setException(std::move(t).exception());
                    return;
                }
                fulfil(promise, [&]() -> decltype(auto) { return std::move(fn)(std::move(t).value()); });
            });
    }

    /// Continues with `func(Try<T>&&)`, called for values and exceptions alike. Result type as for
    /// thenValue(). Consumes this future.
    template <class F>
    Future<futures::detail::continuation_value_t<std::invoke_result_t<std::decay_t<F>, Try<T>&&>>>
    thenTry(F&& func) && {
        using B = futures::detail::continuation_value_t<std::invoke_result_t<std::decay_t<F>, Try<T>&&>>;
        return std::move(*this).template then_<B>(
            [fn = std::decay_t<F>(std::forward<F>(func))](Promise<B>& promise, Try<T>&& t) mutable {
                fulfil(promise, [&]() -> decltype(auto) { return std::move(fn)(std::move(t)); });
            });
    }

    /// Recovers from an exception of type E (or derived from it): `func(E&&)` must return T,
    /// Future<T> or SemiFuture<T>. Values and other exceptions pass through untouched.
    /// Consumes this future. Use as `thenError(folly::tag_t<E>{}, f)` or `thenError(folly::tag<E>, f)`.
    template <class E, class F>
    Future<T> thenError(tag_t<E>, F&& func) && {
        using Ex = std::remove_reference_t<E>;
        using R = std::invoke_result_t<std::decay_t<F>, Ex&&>;
        static_assert(std::is_same<futures::detail::continuation_value_t<R>, T>::value,
                      "Return type of thenError callback must be T or Future<T>");
        return std::move(*this).template then_<T>(
            [fn = std::decay_t<F>(std::forward<F>(func))](Promise<T>& promise, Try<T>&& t) mutable {
                if (t.hasException()) {
                    if (Ex* ex = t.exception().template get_exception<Ex>()) {
                        // *ex lives in t's exception object, which outlives the call.
                        fulfil(promise, [&]() -> decltype(auto) { return std::move(fn)(std::move(*ex)); });
                        return;
                    }
                }
                promise.setTry(std::move(t));
            });
    }

    /// Recovers from any exception: `func(exception_wrapper&&)` must return T, Future<T> or
    /// SemiFuture<T>. Values pass through untouched. Consumes this future.
    template <class F>
    Future<T> thenError(F&& func) && {
        using R = std::invoke_result_t<std::decay_t<F>, exception_wrapper&&>;
        static_assert(std::is_same<futures::detail::continuation_value_t<R>, T>::value,
                      "Return type of thenError callback must be T or Future<T>");
        return std::move(*this).template then_<T>([fn = std::decay_t<F>(std::forward<F>(func))](
                                                      Promise<T>& promise, Try<T>&& t) mutable {
            if (t.hasException()) {
                fulfil(promise, [&]() -> decltype(auto) { return std::move(fn)(std::move(t).exception()); });
                return;
            }
            promise.setTry(std::move(t));
        });
    }

    /// Runs `func()` once the future completes, whatever the outcome, and passes the outcome on
    /// unchanged; if `func` throws, its exception becomes the result. Consumes this future.
    template <class F>
    Future<T> ensure(F&& func) && {
        return std::move(*this).template then_<T>(
            [fn = std::decay_t<F>(std::forward<F>(func))](Promise<T>& promise, Try<T>&& t) mutable {
                try {
                    std::move(fn)();
                } catch (...) {
                    promise.setException(exception_wrapper(std::current_exception()));
                    return;
                }
                promise.setTry(std::move(t));
            });
    }

private:
    friend class Promise<T>;
    friend class SemiFuture<T>;
    template <class U>
    friend class Future;
    friend struct futures::detail::FutureAccess;

    Future(std::shared_ptr<futures::detail::Core<T>> core, Executor::KeepAlive<> executor) noexcept
        : futures::detail::FutureBase<T>(std::move(core)), executor_(std::move(executor)) {}

    // Attaches `handler(Promise<B>&, Try<T>&&)` as this future's callback and returns the future of
    // that promise, which inherits our executor.
    template <class B, class Handler>
    Future<B> then_(Handler&& handler) && {
        auto core = this->takeCore();
        Promise<B> promise;
        Future<B> next = promise.getFuture();
        next.executor_ = executor_.copy();
        core->setCallback(futures::detail::makeCallback<T>(
                              [handler = std::forward<Handler>(handler), promise = std::move(promise)](
                                  Try<T>&& t) mutable { handler(promise, std::move(t)); }),
                          std::move(executor_));
        return next;
    }

    // Fulfils `promise` with what `produce()` returns or throws, flattening returned futures.
    template <class B, class Produce>
    static void fulfil(Promise<B>& promise, Produce&& produce) noexcept;

    Executor::KeepAlive<> executor_;
};

namespace futures {
namespace detail {

struct FutureAccess {
    template <class T>
    static Future<T> makeReadyFuture(Try<T>&& t) {
        return Future<T>(std::make_shared<Core<T>>(std::move(t)), Executor::KeepAlive<>());
    }

    template <class T>
    static SemiFuture<T> makeReadySemiFuture(Try<T>&& t) {
        return SemiFuture<T>(std::make_shared<Core<T>>(std::move(t)));
    }

    // Completes `promise` with whatever `inner` completes with, inline on the completing thread;
    // the continuation waiting on `promise` then hops to its own executor. Throws FutureInvalid,
    // leaving `promise` untouched, when `inner` is invalid.
    template <class FutureType, class B>
    static void forward(FutureType&& inner, Promise<B>& promise) {
        auto core = inner.takeCore();
        core->setCallback(makeCallback<B>([target = std::move(promise)](Try<B>&& t) mutable {
                              target.setTry(std::move(t));
                          }),
                          Executor::KeepAlive<>());
    }
};

} // namespace detail
} // namespace futures

template <class T>
template <class B, class Produce>
void Future<T>::fulfil(Promise<B>& promise, Produce&& produce) noexcept {
    using R = std::invoke_result_t<Produce>;
    try {
        if constexpr (isFutureOrSemiFuture<R>::value) {
            R inner = std::forward<Produce>(produce)();
            futures::detail::FutureAccess::forward(std::move(inner), promise);
        } else if constexpr (std::is_void<R>::value) {
            std::forward<Produce>(produce)();
            promise.setValue();
        } else {
            promise.setValue(std::forward<Produce>(produce)());
        }
    } catch (...) {
        // The promise may have been handed on before the failure; then it is no longer ours to set.
        if (!promise.isFulfilled()) {
            promise.setException(exception_wrapper(std::current_exception()));
        }
    }
}

/// A ready Future holding `t` (value or exception), without executor.
template <class T>
Future<T> makeFuture(Try<T> t) {
    return futures::detail::FutureAccess::makeReadyFuture<T>(std::move(t));
}

/// A ready Future holding `value`, without executor.
template <class T>
Future<std::decay_t<T>> makeFuture(T&& value) {
    return makeFuture(Try<std::decay_t<T>>(std::forward<T>(value)));
}

/// A ready Future<Unit>, without executor.
inline Future<Unit> makeFuture() {
    return makeFuture(Try<Unit>(unit));
}

/// A ready Future<T> holding the exception in `ew`: `makeFuture<T>(ew)`.
template <class T>
Future<T> makeFuture(exception_wrapper ew) {
    return makeFuture(Try<T>(std::move(ew)));
}

/// A ready Future<T> holding a copy of `e`: `makeFuture<T>(std::runtime_error("..."))`.
template <class T, class E>
std::enable_if_t<std::is_base_of<std::exception, E>::value, Future<T>> makeFuture(const E& e) {
    return makeFuture(Try<T>(make_exception_wrapper<E>(e)));
}

/// A ready SemiFuture holding `t` (value or exception).
template <class T>
SemiFuture<T> makeSemiFuture(Try<T> t) {
    return futures::detail::FutureAccess::makeReadySemiFuture<T>(std::move(t));
}

/// A ready SemiFuture holding `value`.
template <class T>
SemiFuture<std::decay_t<T>> makeSemiFuture(T&& value) {
    return makeSemiFuture(Try<std::decay_t<T>>(std::forward<T>(value)));
}

/// A ready SemiFuture<Unit>.
inline SemiFuture<Unit> makeSemiFuture() {
    return makeSemiFuture(Try<Unit>(unit));
}

/// A ready SemiFuture<T> holding the exception in `ew`: `makeSemiFuture<T>(ew)`.
template <class T>
SemiFuture<T> makeSemiFuture(exception_wrapper ew) {
    return makeSemiFuture(Try<T>(std::move(ew)));
}

/// A ready SemiFuture<T> holding a copy of `e`.
template <class T, class E>
std::enable_if_t<std::is_base_of<std::exception, E>::value, SemiFuture<T>> makeSemiFuture(const E& e) {
    return makeSemiFuture(Try<T>(make_exception_wrapper<E>(e)));
}

/// A ready Future<Unit> on `executor`: the usual way to start a chain of work there,
/// `via(&executor).thenValue(...)`. A raw `Executor*` converts implicitly.
inline Future<Unit> via(Executor::KeepAlive<> executor) {
    return makeFuture().via(std::move(executor));
}

} // namespace folly
