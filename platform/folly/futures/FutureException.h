#pragma once

// Bundled stand-in for <folly/futures/FutureException.h>. The promise-side errors (BrokenPromise,
// PromiseAlreadySatisfied, ...) live in Promise.h, as in folly.

#include <stdexcept>

namespace folly {

/// Base of the errors raised by misusing a Future or SemiFuture.
class FutureException : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

/// The future has no shared state: it was moved from or consumed (get(), thenValue(), via(), ...).
class FutureInvalid : public FutureException {
public:
    FutureInvalid() : FutureException("Future invalid") {}
};

/// value(), result(), hasValue() or hasException() was called before the future was ready.
class FutureNotReady : public FutureException {
public:
    FutureNotReady() : FutureException("Future not ready") {}
};

} // namespace folly
