// The auto-pin operator on a live canvas: a real server document with clients connected, and its timer on a
// Qt event loop. Times are milliseconds since the canvas was loaded; the bounds leave room for a loaded
// machine.

#include "tests/support/CapturedLog.hpp"
#include "tests/support/OperatorSites.hpp"

#include "attributes/AttributeTuple.hpp"
#include "canvas/Note.hpp"
#include "operators/AutoPinServerOperator.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/Uuid.hpp"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

using Datamodel::AutoPinServerDocumentOperator;
using TestSupport::LiveSites;
using TestSupport::OperatorSites;
using TestSupport::StoredTree;

namespace {

/// Whether the server node holds "pinned" true.
bool pinnedOnServer(Tessel::ServerNode const& node) {
    std::shared_ptr<Tessel::ServerAttribute> const attribute = node.childAttribute("pinned");
    Tessel::ServerAttributeSimple* const simple = attribute ? attribute->simpleAttribute() : nullptr;
    return simple && simple->asVariant().toBool();
}

/// A server attribute "location" as a client's item stores it.
std::shared_ptr<Tessel::ServerAttributeSimple> locationAttribute(Tessel::ServerDocument& document, float x,
                                                                 float y) {
    Basalt::AttributeLocation2f temporary(nullptr, "location");
    temporary = Fathom::Vector2T<float>(x, y);
    return Tessel::ServerAttributeSimple::createAttr(&document, "location", temporary);
}

/// The element of guid `guid` as a client holds it; throws `std::runtime_error` when the client has no such
/// E.
template <typename E = Datamodel::CanvasItem>
E& itemAt(LiveSites::Site& site, QByteArray const& guid) {
    auto* const element = dynamic_cast<E*>(site.document->findSharedElement(guid));
    if (!element) {
        throw std::runtime_error("the client holds no such element " + guid.toStdString());
    }
    return *element;
}

/// A stored note directly under the root.
std::shared_ptr<Tessel::ServerNode> addNote(StoredTree& tree, QByteArray const& name) {
    return tree.add(tree.root(), name, "tavola_note");
}

} // namespace

/// A live canvas whose auto-pin timer runs on this thread's Qt event loop, with a clock that starts when the
/// canvas is loaded.
class AutoPinOperator : public ::testing::Test {
protected:
    /// Opens the stored canvas that `fill` builds on a server that pins after `seconds`, and starts the
    /// clock.
    OperatorSites& load(float seconds, std::function<void(StoredTree&)> const& fill) {
        m_sites.reset();
        m_sites = std::make_unique<OperatorSites>(seconds);
        m_clock.start();
        m_sites->openStored(fill);
        return *m_sites;
    }

    /// The canvas's auto-pin operator; throws `std::runtime_error` when it has none.
    AutoPinServerDocumentOperator& autoPin() const {
        std::shared_ptr<AutoPinServerDocumentOperator> const op =
            m_sites->serverOperator<AutoPinServerDocumentOperator>();
        if (!op) {
            throw std::runtime_error("the canvas has no auto-pin operator");
        }
        return *op;
    }
    /// The server's node of guid `guid`; throws `std::runtime_error` when there is none.
    Tessel::ServerNode& serverNode(QByteArray const& guid) const {
        std::shared_ptr<Tessel::ServerNode> const node = m_sites->serverDocument()->findNode(guid);
        if (!node) {
            throw std::runtime_error("the server holds no node " + guid.toStdString());
        }
        return *node;
    }
    qint64 now() const { return m_clock.elapsed(); }

    /// Runs the event loop and every site until `done` holds or the clock reaches `limit`; the time when
    /// `done` first held, or -1.
    qint64 runUntil(qint64 limit, std::function<bool()> const& done) {
        for (;;) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            m_sites->deliver();
            qint64 const at = now();
            if (done && done()) {
                return at;
            }
            if (at >= limit) {
                return -1;
            }
            // Not a busy loop: the machine is shared.
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    /// Runs the event loop and every site until the clock reaches `time`.
    void runUntil(qint64 time) { runUntil(time, nullptr); }
    /// Runs until the server holds the node pinned; the time it was first seen pinned, or -1 by `limit`.
    qint64 runUntilPinned(QByteArray const& guid, qint64 limit) {
        return runUntil(limit, [&] {
            std::shared_ptr<Tessel::ServerNode> const node = m_sites->serverDocument()->findNode(guid);
            return node && pinnedOnServer(*node);
        });
    }

    /// The 60-second case scaled to 10 ms a second: a wait of 600 ms, a client's move at 500 ms, and the pin
    /// no sooner than a whole wait after the move. `storedLocation` says whether the item had a location.
    void expectAMoveAt500DelaysThePin(bool storedLocation) {
        QByteArray note;
        auto& sites = load(0.6f, [&](StoredTree& tree) {
            auto const node = addNote(tree, "note");
            if (storedLocation) {
                node->addChildAttribute(locationAttribute(tree.document(), 10.0f, 20.0f), false);
            }
            note = node->guid();
        });
        auto& a = sites.join("a");
        auto& b = sites.join("b");
        runUntil(500);

        itemAt(a, note).location = Fathom::Vector2T<float>(50.0f, 60.0f);
        sites.deliver();
        qint64 const movedAt = now();
        ASSERT_LT(movedAt, 600) << "the move must come inside the first wait for this test to mean anything";
        EXPECT_FALSE(pinnedOnServer(serverNode(note))) << "nothing is pinned before the first wait ends";
        qint64 const pinnedAt = runUntilPinned(note, 4000);

        ASSERT_NE(pinnedAt, -1) << "the moved item is pinned in the end";
        EXPECT_GE(pinnedAt, movedAt + 570) << "a move starts the whole wait anew";
        sites.deliver();
        EXPECT_TRUE(itemAt(b, note).pinned.value()) << "the other client sees the late pin";
    }

private:
    int m_argc = 0;
    // First in, last out: the operators' timers die before the event loop they run on.
    QCoreApplication m_application{m_argc, nullptr};
    QElapsedTimer m_clock;
    std::unique_ptr<OperatorSites> m_sites;
};

TEST_F(AutoPinOperator, AStillCanvasIsPinnedAfterTheWaitAndBothClientsSeeIt) {
    QByteArray first;
    QByteArray second;
    auto& sites = load(0.2f, [&](StoredTree& tree) {
        first = addNote(tree, "first")->guid();
        second = addNote(tree, "second")->guid();
    });
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    ASSERT_NE(sites.serverOperator<AutoPinServerDocumentOperator>(), nullptr)
        << "a positive time gives the canvas an auto-pin operator";

    qint64 const pinnedAt = runUntilPinned(first, 3000);

    ASSERT_NE(pinnedAt, -1) << "a canvas left alone is pinned";
    EXPECT_GE(pinnedAt, 190) << "nothing is pinned before the wait is over";
    EXPECT_TRUE(pinnedOnServer(serverNode(second))) << "one walk pins every item";
    for (LiveSites::Site* site : {&a, &b}) {
        for (QByteArray const& guid : {first, second}) {
            EXPECT_TRUE(itemAt(*site, guid).pinned.value()) << "every client sees the pin";
        }
    }
}

TEST_F(AutoPinOperator, WithoutAPositiveTimeTheCanvasHasNoAutoPinOperatorAndNothingIsPinned) {
    for (float const seconds : {0.0f, -1.0f}) {
        QByteArray note;
        auto& sites = load(seconds, [&](StoredTree& tree) { note = addNote(tree, "note")->guid(); });
        auto& a = sites.join("a");

        EXPECT_EQ(sites.serverOperator<AutoPinServerDocumentOperator>(), nullptr)
            << "auto-pin is off for " << seconds << " seconds";
        EXPECT_EQ(sites.serverDocument()->operators().size(), 3u)
            << "the other three canvas operators are there for " << seconds << " seconds";
        runUntil(300);
        EXPECT_FALSE(pinnedOnServer(serverNode(note))) << "nothing pins with " << seconds << " seconds";
        EXPECT_FALSE(itemAt(a, note).pinned.value()) << "clients see no pin with " << seconds << " seconds";
    }
}

// With a minute's wait, an item moved at second 50 is pinned at second 110, not 60. Scaled to 10 ms a
// second: the wait is 600 ms, the move comes at 500 ms and the pin at 1100 ms.
TEST_F(AutoPinOperator, AMoveDuringTheWaitDelaysThePinByAFullInterval) {
    expectAMoveAt500DelaysThePin(true);
}

// A client shares only what it wrote, so an item that never moved has no stored location: its first move
// creates the attribute on the server, and is a move all the same.
TEST_F(AutoPinOperator, TheFirstMoveOfAnItemWithoutAStoredLocationDelaysThePinToo) {
    expectAMoveAt500DelaysThePin(false);
}

// The walk sets "pinned" on items that already hold it, which is a watched change like any other.
TEST_F(AutoPinOperator, ThePinWalksOwnWritesDoNotStartTheWaitAgain) {
    QByteArray first;
    QByteArray second;
    load(0.2f, [&](StoredTree& tree) {
        auto const one = addNote(tree, "first");
        auto const two = addNote(tree, "second");
        tree.set<bool>(*one, "pinned", false);
        tree.set<bool>(*two, "pinned", false);
        first = one->guid();
        second = two->guid();
    });
    EXPECT_TRUE(autoPin().isCounting()) << "the wait runs from the load";

    ASSERT_NE(runUntilPinned(second, 3000), -1) << "the walk ran";

    EXPECT_TRUE(pinnedOnServer(serverNode(first))) << "one walk pins every item";
    EXPECT_FALSE(autoPin().isCounting()) << "after a walk the timer waits for the next touch";
}

TEST_F(AutoPinOperator, AnItemUnpinnedByHandIsPinnedAgainAfterTheWait) {
    QByteArray note;
    auto& sites = load(0.2f, [&](StoredTree& tree) { note = addNote(tree, "note")->guid(); });
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    ASSERT_NE(runUntilPinned(note, 3000), -1) << "the first walk ran";
    sites.deliver();
    ASSERT_TRUE(itemAt(a, note).pinned.value()) << "the client sees the first pin";

    itemAt(a, note).pinned = false;
    sites.deliver();
    qint64 const unpinnedAt = now();

    EXPECT_FALSE(pinnedOnServer(serverNode(note))) << "the server took the unpin";
    EXPECT_FALSE(itemAt(b, note).pinned.value()) << "the other client sees the unpin";
    EXPECT_TRUE(autoPin().isCounting()) << "an unpin is a touch and starts the wait";
    qint64 const pinnedAgainAt = runUntilPinned(note, unpinnedAt + 3000);
    ASSERT_NE(pinnedAgainAt, -1) << "the unpinned item is pinned again";
    EXPECT_GE(pinnedAgainAt, unpinnedAt + 190) << "not before a whole wait";
    sites.deliver();
    EXPECT_TRUE(itemAt(a, note).pinned.value()) << "the client that unpinned sees the new pin";
    EXPECT_TRUE(itemAt(b, note).pinned.value()) << "the other client sees the new pin";
}

TEST_F(AutoPinOperator, ANoteInATableCellAndItsChildStayUnpinnedWhileTheTableIsPinned) {
    QByteArray table;
    QByteArray inCell;
    QByteArray belowThat;
    auto& sites = load(0.2f, [&](StoredTree& tree) {
        auto const tableNode = tree.add(tree.root(), "table", "tavola_table");
        // A table names its cells by fresh guids; "cell-index" places them.
        auto const cell = tree.add(*tableNode, Tessel::generateUuid(), "tavola_table_cell");
        tree.set<Fathom::Vector2T<int>>(*cell, "cell-index", Fathom::Vector2T<int>(0, 0));
        auto const note = tree.add(*cell, "note-in-cell", "tavola_note");
        auto const child = tree.add(*note, "note-below", "tavola_note");
        table = tableNode->guid();
        inCell = note->guid();
        belowThat = child->guid();
    });
    auto& a = sites.join("a");

    ASSERT_NE(runUntilPinned(table, 3000), -1) << "a table is pinned like any item";

    EXPECT_FALSE(pinnedOnServer(serverNode(inCell))) << "an item in a table cell is never pinned";
    EXPECT_FALSE(pinnedOnServer(serverNode(belowThat))) << "nor is an item below such an item";
    sites.deliver();
    EXPECT_TRUE(itemAt(a, table).pinned.value()) << "clients see the table pinned";
    EXPECT_FALSE(itemAt(a, inCell).pinned.value()) << "clients see the item in the cell unpinned";
    EXPECT_FALSE(itemAt(a, belowThat).pinned.value()) << "clients see the item below it unpinned";
}

TEST_F(AutoPinOperator, TheRootIsNeverPinned) {
    QByteArray note;
    auto& sites = load(0.2f, [&](StoredTree& tree) { note = addNote(tree, "note")->guid(); });
    std::shared_ptr<Tessel::ServerNode> const root = sites.serverDocument()->rootNode();

    EXPECT_FALSE(AutoPinServerDocumentOperator::isAutoPinnable(root)) << "the root is no item to pin";
    ASSERT_NE(runUntilPinned(note, 3000), -1) << "the walk ran";
    EXPECT_FALSE(pinnedOnServer(*root)) << "the walk passes over the root";
}

TEST_F(AutoPinOperator, AChangeOfAnUnwatchedAttributeDoesNotDelayThePin) {
    QByteArray note;
    auto& sites = load(1.0f, [&](StoredTree& tree) {
        auto const node = addNote(tree, "note");
        tree.set<QString>(*node, "text", QStringLiteral("before"));
        note = node->guid();
    });
    auto& a = sites.join("a");
    runUntil(600);

    itemAt<Datamodel::Note>(a, note).text = QStringLiteral("after");
    sites.deliver();
    ASSERT_EQ(TestSupport::storedValue<QString>(serverNode(note), "text"), QStringLiteral("after"))
        << "the server took the text";
    qint64 const pinnedAt = runUntilPinned(note, 4000);

    ASSERT_NE(pinnedAt, -1) << "the canvas is pinned in the end";
    EXPECT_LT(pinnedAt, 1350) << "a text change is no touch: the pin comes at 1000 ms, not at 1600 ms";
}

TEST_F(AutoPinOperator, ANewChildIsATouchEvenBeforeItsAttributesCome) {
    QByteArray stored;
    auto& sites = load(0.6f, [&](StoredTree& tree) { stored = addNote(tree, "stored")->guid(); });
    runUntil(400);

    // Bare, as a node may arrive before its values.
    auto const added = std::make_shared<Tessel::ServerNode>(sites.serverDocument().get());
    added->setName("added");
    added->setTypeKey("tavola_note");
    added->setGuid(Tessel::generateUuid());
    sites.serverDocument()->rootNode()->addChildNode(added, true);
    qint64 const addedAt = now();
    ASSERT_LT(addedAt, 600) << "the node must come inside the first wait for this test to mean anything";
    EXPECT_TRUE(autoPin().isCounting()) << "the wait runs after a new child";
    qint64 const pinnedAt = runUntilPinned(stored, 4000);

    ASSERT_NE(pinnedAt, -1) << "the canvas is pinned in the end";
    EXPECT_GE(pinnedAt, addedAt + 570) << "a new child starts the whole wait anew";
    EXPECT_TRUE(pinnedOnServer(*added)) << "the new child is pinned with the rest";
}

// "location" is a watched name, but its arrival on a node is not a move.
TEST_F(AutoPinOperator, AnAttributeArrivingOnANodeIsNoTouch) {
    QByteArray note;
    auto& sites = load(1.0f, [&](StoredTree& tree) { note = addNote(tree, "note")->guid(); });
    runUntil(600);

    serverNode(note).addChildAttribute(locationAttribute(*sites.serverDocument(), 1.0f, 2.0f), true);
    qint64 const pinnedAt = runUntilPinned(note, 4000);

    ASSERT_NE(pinnedAt, -1) << "the canvas is pinned in the end";
    EXPECT_LT(pinnedAt, 1350) << "the wait goes on: the pin comes at 1000 ms, not at 1600 ms";
}

// A stored item whose "pinned" is a list can't be pinned: the walk stops there with one logged error, and
// nothing leaves the operator.
TEST_F(AutoPinOperator, AWalkThatMeetsAPinnedListStopsThereAndLogsTheFailure) {
    TestSupport::CapturedLog log;
    QByteArray before;
    QByteArray broken;
    load(0.2f, [&](StoredTree& tree) {
        before = addNote(tree, "a-before")->guid();
        auto const node = addNote(tree, "b-broken");
        node->addChildAttribute(
            std::make_shared<Tessel::ServerAttributeVectorContainer>(&tree.document(), "pinned", 0x1000001u),
            false);
        broken = node->guid();
    });

    ASSERT_NE(runUntilPinned(before, 3000), -1) << "the walk pinned what it met first";
    runUntil(now() + 100);

    EXPECT_EQ(serverNode(broken).childAttribute("pinned")->vectorContainer()->count(), 0u)
        << "the list is left as it was";
    EXPECT_EQ(log.messagesUpTo(Cobalt::Trace::LEVEL_ERROR),
              std::vector<std::string>{
                  "AutoPinServerDocumentOperator::timeout # 'pinned' is not a simple attribute"});
    EXPECT_FALSE(autoPin().isCounting()) << "the walk is over";
}
