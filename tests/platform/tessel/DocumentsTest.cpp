// A client's list of the server's documents, kept true by a live in-process server.

#include "tests/support/LiveSites.hpp"

#include "canvas/Note.hpp"
#include "platform/tessel/DocumentInfo.hpp"
#include "platform/tessel/Documents.hpp"
#include "platform/tessel/NodeTransaction.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using TestSupport::LiveSites;

namespace {

Tessel::Documents& documentsOf(LiveSites::Site const& site) {
    return *site.connection->documents();
}

std::shared_ptr<Tessel::DocumentInfo> infoAt(LiveSites::Site const& site, QByteArray const& id = "canvas") {
    return documentsOf(site).findDocumentInfoById(id);
}

/// Records the ids that the node events "document-added" and "document-removed" of a site carry.
struct Announcements {
    Announcements(LiveSites::Site const& site) : m_owner(std::make_unique<Basalt::Node>()) {
        for (auto const& entry :
             {std::make_pair("document-added", &added), std::make_pair("document-removed", &removed)}) {
            std::vector<QByteArray>* const ids = entry.second;
            documentsOf(site).eventAddListenerBd(
                entry.first, m_owner.get(),
                [ids](Cobalt::BinaryData& data) {
                    QByteArray id;
                    ids->push_back(data.readString(id) ? id : QByteArray("(no id)"));
                },
                Basalt::Node::LISTENER_DIRECT);
        }
    }
    std::vector<QByteArray> added;
    std::vector<QByteArray> removed;

private:
    std::unique_ptr<Basalt::Node> m_owner;
};

void addNote(LiveSites& sites, LiveSites::Site& site) {
    Tessel::NodeTransaction transaction(*site.document);
    transaction.addNode(*new Datamodel::Note(), site.canvas());
    transaction.commit();
    sites.deliver();
}

} // namespace

TEST(Documents, AClientThatJoinsLearnsEveryDocumentTheServerHolds) {
    LiveSites sites;
    Cobalt::TimeStamp const before = Cobalt::TimeStamp::currentTime();
    sites.join("a", "first");
    sites.join("b", "second");
    auto& c = sites.connect("c");

    EXPECT_EQ(documentsOf(c).documentIds(), (std::vector<QByteArray>{"first", "second"}));
    auto const info = infoAt(c, "first");
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->documentName(), QStringLiteral("first")) << "a document is named by its id at first";
    EXPECT_EQ(info->documentState(), Tessel::DOCUMENT_STATE_REGULAR);
    EXPECT_FALSE(info->hasMainPassword());
    EXPECT_FALSE(info->hasAccessPassword());
    EXPECT_EQ(info->size(), static_cast<unsigned long>(sites.serverDocument("first")->persistentNodeCount()));
    EXPECT_GE(info->createdTimestamp().ticks(), before.ticks());
    EXPECT_EQ(info->modifiedTimestamp().ticks(), info->createdTimestamp().ticks());
    EXPECT_EQ(infoAt(c, "unknown"), nullptr) << "a document the server doesn't hold has no information";
}

TEST(Documents, ADocumentThatOpensLaterIsAnnouncedToEveryClientWithItsId) {
    LiveSites sites;
    auto& a = sites.join("a");
    Announcements heard(a);

    sites.join("b", "later");

    EXPECT_EQ(heard.added, std::vector<QByteArray>{"later"});
    EXPECT_NE(infoAt(a, "later"), nullptr);
    EXPECT_TRUE(heard.removed.empty());
}

TEST(Documents, AValueTheServerWritesReachesEveryClientOnce) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.connect("b");
    int heard = 0;
    infoAt(b)->attribute("document-name")->addListener([&] { ++heard; }, Basalt::Attribute::ROLE_CHANGE);

    auto const info = sites.server()->documentInfo("canvas");
    info->nameAttribute = QStringLiteral("Planning");
    info->stateAttribute = Tessel::DOCUMENT_STATE_DEMO;
    info->mainPasswordAttribute = true;
    sites.deliver();

    for (auto* site : {&a, &b}) {
        EXPECT_EQ(infoAt(*site)->documentName(), QStringLiteral("Planning"));
        EXPECT_EQ(infoAt(*site)->documentState(), Tessel::DOCUMENT_STATE_DEMO);
        EXPECT_TRUE(infoAt(*site)->hasMainPassword());
        EXPECT_FALSE(infoAt(*site)->hasAccessPassword());
    }
    EXPECT_EQ(heard, 1) << "a client's listener hears one change of the name";
    EXPECT_TRUE(infoAt(b)->nameAttribute.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER))
        << "values land on the user layer";
}

TEST(Documents, AClientsChangeOfTheTreeUpdatesSizeAndModified) {
    LiveSites sites;
    auto& a = sites.join("a");
    unsigned long const sizeBefore = infoAt(a)->size();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));

    addNote(sites, a);

    EXPECT_EQ(infoAt(a)->size(), sizeBefore + 1);
    EXPECT_GT(infoAt(a)->modifiedTimestamp().ticks(), infoAt(a)->createdTimestamp().ticks())
        << "a node added moves the modified time at once";
}

// Values may change thousands of times a second: the modified time follows them to within a second.
TEST(Documents, ValueChangesMoveModifiedAtMostOnceASecond) {
    LiveSites sites;
    auto& a = sites.join("a");
    addNote(sites, a);
    auto* note = dynamic_cast<Datamodel::Note*>(a.canvas().attributes().back().second);
    ASSERT_NE(note, nullptr);
    Cobalt::TimeStamp const noted = infoAt(a)->modifiedTimestamp();

    note->text = QStringLiteral("soon after");
    sites.deliver();
    EXPECT_EQ(infoAt(a)->modifiedTimestamp().ticks(), noted.ticks())
        << "within a second of the last noted change";

    std::this_thread::sleep_for(std::chrono::milliseconds(1050));
    note->text = QStringLiteral("a second later");
    sites.deliver();
    EXPECT_GE(infoAt(a)->modifiedTimestamp().ticks() - noted.ticks(), Cobalt::TimeStamp::ticksPerSecond());
}

TEST(Documents, AClientJoiningChangesTheTransientTreeOnlyAndMovesNothing) {
    LiveSites sites;
    auto& a = sites.join("a");
    unsigned long const size = infoAt(a)->size();
    sites.join("b");
    EXPECT_EQ(infoAt(a)->size(), size) << "the transient tree doesn't count";
}

TEST(Documents, ARemovedDocumentIsGoneForEveryClientAndStopsSharingWhereItWasOpen) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.connect("b");
    Announcements heardAtA(a);
    Announcements heardAtB(b);

    EXPECT_TRUE(sites.server()->removeDocument("canvas"));
    sites.deliver();

    for (auto* heard : {&heardAtA, &heardAtB}) {
        EXPECT_EQ(heard->removed, std::vector<QByteArray>{"canvas"});
    }
    EXPECT_EQ(infoAt(b), nullptr);
    EXPECT_FALSE(a.document->isLive()) << "the client that had it open lost it";
    EXPECT_EQ(sites.serverDocument(), nullptr);
    EXPECT_FALSE(sites.server()->removeDocument("canvas")) << "the server no longer holds it";
    EXPECT_EQ(heardAtB.removed.size(), 1u);
}
