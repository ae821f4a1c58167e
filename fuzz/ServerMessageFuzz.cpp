// A server reads frames from every client, and any client may send anything: whatever bytes arrive as one
// frame, the server applies them or refuses them whole, never crashes, and goes on serving the others.
// Input: one frame, sent as it is by a raw client that has greeted the server and opened the canvas, next
// to a real client that holds a note. The guid stand-in of ServerMessage.hpp names the canvas root.

#include "fuzz/FuzzChecks.hpp"
#include "fuzz/ServerMessage.hpp"
#include "tests/support/RawClient.hpp"

#include "canvas/Note.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerNode.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

// Inputs may add nodes and open documents that the server keeps; a fresh world after this many inputs, or
// this many nodes, keeps the memory of a long run flat.
constexpr int inputsPerWorld = 2000;
constexpr int nodesPerWorld = 5000;

/// A server with a real client and a raw one in the canvas; built once and kept across inputs.
class World {
public:
    World() : m_writer(m_sites.join("writer")), m_raw(m_sites) {
        auto* note = new Datamodel::Note();
        note->setGuid(FuzzSupport::fuzzNoteGuid);
        note->setName(FuzzSupport::fuzzNoteGuid);
        note->text = QStringLiteral("fuzzed");
        Tessel::NodeTransaction transaction(*m_writer.document);
        transaction.addNode(*note, m_writer.canvas());
        auto committed = transaction.commit();
        m_sites.deliver();
        FuzzSupport::expect(committed.hasValue(), "the server takes the note");
        m_rootGuid = m_sites.serverDocument()->rootNode()->guid();
    }

    /// Whether the world has served long enough to be replaced.
    bool isWorn() const {
        return m_inputs >= inputsPerWorld || m_sites.serverDocument()->nodeCount() > nodesPerWorld;
    }

    void feed(QByteArray frame) {
        ++m_inputs;
        frame.replace(FuzzSupport::rootGuidStandIn, m_rootGuid);
        // The input before may have closed the canvas for the raw client; opening again is a no-op otherwise.
        m_raw.sendBytes(TestSupport::openCanvasFrame());
        m_raw.sendBytes(frame);
        m_raw.clearReceived();
    }

    /// Aborts unless a write of the real client still reaches the server's document.
    void expectServing() {
        m_writer.canvas().resetColorPresetsRequest = ++m_probes;
        m_sites.deliver();
        auto const root = m_sites.serverDocument()->rootNode();
        auto const probe = root->childAttribute("reset-color-presets-request");
        Tessel::ServerAttributeSimple const* const simple = probe ? probe->simpleAttribute() : nullptr;
        FuzzSupport::expect(simple && simple->asVariant().toInt() == m_probes,
                            "the server still applies a client's write");
    }

private:
    TestSupport::LiveSites m_sites;
    TestSupport::LiveSites::Site& m_writer;
    TestSupport::RawClient m_raw;
    QByteArray m_rootGuid;
    int m_inputs = 0;
    int m_probes = 0;
};

World& world() {
    // Left standing at exit: the clients' per-thread state is gone by the time static objects are destroyed.
    static World* current = nullptr;
    if (!current || current->isWorn()) {
        delete current;
        current = new World();
    }
    return *current;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzSupport::silenceLogs();
    World& live = world();
    live.feed(QByteArray(reinterpret_cast<char const*>(data), static_cast<int>(size)));
    live.expectServing();
    return 0;
}
