#pragma once

#include <functional>

namespace Cobalt {

/// Logging of the whole system. Messages read "Class::operation # text" and use printf-style formats.
///
/// Every message goes to one process-wide sink; the default sink writes to standard error. Tests install
/// their own sink to capture what was logged. All functions are safe to call from any thread and never fail.
class Trace {
public:
    enum Level { LEVEL_ERROR = 0, LEVEL_WARNING = 1, LEVEL_INFO = 2, LEVEL_DEBUG = 3 };

    /// Receives one formatted message. Called on the thread that logged, under the sink lock.
    using Sink = std::function<void(Level, char const* message)>;

    static void error(char const* format, ...) __attribute__((format(printf, 1, 2)));
    static void warning(char const* format, ...) __attribute__((format(printf, 1, 2)));
    static void info(char const* format, ...) __attribute__((format(printf, 1, 2)));
    static void debug(char const* format, ...) __attribute__((format(printf, 1, 2)));

    /// Replaces the sink and returns the previous one. An empty sink restores the default.
    static Sink setSink(Sink sink);

    /// Messages above this level are dropped before formatting. The default is LEVEL_INFO.
    static void setMaximumLevel(Level level);

    /// The text of a level as the default sink prints it ("error", "warning", "info", "debug").
    static char const* levelName(Level level);
};

} // namespace Cobalt
