#include "platform/cobalt/TraceCapture.hpp"

#include <utility>

namespace Cobalt {

TraceCapture::TraceCapture(Trace::Level level) {
    m_previous = Trace::setSink([this, level](Trace::Level messageLevel, char const* message) {
        if (messageLevel <= level) {
            m_messages << QString::fromUtf8(message);
        } else if (m_previous) {
            m_previous(messageLevel, message);
        }
    });
}

TraceCapture::~TraceCapture() {
    Trace::setSink(std::move(m_previous));
}

} // namespace Cobalt
