#pragma once

#include "platform/cobalt/TimeStamp.hpp"
#include "platform/cobalt/VersionString.hpp"

#include "folly/Executor.h"

#include <atomic>
#include <cstdint>

namespace Tessel {

/// A client's link to one server, with what the server announced when the client joined: its version, the
/// user this client acts for and the identifier of this connection. Server time is the local clock
/// corrected by the offset the server reported.
class ClientToServerConnection {
public:
    /// What a server announces to a client that joins.
    struct Announcement {
        Cobalt::VersionString serverVersion;
        /// The user this client acts for: above 0 for a known user, 0 for none.
        unsigned userId = 0;
        /// This connection's number among the server's connections.
        unsigned connectionId = 0;
        /// Server time minus local time, in ticks of `Cobalt::TimeStamp`.
        std::int64_t serverTimeOffset = 0;
    };

    /// `idleExecutor` runs work when the client has nothing else to do; it must outlive the connection.
    ClientToServerConnection(Announcement announcement, folly::Executor* idleExecutor);

    Cobalt::VersionString const& serverVersion() const { return m_announcement.serverVersion; }
    /// The user this client acts for; 0 when the server named none.
    unsigned userId() const { return m_announcement.userId; }
    unsigned connectionId() const { return m_announcement.connectionId; }
    /// The server's clock now.
    Cobalt::TimeStamp currentServerTime() const;
    folly::Executor::KeepAlive<> idleExecutor() const { return folly::getKeepAliveToken(m_idleExecutor); }

private:
    Announcement m_announcement;
    folly::Executor* m_idleExecutor;
};

} // namespace Tessel
