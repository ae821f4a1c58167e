#pragma once

#include "folly/Executor.h"

#include <QByteArray>

#include <functional>
#include <memory>
#include <utility>

namespace Tessel {

/// One end of a link that carries frames (see WireFormat.hpp) between a client and a server. Whatever
/// carries them, both ends only ever see bytes: they share no memory.
///
/// The handlers run on the executor of this end, one at a time, in the order the frames were sent.
/// Thread safe: `send` and `close` may be called from any thread.
class MessageLink {
public:
    using FrameHandler = std::function<void(QByteArray const& frame)>;
    using CloseHandler = std::function<void()>;

    virtual ~MessageLink();

    /// Sets what happens with the frames that arrive at this end and when the link closes. Call before the
    /// other end sends; frames that arrive with no handler are dropped.
    virtual void setHandlers(FrameHandler onFrame, CloseHandler onClosed) = 0;
    /// Sends a frame to the other end; nothing once the link is closed.
    virtual void send(QByteArray frame) = 0;
    /// Closes the link for both ends: frames not yet delivered are dropped, and each end's close handler
    /// runs once, on its executor.
    virtual void close() = 0;
    virtual bool isOpen() const = 0;
};

/// Links in one process: each frame is a copy of the bytes, handed to the receiving end's executor.
class InProcessTransport {
public:
    using Ends = std::pair<std::shared_ptr<MessageLink>, std::shared_ptr<MessageLink>>;
    /// Two connected ends; frames to the first run on `firstExecutor`, frames to the second on
    /// `secondExecutor`. Both executors must outlive the links' traffic.
    static Ends createPair(folly::Executor::KeepAlive<> firstExecutor,
                           folly::Executor::KeepAlive<> secondExecutor);
};

} // namespace Tessel
