#pragma once

// A client that speaks the wire format by hand, for what no real client would send: truncated, corrupt or
// hostile frames. It greets the server and opens the canvas "canvas" as it is made.
//
// Usage:
//     TestSupport::LiveSites sites;
//     TestSupport::RawClient raw(sites);
//     raw.sendBytes(TestSupport::transactionFrame({operation}));   // delivered before it returns
//     raw.received();                                              // every frame the server sent back

#include "LiveSites.hpp"

#include "platform/tessel/MessageLink.hpp"
#include "platform/tessel/WireFormat.hpp"

#include <vector>

namespace TestSupport {

/// The id of the transactions that `transactionFrame` makes unless told otherwise.
constexpr std::int64_t rawTransactionId = 7;

/// A Transaction frame of `operations` for the document `documentId`.
inline QByteArray transactionFrame(std::vector<Tessel::Wire::Operation> const& operations,
                                   std::int64_t transactionId = rawTransactionId,
                                   QByteArray const& documentId = "canvas") {
    Cobalt::BinaryData payload;
    payload.writeString(documentId);
    payload.writeInt64(transactionId);
    Tessel::Wire::writeOperations(payload, operations);
    return Tessel::Wire::encodeFrame(Tessel::Wire::MessageKind::Transaction, payload);
}

/// The greeting of a raw client.
inline QByteArray helloFrame(QByteArray const& installation = "raw", QByteArray const& user = "raw-user") {
    Cobalt::BinaryData hello;
    hello.writeString(installation);
    hello.writeString(user);
    hello.writeInt32(0);
    return Tessel::Wire::encodeFrame(Tessel::Wire::MessageKind::Hello, hello);
}

/// The request to open the canvas `documentId`.
inline QByteArray openCanvasFrame(QByteArray const& documentId = "canvas") {
    Cobalt::BinaryData open;
    open.writeString(documentId);
    open.writeString(Datamodel::SharedCanvas::documentType());
    return Tessel::Wire::encodeFrame(Tessel::Wire::MessageKind::OpenDocument, open);
}

/// A raw link to the server of `sites`, greeted, with the canvas "canvas" open. Must not outlive `sites`.
class RawClient {
public:
    explicit RawClient(LiveSites& sites) : m_sites(sites) {
        m_link = sites.server()->connectInProcess(folly::getKeepAliveToken(&m_executor));
        m_link->setHandlers([this](QByteArray const& frame) { m_received.push_back(frame); }, nullptr);
        sendBytes(helloFrame());
        sendBytes(openCanvasFrame());
    }
    ~RawClient() {
        m_link->close();
        m_sites.deliver();
        m_executor.drain();
    }
    RawClient(RawClient const&) = delete;
    RawClient& operator=(RawClient const&) = delete;

    void send(Tessel::Wire::MessageKind kind, Cobalt::BinaryData const& payload) {
        sendBytes(Tessel::Wire::encodeFrame(kind, payload));
    }
    /// Sends `bytes` as one frame and delivers everything that follows from it.
    void sendBytes(QByteArray const& bytes) {
        m_link->send(bytes);
        m_sites.deliver();
        m_executor.drain();
    }
    /// A transaction of one operation.
    void sendOperation(Tessel::Wire::Operation const& operation) { sendBytes(transactionFrame({operation})); }
    std::vector<QByteArray> const& received() const { return m_received; }
    void clearReceived() { m_received.clear(); }

private:
    LiveSites& m_sites;
    ManualExecutor m_executor;
    std::shared_ptr<Tessel::MessageLink> m_link;
    std::vector<QByteArray> m_received;
};

} // namespace TestSupport
