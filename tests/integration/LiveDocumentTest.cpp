// A real in-process server and real clients: every change travels as encoded messages.

#include "tests/support/CapturedLog.hpp"
#include "tests/support/LiveSites.hpp"

#include "canvas/Note.hpp"
#include "canvas/Presentation.hpp"
#include "canvas/RdpConnection.hpp"
#include "media/ImageAsset.hpp"
#include "platform/tessel/ClientRootInfoNode.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "session/Connection.hpp"
#include "session/TransientRoot.hpp"
#include "session/View.hpp"

#include <gtest/gtest.h>

#include <algorithm>

using Datamodel::Note;
using TestSupport::LiveSites;

namespace {

/// Adds a new note under the canvas of `site` in one transaction and returns it.
Note& addNote(LiveSites& sites, LiveSites::Site& site, QString const& text = QStringLiteral("hello")) {
    auto* note = new Note();
    note->text = text;
    Tessel::NodeTransaction transaction(*site.document);
    transaction.addNode(*note, site.canvas());
    auto committed = transaction.commit();
    sites.deliver();
    EXPECT_TRUE(committed.isReady() && committed.hasValue()) << "the server applied the addition";
    return *note;
}

template <typename E>
E* sameElementAt(LiveSites::Site& site, Tessel::Element const& element) {
    return dynamic_cast<E*>(site.document->findSharedElement(element.guid()));
}

Cobalt::ColorPMA opaque(float red, float green, float blue) {
    return Cobalt::ColorPMA(red, green, blue, 1.0f);
}

} // namespace

TEST(LiveDocument, AWriteReachesTheOtherSiteOnceAndIsNotEchoed) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    Note& atA = addNote(sites, a);
    Note* atB = sameElementAt<Note>(b, atA);
    ASSERT_NE(atB, nullptr) << "the note reached b";
    int heardAtA = 0;
    int heardAtB = 0;
    atA.text.addListener([&] { ++heardAtA; }, Basalt::Attribute::ROLE_CHANGE);
    atB->text.addListener([&] { ++heardAtB; }, Basalt::Attribute::ROLE_CHANGE);

    atA.text = QStringLiteral("changed");
    sites.deliver();

    EXPECT_EQ(atB->text.value(), QStringLiteral("changed"));
    EXPECT_EQ(heardAtB, 1) << "b's listener runs once per change";
    EXPECT_EQ(heardAtA, 1) << "a's own write comes back to nobody";
    EXPECT_EQ(atB->text.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER), true)
        << "values land on the user layer";
}

TEST(LiveDocument, TextColorIsEqualAtEverySiteAfterABackgroundChange) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    Note& atA = addNote(sites, a);
    Note* atB = sameElementAt<Note>(b, atA);
    ASSERT_NE(atB, nullptr);

    atA.backgroundColor = opaque(0.1f, 0.1f, 0.3f);
    sites.deliver();

    auto const server = sites.serverDocument()->findNode(atA.guid());
    ASSERT_NE(server, nullptr);
    EXPECT_EQ(atB->backgroundColor.value(), atA.backgroundColor.value());
    EXPECT_EQ(atA.textColor.value(), atB->textColor.value()) << "both sites arrive at the same text colour";
    EXPECT_EQ(atA.textColor.value(), Cobalt::toPMA(Cobalt::Color("white")))
        << "a dark background gives white text";
    EXPECT_NE(server->childAttribute("text-color"), nullptr) << "the server holds the text colour";
}

TEST(LiveDocument, ANodeTransactionOfThreeNotesArrivesAsOneChangeAfterTheServerAppliedIt) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    Tessel::NodeTransaction transaction(*a.document);
    std::vector<Note*> notes;
    for (int i = 0; i < 3; ++i) {
        notes.push_back(new Note());
        transaction.addNode(*notes.back(), a.canvas());
    }

    auto committed = transaction.commit();
    EXPECT_FALSE(committed.isReady()) << "nothing is applied before the server has it";
    sites.serverExecutor().drain();
    EXPECT_EQ(sites.serverDocument()->rootNode()->childNodes().size(), 3u) << "the server applied all three";
    EXPECT_FALSE(committed.isReady()) << "the answer is still on its way to a";

    // b takes its messages one at a time: the first that brings a note brings all three.
    auto notesAtB = [&] {
        return std::count_if(notes.begin(), notes.end(),
                             [&](Note* note) { return sameElementAt<Note>(b, *note); });
    };
    while (notesAtB() == 0 && b.executor.runOne()) {
    }
    EXPECT_EQ(notesAtB(), 3) << "b got the three notes in one message";
    sites.deliver();
    EXPECT_TRUE(committed.hasValue());
}

TEST(LiveDocument, ADroppedTransactionSendsNothing) {
    LiveSites sites;
    auto& a = sites.join("a");
    std::size_t const serverTasks = sites.serverExecutor().executed();
    {
        Tessel::NodeTransaction transaction(*a.document);
        transaction.addNode(*new Note(), a.canvas());
    }
    sites.deliver();
    EXPECT_EQ(sites.serverExecutor().executed(), serverTasks) << "the server heard nothing";
    EXPECT_TRUE(sites.serverDocument()->rootNode()->childNodes().empty());
}

TEST(LiveDocument, ADeletedNodeIsGoneAtTheOtherSiteAndItsDeleteListenersRan) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    Note& atA = addNote(sites, a);
    QByteArray const guid = atA.guid();
    Note* atB = sameElementAt<Note>(b, atA);
    ASSERT_NE(atB, nullptr);
    int deletes = 0;
    atB->text.addListener([&] { ++deletes; }, Basalt::Attribute::ROLE_DELETE);

    Tessel::NodeTransaction transaction(*a.document);
    transaction.deleteNode(atA);
    auto committed = transaction.commit();
    sites.deliver();

    EXPECT_TRUE(committed.hasValue());
    EXPECT_EQ(deletes, 1) << "b's ROLE_DELETE listener ran";
    EXPECT_EQ(b.document->findSharedElement(guid), nullptr);
    EXPECT_EQ(b.canvas().attribute(guid), nullptr);
    EXPECT_EQ(sites.serverDocument()->findNode(guid), nullptr);
}

TEST(LiveDocument, VectorContainersTravelWholeAndElementByElement) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    auto& presetsAtA = a.canvas().noteBackgroundColorPresets;
    auto& presetsAtB = b.canvas().noteBackgroundColorPresets;
    std::vector<int> events;
    using Types = Cobalt::FlagsT<Basalt::AttributeEvent::Type>;
    Types const all = Types(Basalt::AttributeEvent::LIST_CHANGED) | Basalt::AttributeEvent::ELEMENT_INSERTED |
                      Basalt::AttributeEvent::ELEMENT_REMOVED | Basalt::AttributeEvent::ELEMENT_CHANGED;
    presetsAtB.events().addListener(all, [&](Basalt::AttributeEvent event) { events.push_back(event.type); });

    presetsAtA.setValues({opaque(1, 0, 0), opaque(0, 1, 0)});
    sites.deliver();
    presetsAtA.insert(1, opaque(0, 0, 1));
    sites.deliver();
    presetsAtA.removeAt(0);
    sites.deliver();
    presetsAtA.replace(1, opaque(1, 1, 0));
    sites.deliver();

    EXPECT_EQ(events, (std::vector<int>{2, 8, 16, 32})) << "each change arrives as the same kind of event";
    EXPECT_EQ(presetsAtB.values(), presetsAtA.values());
    auto const server = sites.serverDocument()->rootNode()->childAttribute("note-background-color-presets");
    ASSERT_NE(server, nullptr);
    ASSERT_NE(server->vectorContainer(), nullptr);
    EXPECT_EQ(server->typeCode(), 0x1000030u);
    EXPECT_EQ(server->vectorContainer()->count(), 2u);
}

TEST(LiveDocument, ALateJoinerSeesTheWholeCurrentDocument) {
    LiveSites sites;
    auto& a = sites.join("a");
    Note& note = addNote(sites, a, QStringLiteral("first"));
    note.text = QStringLiteral("edited");
    a.canvas().noteBackgroundColorPresets.setValues({opaque(0, 0, 1)});
    sites.deliver();

    auto& late = sites.join("late");
    Note* atLate = sameElementAt<Note>(late, note);
    ASSERT_NE(atLate, nullptr);
    EXPECT_EQ(atLate->text.value(), QStringLiteral("edited"));
    EXPECT_EQ(late.canvas().noteBackgroundColorPresets.values(),
              a.canvas().noteBackgroundColorPresets.values())
        << "a stored list arrives whole, not after the defaults";
}

namespace {

/// Adds two views under the client's own connection element and returns them.
std::vector<Datamodel::View*> addTwoViews(LiveSites& sites, LiveSites::Site& site) {
    auto* connection = dynamic_cast<Datamodel::Connection*>(site.document->connectionElement());
    EXPECT_NE(connection, nullptr) << "the server made the client's connection element";
    std::vector<Datamodel::View*> views{new Datamodel::View(), new Datamodel::View()};
    Tessel::NodeTransaction transaction(*site.document);
    for (auto* view : views) {
        transaction.addNode(*view, *connection);
    }
    transaction.commit();
    sites.deliver();
    return views;
}

} // namespace

TEST(LiveDocument, EachClientAppearsInTheTransientRootWithItsViewsAndLeavesWithThem) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    auto* ownConnection = dynamic_cast<Datamodel::Connection*>(a.document->connectionElement());
    ASSERT_NE(ownConnection, nullptr);
    EXPECT_EQ(ownConnection->installationName.value(), QStringLiteral("a"));
    EXPECT_EQ(ownConnection->userName.value(), QStringLiteral("a-user"));
    addTwoViews(sites, a);

    auto* rootAtB = dynamic_cast<Datamodel::TransientRoot*>(b.document->transientRoot());
    ASSERT_NE(rootAtB, nullptr);
    EXPECT_EQ(rootAtB->views().size(), 2u) << "b sees a's views";
    std::vector<QByteArray> removed;
    rootAtB->viewRemoved.addListener([&](Datamodel::View*) { removed.push_back("view"); });
    rootAtB->connectionRemoved.addListener([&](Datamodel::Connection*) { removed.push_back("connection"); });

    a.connection->disconnect();
    sites.deliver();

    EXPECT_EQ(removed, (std::vector<QByteArray>{"view", "view", "connection"})) << "the views leave first";
    EXPECT_TRUE(rootAtB->views().empty());
    EXPECT_EQ(b.document->findSharedElement(ownConnection->guid()), nullptr);
}

TEST(LiveDocument, AViewsScaleChangedAtOneSiteRaisesViewChangedOnceAtTheOther) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    auto const views = addTwoViews(sites, a);
    auto* rootAtB = dynamic_cast<Datamodel::TransientRoot*>(b.document->transientRoot());
    ASSERT_NE(rootAtB, nullptr);
    int changed = 0;
    rootAtB->viewChanged.addListener([&](Datamodel::View*) { ++changed; });

    views.front()->scale = 2.5f;
    sites.deliver();

    EXPECT_EQ(changed, 1);
}

TEST(LiveDocument, ARemoteConnectionFindsItsAssetThatCameFromTheServer) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    auto* remote = new Datamodel::RdpConnection();
    auto* asset = new Datamodel::ImageAsset();
    asset->initName();
    remote->contentId = QString::fromUtf8(asset->guid());
    Tessel::NodeTransaction transaction(*a.document);
    transaction.addNode(*remote, a.canvas());
    transaction.addNode(*asset, *remote);
    transaction.commit();
    sites.deliver();

    auto* remoteAtB = sameElementAt<Datamodel::RdpConnection>(b, *remote);
    ASSERT_NE(remoteAtB, nullptr);
    EXPECT_EQ(remoteAtB->asset(), sameElementAt<Datamodel::Asset>(b, *asset));
    EXPECT_NE(remoteAtB->asset(), nullptr);
}

TEST(LiveDocument, FindByGuidAndSlideContentFindElementsThatCameFromTheServer) {
    LiveSites sites;
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    Note& note = addNote(sites, a);
    auto* container = new Datamodel::PresentationContainer();
    auto* presentation = new Datamodel::Presentation();
    auto* slide = new Datamodel::PresentationSlide();
    slide->contentId = QString::fromUtf8(note.guid());
    Tessel::NodeTransaction transaction(*a.document);
    transaction.addNode(*container, a.canvas());
    transaction.addNode(*presentation, *container);
    transaction.addNode(*slide, *presentation);
    transaction.commit();
    sites.deliver();

    auto* slideAtB = sameElementAt<Datamodel::PresentationSlide>(b, *slide);
    ASSERT_NE(slideAtB, nullptr);
    EXPECT_EQ(slideAtB->content(), sameElementAt<Note>(b, note));
    EXPECT_EQ(slideAtB->findByGuid<Note>(note.guid()), sameElementAt<Note>(b, note));
}

TEST(LiveDocument, ANodeFindsTheDocumentConnectionThatHoldsIt) {
    LiveSites sites;
    auto& a = sites.join("a");
    Note& note = addNote(sites, a);
    EXPECT_EQ(Tessel::ClientRootInfoNode::findDocumentConnection(note), a.document);
    Note detached;
    EXPECT_EQ(Tessel::ClientRootInfoNode::findDocumentConnection(detached), nullptr);
}
