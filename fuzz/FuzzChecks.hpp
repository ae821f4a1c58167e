#pragma once

// What the fuzz targets that run a live server share: quiet logs and checks that abort.

#include "platform/cobalt/Trace.hpp"

#include <cstdio>
#include <cstdlib>

namespace FuzzSupport {

/// Drops every log line below an error, and the errors too: a refused input is logged, and formatting the
/// lines is all a long run would do.
inline void silenceLogs() {
    static bool const silenced = [] {
        Cobalt::Trace::setMaximumLevel(Cobalt::Trace::LEVEL_ERROR);
        Cobalt::Trace::setSink([](Cobalt::Trace::Level, char const*) {});
        return true;
    }();
    static_cast<void>(silenced);
}

/// Aborts, naming `what`, unless it holds: the fuzzer then keeps the input.
inline void expect(bool holds, char const* what) {
    if (!holds) {
        std::fprintf(stderr, "broken: %s\n", what);
        std::abort();
    }
}

} // namespace FuzzSupport
