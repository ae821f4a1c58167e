#include "folly/ExceptionWrapper.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#if defined(__GNUG__)
#include <cxxabi.h>
#endif

namespace folly {

namespace detail {

std::string demangledTypeName(const std::type_info& type) {
#if defined(__GNUG__)
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                std::free);
    if (status == 0 && name) {
        return name.get();
    }
#endif
    return type.name();
}

} // namespace detail

namespace {

// The dynamic type of the exception being handled; only valid inside a catch block.
const std::type_info* currentExceptionType() noexcept {
#if defined(__GNUG__)
    return abi::__cxa_current_exception_type();
#else
    return nullptr;
#endif
}

} // namespace

void exception_wrapper::throw_exception() const {
    if (!ptr_) {
        std::fputs("folly::exception_wrapper::throw_exception() called on an empty exception_wrapper\n",
                   stderr);
        std::terminate();
    }
    std::rethrow_exception(ptr_);
}

std::string exception_wrapper::class_name() const {
    if (!ptr_) {
        return {};
    }
    try {
        std::rethrow_exception(ptr_);
    } catch (const std::exception& ex) {
        return detail::demangledTypeName(typeid(ex));
    } catch (...) {
        const std::type_info* type = currentExceptionType();
        return type ? detail::demangledTypeName(*type) : std::string("<unknown exception>");
    }
}

std::string exception_wrapper::what() const {
    if (!ptr_) {
        return {};
    }
    try {
        std::rethrow_exception(ptr_);
    } catch (const std::exception& ex) {
        return detail::demangledTypeName(typeid(ex)) + ": " + ex.what();
    } catch (...) {
        return class_name();
    }
}

} // namespace folly
