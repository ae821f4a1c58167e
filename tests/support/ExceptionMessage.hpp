#pragma once

#include <string>

namespace TestSupport {

/// The `what()` of the `Ex` that `f` throws, or "<nothing thrown>" when it returns normally.
template <class Ex, class F>
std::string messageOf(F&& f) {
    try {
        f();
    } catch (Ex const& ex) {
        return ex.what();
    }
    return "<nothing thrown>";
}

} // namespace TestSupport
