#pragma once

// Bundled stand-in for <folly/Try.h>.

#include <cstddef>
#include <exception>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

#include "folly/ExceptionWrapper.h"
#include "folly/Unit.h"

namespace folly {

/// Thrown when a Try is asked for something it does not hold, e.g. exception() on a value.
class TryException : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

/// Thrown by value() on a Try that holds neither a value nor an exception.
class UsingUninitializedTry : public TryException {
public:
    UsingUninitializedTry() : TryException("Using uninitialized try") {}
};

template <class T>
class Try;
template <>
class Try<void>;

/// The outcome of a computation: a value of type T, an exception, or (default-constructed) nothing.
///
/// Copyable when T is, always movable. Not synchronised: one thread at a time.
template <class T>
class Try {
    static_assert(!std::is_reference<T>::value, "Try may not be used with reference types");

public:
    using element_type = T;

    /// An empty Try: neither value nor exception.
    Try() noexcept = default;

    /// A Try holding a copy of `value`.
    explicit Try(const T& value) : storage_(std::in_place_index<kValue>, value) {}

    /// A Try holding `value`, moved in.
    explicit Try(T&& value) : storage_(std::in_place_index<kValue>, std::move(value)) {}

    /// A Try holding the exception in `ew`.
    explicit Try(exception_wrapper ew) noexcept : storage_(std::in_place_index<kException>, std::move(ew)) {}

    /// Try<Unit> from Try<void>: a value becomes `unit`, an exception is carried over.
    template <class T2 = T>
    /* implicit */ Try(
        typename std::enable_if<std::is_same<Unit, T2>::value, const Try<void>&>::type t) noexcept;

    Try(const Try&) = default;
    Try(Try&&) = default;
    Try& operator=(const Try&) = default;
    Try& operator=(Try&&) = default;
    ~Try() = default;

    /// True when a value is held.
    bool hasValue() const noexcept { return storage_.index() == kValue; }

    /// True when an exception is held.
    bool hasException() const noexcept { return storage_.index() == kException; }

    /// True when an exception of type Ex (or derived from it) is held.
    template <class Ex>
    bool hasException() const noexcept {
        return hasException() && std::get<kException>(storage_).template is_compatible_with<Ex>();
    }

    /// The held value. Rethrows the held exception, or throws UsingUninitializedTry when empty.
    T& value() & {
        throwUnlessValue();
        return std::get<kValue>(storage_);
    }
    T&& value() && {
        throwUnlessValue();
        return std::move(std::get<kValue>(storage_));
    }
    const T& value() const& {
        throwUnlessValue();
        return std::get<kValue>(storage_);
    }
    const T&& value() const&& {
        throwUnlessValue();
        return std::move(std::get<kValue>(storage_));
    }

    /// Same as value().
    T& operator*() & { return value(); }
    T&& operator*() && { return std::move(*this).value(); }
    const T& operator*() const& { return value(); }
    const T&& operator*() const&& { return std::move(*this).value(); }

    /// Member access on the held value, with value()'s error behaviour.
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

    /// Returns when a value is held; otherwise rethrows the exception or throws UsingUninitializedTry.
    void throwUnlessValue() const {
        switch (storage_.index()) {
        case kValue:
            return;
        case kException:
            std::get<kException>(storage_).throw_exception();
        default:
            throw UsingUninitializedTry();
        }
    }

    /// The held exception; throws TryException when no exception is held.
    exception_wrapper& exception() & {
        requireException();
        return std::get<kException>(storage_);
    }
    exception_wrapper&& exception() && {
        requireException();
        return std::move(std::get<kException>(storage_));
    }
    const exception_wrapper& exception() const& {
        requireException();
        return std::get<kException>(storage_);
    }
    const exception_wrapper&& exception() const&& {
        requireException();
        return std::move(std::get<kException>(storage_));
    }

private:
    static constexpr std::size_t kValue = 1;
    static constexpr std::size_t kException = 2;

    void requireException() const {
        if (!hasException()) {
            throw TryException("Try does not contain an exception");
        }
    }

    // Indexed access only: T may itself be exception_wrapper.
    std::variant<std::monostate, T, exception_wrapper> storage_;
};

/// The outcome of a computation without a result: success or an exception.
///
/// A default-constructed Try<void> is a success (there is no empty state).
template <>
class Try<void> {
public:
    using element_type = void;

    /// A successful Try.
    Try() noexcept = default;

    /// A Try holding the exception in `ew`.
    explicit Try(exception_wrapper ew) noexcept : hasValue_(false), exception_(std::move(ew)) {}

    /// True on success.
    bool hasValue() const noexcept { return hasValue_; }

    /// True when an exception is held.
    bool hasException() const noexcept { return !hasValue_; }

    /// True when an exception of type Ex (or derived from it) is held.
    template <class Ex>
    bool hasException() const noexcept {
        return hasException() && exception_.is_compatible_with<Ex>();
    }

    /// Returns on success, rethrows the held exception otherwise.
    void value() const { throwUnlessValue(); }

    /// Same as value().
    void operator*() const { value(); }

    /// Returns on success, rethrows the held exception otherwise.
    void throwUnlessValue() const {
        if (!hasValue_) {
            exception_.throw_exception();
        }
    }

    /// The held exception; throws TryException on success.
    exception_wrapper& exception() & {
        requireException();
        return exception_;
    }
    exception_wrapper&& exception() && {
        requireException();
        return std::move(exception_);
    }
    const exception_wrapper& exception() const& {
        requireException();
        return exception_;
    }
    const exception_wrapper&& exception() const&& {
        requireException();
        return std::move(exception_);
    }

private:
    void requireException() const {
        if (!hasException()) {
            throw TryException("Try does not contain an exception");
        }
    }

    bool hasValue_ = true;
    exception_wrapper exception_;
};

template <class T>
template <class T2>
Try<T>::Try(typename std::enable_if<std::is_same<Unit, T2>::value, const Try<void>&>::type t) noexcept {
    if (t.hasException()) {
        storage_.template emplace<kException>(t.exception());
    } else {
        storage_.template emplace<kValue>();
    }
}

/// True for Try<T>, false otherwise.
template <class T>
struct isTry : std::false_type {};
template <class T>
struct isTry<Try<T>> : std::true_type {};

/// Calls `f()` and captures the outcome: Try<R> for a callable returning R, Try<void> for one
/// returning void, and the returned Try itself for a callable that already returns a Try.
/// Any exception thrown by `f` is caught and stored.
template <class F>
auto makeTryWith(F&& f) {
    using R = std::invoke_result_t<F>;
    if constexpr (isTry<R>::value) {
        try {
            return std::forward<F>(f)();
        } catch (...) {
            return R(exception_wrapper(std::current_exception()));
        }
    } else if constexpr (std::is_void<R>::value) {
        try {
            std::forward<F>(f)();
            return Try<void>();
        } catch (...) {
            return Try<void>(exception_wrapper(std::current_exception()));
        }
    } else {
        try {
            return Try<R>(std::forward<F>(f)());
        } catch (...) {
            return Try<R>(exception_wrapper(std::current_exception()));
        }
    }
}

} // namespace folly
