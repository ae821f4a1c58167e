#include "index/CanvasDocumentDb.hpp"

#include "index/CanvasDocument.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

namespace {

using Datamodel::CanvasDocument;
using Datamodel::CanvasDocumentDb;

/// A record in no document: it binds to nothing, so the table holds only what a test puts there.
std::unique_ptr<CanvasDocument> record(QString const& canvasId, QString const& linkPermission = QString()) {
    auto made = std::make_unique<CanvasDocument>();
    made->canvasIdAttribute = canvasId;
    made->linkPermission = linkPermission;
    return made;
}

using Raised = std::vector<std::pair<unsigned, CanvasDocument*>>;

} // namespace

TEST(CanvasDocumentDb, IsOneTableWhileHeldAndAFreshEmptyOneAfterwards) {
    auto const canvas = record(QStringLiteral("canvas-1"));
    {
        std::shared_ptr<CanvasDocumentDb> const first = CanvasDocumentDb::instance();
        std::shared_ptr<CanvasDocumentDb> const second = CanvasDocumentDb::instance();
        ASSERT_NE(first, nullptr);
        EXPECT_EQ(first, second) << "while somebody holds the table, everybody gets the same one";
        first->add(1, canvas.get());
    }
    std::shared_ptr<CanvasDocumentDb> const later = CanvasDocumentDb::instance();
    EXPECT_EQ(later->find(1, "canvas-1"), nullptr) << "once nobody held it, the table starts empty";
}

TEST(CanvasDocumentDb, AddEntersTheRecordBeforeItRaisesOnDocumentAdded) {
    auto const db = CanvasDocumentDb::instance();
    auto const canvas = record(QStringLiteral("canvas-1"));
    Raised raised;
    std::vector<CanvasDocument*> foundWhileRaised;
    db->onDocumentAdded.addListener([&](unsigned connectionId, CanvasDocument* added) {
        raised.emplace_back(connectionId, added);
        foundWhileRaised.push_back(db->find(connectionId, added->canvasId()));
    });
    db->add(4, canvas.get());
    EXPECT_EQ(raised, (Raised{{4, canvas.get()}}));
    EXPECT_EQ(foundWhileRaised, std::vector<CanvasDocument*>{canvas.get()})
        << "listeners find the record they hear of";
    EXPECT_EQ(db->find(4, "canvas-1"), canvas.get());
    EXPECT_EQ(db->find(5, "canvas-1"), nullptr) << "another connection holds no such record";
    EXPECT_EQ(db->find(4, "canvas-2"), nullptr);
}

TEST(CanvasDocumentDb, AddReplacesTheRecordUnderTheSameKey) {
    auto const db = CanvasDocumentDb::instance();
    auto const first = record(QStringLiteral("canvas-1"));
    auto const second = record(QStringLiteral("canvas-1"));
    db->add(1, first.get());
    db->add(1, second.get());
    EXPECT_EQ(db->find(1, "canvas-1"), second.get()) << "the later record takes the place of the earlier";
}

TEST(CanvasDocumentDb, TwoConnectionsHoldRecordsOfOneCanvasApart) {
    auto const db = CanvasDocumentDb::instance();
    auto const atFive = record(QStringLiteral("canvas-1"), QStringLiteral("edit"));
    auto const atThree = record(QStringLiteral("canvas-1"), QStringLiteral("view"));
    db->add(5, atFive.get());
    db->add(3, atThree.get());
    EXPECT_EQ(db->find(5, "canvas-1"), atFive.get());
    EXPECT_EQ(db->find(3, "canvas-1"), atThree.get());
    EXPECT_EQ(db->linkPermission("canvas-1"), Tessel::PERMISSION_VIEW)
        << "the record of the lowest connection id speaks, whatever the order of adding";
}

TEST(CanvasDocumentDb, LinkPermissionReadsTheRecordAsItIsNow) {
    auto const db = CanvasDocumentDb::instance();
    auto const canvas = record(QStringLiteral("canvas-1"), QStringLiteral("view"));
    auto const other = record(QStringLiteral("canvas-2"), QStringLiteral("edit"));
    db->add(2, other.get());
    db->add(7, canvas.get());
    EXPECT_EQ(db->linkPermission("canvas-1"), Tessel::PERMISSION_VIEW)
        << "an entry of another canvas on a lower connection doesn't answer";
    canvas->linkPermission = QStringLiteral("EDIT");
    EXPECT_EQ(db->linkPermission("canvas-1"), Tessel::PERMISSION_EDIT);
    EXPECT_EQ(db->linkPermission("canvas-3"), Tessel::PERMISSION_NONE) << "no record, no grant";
}

TEST(CanvasDocumentDb, RemoveOfARecordThatWasNeverAddedStillRaisesOnDocumentRemoved) {
    auto const db = CanvasDocumentDb::instance();
    auto const canvas = record(QStringLiteral("canvas-1"));
    Raised raised;
    db->onDocumentRemoved.addListener(
        [&](unsigned connectionId, CanvasDocument* removed) { raised.emplace_back(connectionId, removed); });
    db->remove(9, canvas.get());
    EXPECT_EQ(raised, (Raised{{9, canvas.get()}}));
}

TEST(CanvasDocumentDb, RemoveErasesTheEntryUnderTheKeyWhicheverRecordItNames) {
    auto const db = CanvasDocumentDb::instance();
    auto const entered = record(QStringLiteral("canvas-1"));
    auto const namesake = record(QStringLiteral("canvas-1"));
    auto const elsewhere = record(QStringLiteral("canvas-1"));
    db->add(1, entered.get());
    db->add(2, elsewhere.get());
    Raised raised;
    db->onDocumentRemoved.addListener(
        [&](unsigned connectionId, CanvasDocument* removed) { raised.emplace_back(connectionId, removed); });
    db->remove(1, namesake.get());
    EXPECT_EQ(db->find(1, "canvas-1"), nullptr) << "the key decides, not the record";
    EXPECT_EQ(db->find(2, "canvas-1"), elsewhere.get()) << "another connection's entry stays";
    EXPECT_EQ(raised, (Raised{{1, namesake.get()}}));
}

TEST(CanvasDocumentDb, CanvasIdsAreComparedByTheirBytes) {
    auto const db = CanvasDocumentDb::instance();
    auto const lower = record(QStringLiteral("canvas"));
    auto const upper = record(QStringLiteral("Canvas"));
    auto const accented = record(QString::fromUtf8("caf\u00e9"));
    db->add(1, lower.get());
    db->add(1, upper.get());
    db->add(1, accented.get());
    EXPECT_EQ(db->find(1, "canvas"), lower.get());
    EXPECT_EQ(db->find(1, "Canvas"), upper.get()) << "case makes another key";
    EXPECT_EQ(db->find(1, "caf\xc3\xa9"), accented.get()) << "looked up by the UTF-8 of the canvas id";
    EXPECT_EQ(db->find(1, "canva"), nullptr) << "a prefix is another key";
}
