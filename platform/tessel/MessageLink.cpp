#include "platform/tessel/MessageLink.hpp"

#include <array>
#include <mutex>

namespace Tessel {

MessageLink::~MessageLink() = default;

namespace {

/// What both ends of an in-process link share.
struct Channel {
    struct Side {
        folly::Executor::KeepAlive<> executor;
        MessageLink::FrameHandler onFrame;
        MessageLink::CloseHandler onClosed;
    };

    std::mutex mutex;
    bool open = true;
    std::array<Side, 2> sides;

    bool isOpen() {
        std::lock_guard<std::mutex> lock(mutex);
        return open;
    }
};

class InProcessEnd final : public MessageLink {
public:
    InProcessEnd(std::shared_ptr<Channel> channel, int side) : m_channel(std::move(channel)), m_side(side) {}
    ~InProcessEnd() override { close(); }

    void setHandlers(FrameHandler onFrame, CloseHandler onClosed) override {
        std::lock_guard<std::mutex> lock(m_channel->mutex);
        m_channel->sides[m_side].onFrame = std::move(onFrame);
        m_channel->sides[m_side].onClosed = std::move(onClosed);
    }

    void send(QByteArray frame) override {
        if (!m_channel->isOpen()) {
            return;
        }
        int const receiver = 1 - m_side;
        std::shared_ptr<Channel> channel = m_channel;
        channel->sides[receiver].executor->add([channel, receiver, frame = std::move(frame)] {
            FrameHandler handler;
            {
                std::lock_guard<std::mutex> lock(channel->mutex);
                if (!channel->open) {
                    return;
                }
                handler = channel->sides[receiver].onFrame;
            }
            if (handler) {
                handler(frame);
            }
        });
    }

    void close() override {
        {
            std::lock_guard<std::mutex> lock(m_channel->mutex);
            if (!m_channel->open) {
                return;
            }
            m_channel->open = false;
        }
        for (int side = 0; side < 2; ++side) {
            std::shared_ptr<Channel> channel = m_channel;
            channel->sides[side].executor->add([channel, side] {
                CloseHandler handler;
                {
                    std::lock_guard<std::mutex> lock(channel->mutex);
                    handler = std::move(channel->sides[side].onClosed);
                    channel->sides[side].onFrame = nullptr;
                }
                if (handler) {
                    handler();
                }
            });
        }
    }

    bool isOpen() const override { return m_channel->isOpen(); }

private:
    std::shared_ptr<Channel> m_channel;
    int m_side;
};

} // namespace

InProcessTransport::Ends InProcessTransport::createPair(folly::Executor::KeepAlive<> firstExecutor,
                                                        folly::Executor::KeepAlive<> secondExecutor) {
    auto channel = std::make_shared<Channel>();
    channel->sides[0].executor = std::move(firstExecutor);
    channel->sides[1].executor = std::move(secondExecutor);
    return {std::make_shared<InProcessEnd>(channel, 0), std::make_shared<InProcessEnd>(channel, 1)};
}

} // namespace Tessel
