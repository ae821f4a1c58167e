#include "platform/cobalt/Trace.hpp"

#include <QByteArray>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace Cobalt {

namespace {

void writeToStandardError(Trace::Level level, char const* message) {
    std::fprintf(stderr, "[%s] %s\n", Trace::levelName(level), message);
}

struct SinkState {
    std::mutex mutex;
    Trace::Sink sink = writeToStandardError;
    std::atomic<int> maximumLevel{Trace::LEVEL_INFO};
};

SinkState& sinkState() {
    static SinkState state;
    return state;
}

void emit(Trace::Level level, char const* format, va_list arguments) {
    SinkState& state = sinkState();
    if (level > state.maximumLevel.load(std::memory_order_relaxed)) {
        return;
    }
    va_list measuring;
    va_copy(measuring, arguments);
    int const length = std::vsnprintf(nullptr, 0, format, measuring);
    va_end(measuring);
    QByteArray message(length > 0 ? length : 0, '\0');
    std::vsnprintf(message.data(), static_cast<std::size_t>(message.size()) + 1, format, arguments);
    std::lock_guard<std::mutex> lock(state.mutex);
    state.sink(level, message.constData());
}

} // namespace

#define COBALT_TRACE_FORWARD(level)                                                                          \
    va_list arguments;                                                                                       \
    va_start(arguments, format);                                                                             \
    emit(level, format, arguments);                                                                          \
    va_end(arguments)

void Trace::error(char const* format, ...) {
    COBALT_TRACE_FORWARD(LEVEL_ERROR);
}
void Trace::warning(char const* format, ...) {
    COBALT_TRACE_FORWARD(LEVEL_WARNING);
}
void Trace::info(char const* format, ...) {
    COBALT_TRACE_FORWARD(LEVEL_INFO);
}
void Trace::debug(char const* format, ...) {
    COBALT_TRACE_FORWARD(LEVEL_DEBUG);
}

#undef COBALT_TRACE_FORWARD

Trace::Sink Trace::setSink(Sink sink) {
    SinkState& state = sinkState();
    std::lock_guard<std::mutex> lock(state.mutex);
    Sink previous = std::move(state.sink);
    state.sink = sink ? std::move(sink) : Sink(writeToStandardError);
    return previous;
}

void Trace::setMaximumLevel(Level level) {
    sinkState().maximumLevel.store(level, std::memory_order_relaxed);
}

char const* Trace::levelName(Level level) {
    switch (level) {
    case LEVEL_ERROR:
        return "error";
    case LEVEL_WARNING:
        return "warning";
    case LEVEL_INFO:
        return "info";
    case LEVEL_DEBUG:
        return "debug";
    }
    return "unknown";
}

} // namespace Cobalt
