#pragma once

// Bundled stand-in for <folly/futures/Promise.h>.

#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "folly/ExceptionWrapper.h"
#include "folly/Try.h"
#include "folly/Unit.h"
#include "folly/futures/detail/Core.h"

namespace folly {

/// Base of the errors raised by misusing a Promise.
class PromiseException : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

/// The promise has no shared state: it was moved from.
class PromiseInvalid : public PromiseException {
public:
    PromiseInvalid() : PromiseException("Promise invalid") {}
};

/// The promise was fulfilled a second time.
class PromiseAlreadySatisfied : public PromiseException {
public:
    PromiseAlreadySatisfied() : PromiseException("Promise already satisfied") {}
};

/// getFuture() / getSemiFuture() was called a second time on the same promise.
class FutureAlreadyRetrieved : public PromiseException {
public:
    FutureAlreadyRetrieved() : PromiseException("Future already retrieved") {}
};

/// The result of a future whose promise was destroyed without being fulfilled.
class BrokenPromise : public PromiseException {
public:
    explicit BrokenPromise(const std::string& type)
        : PromiseException("Broken promise for type name `" + type + '`') {}
    explicit BrokenPromise(const char* type) : BrokenPromise(std::string(type)) {}
};

template <class T>
class SemiFuture;
template <class T>
class Future;

/// The producing end of a one-shot asynchronous result.
///
/// Hand out the consuming end with getFuture() or getSemiFuture() (once), then fulfil the
/// promise exactly once with setValue(), setException(), setTry() or setWith(). Fulfilling runs
/// an attached continuation, inline on the fulfilling thread unless the future was given an
/// executor. Destroying a promise that was never fulfilled fulfils its future with BrokenPromise.
///
/// Move-only. A Promise object is used from one thread at a time, but it and its future may live
/// on different threads. Promise<void> does not exist; use Promise<Unit>.
template <class T>
class Promise {
    static_assert(!std::is_void<T>::value, "folly has no Promise<void>; use Promise<Unit>");
    static_assert(!std::is_reference<T>::value, "Promise<T&> is not supported");

public:
    /// A fresh, unfulfilled promise.
    Promise() : core_(std::make_shared<futures::detail::Core<T>>()) {}

    /// Breaks the promise (see class comment) unless it was fulfilled or moved from.
    ~Promise() { detach(); }

    Promise(const Promise&) = delete;
    Promise& operator=(const Promise&) = delete;

    /// Takes over `other`'s state; `other` becomes invalid.
    Promise(Promise&& other) noexcept
        : core_(std::move(other.core_)), retrieved_(std::exchange(other.retrieved_, false)) {}

    /// Breaks this promise if it is unfulfilled, then takes over `other`'s state.
    Promise& operator=(Promise&& other) noexcept {
        if (this != &other) {
            detach();
            core_ = std::move(other.core_);
            retrieved_ = std::exchange(other.retrieved_, false);
        }
        return *this;
    }

    /// False for a moved-from promise.
    bool valid() const noexcept { return core_ != nullptr; }

    /// The consuming end, as a SemiFuture. Throws FutureAlreadyRetrieved on a second call (of
    /// this or getFuture()), PromiseInvalid when moved from.
    SemiFuture<T> getSemiFuture() {
        takeCore();
        return SemiFuture<T>(core_);
    }

    /// The consuming end, as a Future without executor: its continuations run inline.
    /// Throws like getSemiFuture().
    Future<T> getFuture() {
        takeCore();
        return Future<T>(core_, Executor::KeepAlive<>());
    }

    /// Fulfils the promise with the exception in `ew`.
    /// Throws PromiseAlreadySatisfied if already fulfilled, PromiseInvalid when moved from.
    void setException(exception_wrapper ew) { setTry(Try<T>(std::move(ew))); }

    /// Fulfils the promise with a copy of `e` (sliced to its static type E). Throws like setTry().
    template <class E>
    std::enable_if_t<std::is_base_of<std::exception, E>::value> setException(const E& e) {
        setException(make_exception_wrapper<E>(e));
    }

    /// Promise<Unit> only: fulfils the promise with `unit`. Throws like setTry().
    template <class B = T>
    std::enable_if_t<std::is_same<Unit, B>::value> setValue() {
        setTry(Try<T>(T()));
    }

    /// Fulfils the promise with a value converted from `value`. Throws like setTry().
    template <class M>
    void setValue(M&& value) {
        setTry(Try<T>(std::forward<M>(value)));
    }

    /// Fulfils the promise with `t`, value or exception; an attached continuation runs now (inline
    /// or queued on its executor). Throws PromiseAlreadySatisfied if already fulfilled,
    /// PromiseInvalid when moved from.
    void setTry(Try<T>&& t) {
        throwIfFulfilled();
        if (!core_->setResult(std::move(t))) {
            throw PromiseAlreadySatisfied();
        }
    }

    /// Fulfils the promise with the outcome of `func()`: its return value, or the exception it threw.
    /// Throws PromiseAlreadySatisfied (without calling `func`) if already fulfilled.
    template <class F>
    void setWith(F&& func) {
        throwIfFulfilled();
        setTry(makeTryWith(std::forward<F>(func)));
    }

    /// True once fulfilled; also true for a moved-from promise, which can no longer be fulfilled.
    bool isFulfilled() const noexcept { return core_ == nullptr || core_->hasResult(); }

private:
    void throwIfFulfilled() const {
        if (!core_) {
            throw PromiseInvalid();
        }
        if (core_->hasResult()) {
            throw PromiseAlreadySatisfied();
        }
    }

    void takeCore() {
        if (!core_) {
            throw PromiseInvalid();
        }
        if (retrieved_) {
            throw FutureAlreadyRetrieved();
        }
        retrieved_ = true;
    }

    void detach() noexcept {
        if (!core_) {
            return;
        }
        // Nobody can observe the result of a future that was never handed out.
        if (retrieved_ && !core_->hasResult()) {
            core_->setResult(
                Try<T>(make_exception_wrapper<BrokenPromise>(detail::demangledTypeName(typeid(T)))));
        }
        core_.reset();
        retrieved_ = false;
    }

    std::shared_ptr<futures::detail::Core<T>> core_;
    bool retrieved_ = false;
};

} // namespace folly

// As in folly, either header brings in both halves.
#include "folly/futures/Future.h"
