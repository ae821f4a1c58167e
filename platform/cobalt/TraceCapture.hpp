#pragma once

#include "platform/cobalt/Trace.hpp"

#include <QStringList>

namespace Cobalt {

/// Keeps, for as long as it lives, the messages logged at `level` or more severe, and passes the others on
/// to the sink that was in place; gives that sink back at the end. For tools that report what went wrong
/// during a piece of work. The sink is the process's: use it where one thread logs.
class TraceCapture {
public:
    explicit TraceCapture(Trace::Level level = Trace::LEVEL_WARNING);
    ~TraceCapture();
    TraceCapture(TraceCapture const&) = delete;
    TraceCapture& operator=(TraceCapture const&) = delete;

    /// The messages kept so far, in order.
    QStringList const& messages() const { return m_messages; }
    /// Forgets the messages kept so far.
    void clear() { m_messages.clear(); }

private:
    Trace::Sink m_previous;
    QStringList m_messages;
};

} // namespace Cobalt
