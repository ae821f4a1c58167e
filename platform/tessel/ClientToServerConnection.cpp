#include "platform/tessel/ClientToServerConnection.hpp"

namespace Tessel {

ClientToServerConnection::ClientToServerConnection(Announcement announcement, folly::Executor* idleExecutor)
    : m_announcement(std::move(announcement)), m_idleExecutor(idleExecutor) {}

Cobalt::TimeStamp ClientToServerConnection::currentServerTime() const {
    return Cobalt::TimeStamp(Cobalt::TimeStamp::currentTime().ticks() + m_announcement.serverTimeOffset);
}

} // namespace Tessel
