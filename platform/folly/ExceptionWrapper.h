#pragma once

// Bundled stand-in for <folly/ExceptionWrapper.h>. Unlike folly's version this one always stores a
// std::exception_ptr and inspects it by rethrowing, which is slower but keeps the code small.

#include <exception>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace folly {

/// A copyable, nullable holder for an exception of any type.
///
/// Holds a std::exception_ptr; copies share the same exception object. An empty wrapper holds
/// nothing and converts to false. Instances are not synchronised, but distinct copies may be
/// used from different threads (the shared exception object is only ever read).
class exception_wrapper {
public:
    /// An empty wrapper.
    exception_wrapper() noexcept = default;

    /// Takes over an exception captured with std::current_exception() or std::make_exception_ptr().
    explicit exception_wrapper(std::exception_ptr ptr) noexcept : ptr_(std::move(ptr)) {}

    /// Wraps a copy of `ex`, an object of a type derived from std::exception. The copy has the static
    /// type of the argument: passing a `std::exception&` that refers to a derived object slices it,
    /// so capture with std::current_exception() inside a catch block when the dynamic type matters.
    template <class Ex, class Ex_ = std::decay_t<Ex>,
              std::enable_if_t<std::is_base_of<std::exception, Ex_>::value &&
                                   std::is_copy_constructible<Ex_>::value && !std::is_abstract<Ex_>::value,
                               int> = 0>
    /* implicit */ exception_wrapper(Ex&& ex) : ptr_(std::make_exception_ptr(Ex_(std::forward<Ex>(ex)))) {}

    exception_wrapper(const exception_wrapper&) = default;
    exception_wrapper(exception_wrapper&&) noexcept = default;
    exception_wrapper& operator=(const exception_wrapper&) = default;
    exception_wrapper& operator=(exception_wrapper&&) noexcept = default;
    ~exception_wrapper() = default;

    /// True when an exception is held.
    explicit operator bool() const noexcept { return static_cast<bool>(ptr_); }

    /// The held exception as a std::exception_ptr (null when empty).
    std::exception_ptr to_exception_ptr() const noexcept { return ptr_; }

    /// Rethrows the held exception object (the same object, not a copy).
    /// Calling this on an empty wrapper is a programming error and terminates the process.
    [[noreturn]] void throw_exception() const;

    /// "<type>: <what()>" for exceptions derived from std::exception, "<type>" for other types and
    /// "" for an empty wrapper; <type> is the demangled dynamic type name.
    std::string what() const;

    /// The demangled dynamic type name of the held exception, or "" when empty.
    std::string class_name() const;

    /// A pointer to the held exception if it is an `Ex` (or derives from it), otherwise nullptr.
    /// The pointer stays valid as long as this wrapper (or a copy of it) holds the exception.
    template <class Ex>
    Ex* get_exception() noexcept {
        return find<Ex>();
    }

    /// Const overload of get_exception().
    template <class Ex>
    const Ex* get_exception() const noexcept {
        return find<const Ex>();
    }

    /// True if the held exception is an `Ex` or derives from it; false when empty.
    template <class Ex>
    bool is_compatible_with() const noexcept {
        return find<const Ex>() != nullptr;
    }

private:
    template <class Ex>
    Ex* find() const noexcept {
        if (!ptr_) {
            return nullptr;
        }
        // The catch clause does the type matching for us; rethrow_exception throws the stored
        // object itself, so the address outlives the handler.
        try {
            std::rethrow_exception(ptr_);
        } catch (Ex& ex) {
            return &ex;
        } catch (...) {
            return nullptr;
        }
    }

    std::exception_ptr ptr_;
};

/// Constructs an `Ex` from `args` and wraps it.
template <class Ex, class... Args>
exception_wrapper make_exception_wrapper(Args&&... args) {
    return exception_wrapper(std::make_exception_ptr(Ex(std::forward<Args>(args)...)));
}

namespace detail {
/// Human-readable (demangled where the toolchain allows) name of a type; used for diagnostics only.
std::string demangledTypeName(const std::type_info& type);
} // namespace detail

} // namespace folly
