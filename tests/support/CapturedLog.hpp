#pragma once

// Takes over the log for as long as it lives, for tests that assert what is logged.

#include "platform/cobalt/Trace.hpp"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

/// Keeps every message logged while it lives, with its level, and gives the previous sink back at the end.
/// Messages may come from any thread.
class CapturedLog {
public:
    using Entry = std::pair<Cobalt::Trace::Level, std::string>;

    CapturedLog() {
        m_previous = Cobalt::Trace::setSink([this](Cobalt::Trace::Level level, char const* message) {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_entries.emplace_back(level, message);
        });
    }
    ~CapturedLog() { Cobalt::Trace::setSink(std::move(m_previous)); }
    CapturedLog(CapturedLog const&) = delete;
    CapturedLog& operator=(CapturedLog const&) = delete;

    /// Everything logged so far, in order.
    std::vector<Entry> entries() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_entries;
    }
    /// The messages at `level` or more severe (errors are the most severe), in order.
    std::vector<std::string> messagesUpTo(Cobalt::Trace::Level level) const {
        std::vector<std::string> messages;
        for (Entry const& entry : entries()) {
            if (entry.first <= level) {
                messages.push_back(entry.second);
            }
        }
        return messages;
    }

private:
    Cobalt::Trace::Sink m_previous;
    mutable std::mutex m_mutex;
    std::vector<Entry> m_entries;
};

} // namespace TestSupport
