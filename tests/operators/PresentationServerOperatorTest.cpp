// The presentation operator on a live canvas: a real server document with clients connected. Clients make
// the changes that are theirs (transactions, attribute writes); the server's own events (a stored canvas, a
// recreated guid) are made on the server.

#include "tests/support/OperatorSites.hpp"

#include "canvas/Note.hpp"
#include "canvas/Presentation.hpp"
#include "operators/PresentationServerOperator.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/Uuid.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

using Datamodel::PresentationServerDocumentOperator;
using Datamodel::PresentationSlide;
using TestSupport::LiveSites;
using TestSupport::OperatorSites;
using TestSupport::StoredTree;

namespace {

/// The guids of a stored canvas with two notes and a presentation.
struct Deck {
    QByteArray presentation;
    QByteArray first;
    QByteArray second;
};

/// Stores two notes and a presentation, under the root's "presentations", without slides.
std::shared_ptr<Tessel::ServerNode> storeDeck(StoredTree& tree, Deck& deck) {
    deck.first = tree.add(tree.root(), "first", "tavola_note")->guid();
    deck.second = tree.add(tree.root(), "second", "tavola_note")->guid();
    auto const container = tree.add(tree.root(), "presentations", "tavola_presentation_container");
    auto const presentation = tree.add(*container, "deck", "tavola_presentation");
    deck.presentation = presentation->guid();
    return presentation;
}

/// Stores a slide of `presentation` that shows the item of guid `content`; returns the slide's guid.
QByteArray storeSlide(StoredTree& tree, Tessel::ServerNode& presentation, QByteArray const& name,
                      QByteArray const& content) {
    auto const slide = tree.add(presentation, name, "tavola_presentation_slide");
    tree.set<QString>(*slide, "content-id", QString::fromLatin1(content));
    return slide->guid();
}

/// The element of guid `guid` as a client holds it; null if the client has none or it is no E.
template <typename E = Tessel::Element>
E* elementAt(LiveSites::Site& site, QByteArray const& guid) {
    return dynamic_cast<E*>(site.document->findSharedElement(guid));
}

/// The slide of guid `guid` as a client holds it; throws `std::runtime_error` when the client has none.
PresentationSlide& slideAt(LiveSites::Site& site, QByteArray const& guid) {
    PresentationSlide* const slide = elementAt<PresentationSlide>(site, guid);
    if (!slide) {
        throw std::runtime_error("the client holds no slide " + guid.toStdString());
    }
    return *slide;
}

/// The server's content-id of a slide; throws `std::runtime_error` when there is no slide.
QByteArray contentIdOnServer(std::shared_ptr<Tessel::ServerNode> const& slide) {
    if (!slide) {
        throw std::runtime_error("the server holds no such slide");
    }
    return TestSupport::storedValue<QString>(*slide, "content-id").toLatin1();
}

/// The item the operator maps `slide` to; null when it has no entry.
std::shared_ptr<Tessel::ServerNode> mappedContent(PresentationServerDocumentOperator const& op,
                                                  std::shared_ptr<Tessel::ServerNode> const& slide) {
    for (auto const& entry : op.contentMaps()) {
        if (entry.slide.lock() == slide) {
            return entry.content.lock();
        }
    }
    return nullptr;
}

/// Deletes the element of guid `guid` from a client, in one transaction, and delivers everything after.
void deleteAt(OperatorSites& sites, LiveSites::Site& site, QByteArray const& guid) {
    Tessel::Element* const element = elementAt(site, guid);
    ASSERT_NE(element, nullptr) << "the client holds the element to delete";
    Tessel::NodeTransaction transaction(*site.document);
    transaction.deleteNode(*element);
    auto committed = transaction.commit();
    sites.deliver();
    ASSERT_TRUE(committed.isReady() && committed.hasValue()) << "the server applied the deletion";
}

/// A live canvas whose server runs the canvas operators, without auto-pin.
class PresentationOperator : public ::testing::Test {
protected:
    /// The canvas's presentation operator; throws `std::runtime_error` when it has none.
    PresentationServerDocumentOperator& presentationOperator() const {
        std::shared_ptr<PresentationServerDocumentOperator> const op =
            sites.serverOperator<PresentationServerDocumentOperator>();
        if (!op) {
            throw std::runtime_error("the canvas has no presentation operator");
        }
        return *op;
    }
    std::shared_ptr<Tessel::ServerNode> serverNode(QByteArray const& guid) const {
        return sites.serverDocument()->findNode(guid);
    }
    /// Whether neither the server nor any client holds the node of guid `guid` any more.
    ::testing::AssertionResult goneEverywhere(QByteArray const& guid) {
        if (serverNode(guid)) {
            return ::testing::AssertionFailure() << "the server still holds " << guid.constData();
        }
        for (auto const& site : sites.sites()) {
            if (site->document && site->document->findSharedElement(guid)) {
                return ::testing::AssertionFailure() << "a client still holds " << guid.constData();
            }
        }
        return ::testing::AssertionSuccess();
    }

    OperatorSites sites;
};

} // namespace

TEST_F(PresentationOperator, ASlideLoadedWithAContentIdNamingNoItemIsGoneWhenTheCanvasIsOpen) {
    Deck deck;
    QByteArray orphan;
    QByteArray kept;
    sites.openStored([&](StoredTree& tree) {
        auto const presentation = storeDeck(tree, deck);
        orphan = storeSlide(tree, *presentation, "orphan", Tessel::generateUuid());
        kept = storeSlide(tree, *presentation, "kept", deck.first);
    });
    auto& a = sites.join("a");

    EXPECT_TRUE(goneEverywhere(orphan)) << "a slide showing nothing is removed right after the load";
    ASSERT_NE(serverNode(kept), nullptr) << "a slide showing an item stays";
    EXPECT_NE(elementAt<PresentationSlide>(a, kept), nullptr) << "clients get the kept slide";
    EXPECT_EQ(mappedContent(presentationOperator(), serverNode(kept)), serverNode(deck.first))
        << "the kept slide is mapped to its item";
    EXPECT_EQ(presentationOperator().contentMaps().size(), 1u) << "only the kept slide is mapped";
}

TEST_F(PresentationOperator, ASlideGivenAnEmptyContentIdIsRemovedAtEveryClient) {
    Deck deck;
    QByteArray slide;
    sites.openStored([&](StoredTree& tree) {
        auto const presentation = storeDeck(tree, deck);
        slide = storeSlide(tree, *presentation, "slide", deck.first);
    });
    auto& a = sites.join("a");
    sites.join("b");

    slideAt(a, slide).contentId = QString();
    sites.deliver();

    EXPECT_TRUE(goneEverywhere(slide)) << "a slide that shows nothing does not survive";
    EXPECT_NE(serverNode(deck.first), nullptr) << "the item it showed stays";
    EXPECT_TRUE(presentationOperator().contentMaps().empty()) << "a removed slide has no entry";
}

TEST_F(PresentationOperator, DeletingAnItemShownByTwoSlidesRemovesBothSlides) {
    Deck deck;
    QByteArray one;
    QByteArray two;
    QByteArray other;
    sites.openStored([&](StoredTree& tree) {
        auto const presentation = storeDeck(tree, deck);
        one = storeSlide(tree, *presentation, "one", deck.first);
        two = storeSlide(tree, *presentation, "two", deck.first);
        other = storeSlide(tree, *presentation, "other", deck.second);
    });
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    ASSERT_EQ(presentationOperator().contentMaps().size(), 3u) << "every stored slide is mapped";

    deleteAt(sites, a, deck.first);

    EXPECT_TRUE(goneEverywhere(one)) << "the slides of a deleted item go with it";
    EXPECT_TRUE(goneEverywhere(two)) << "the slides of a deleted item go with it";
    ASSERT_NE(serverNode(other), nullptr) << "a slide of another item stays";
    EXPECT_NE(elementAt<PresentationSlide>(b, other), nullptr) << "clients keep a slide of another item";
    EXPECT_EQ(presentationOperator().contentMaps().size(), 1u) << "the removed slides have no entry";
    EXPECT_EQ(mappedContent(presentationOperator(), serverNode(other)), serverNode(deck.second))
        << "the other slide keeps its item";
}

TEST_F(PresentationOperator, DeletingASlideLeavesItsContentAndDropsItsMapEntry) {
    Deck deck;
    QByteArray slide;
    sites.openStored([&](StoredTree& tree) {
        auto const presentation = storeDeck(tree, deck);
        slide = storeSlide(tree, *presentation, "slide", deck.first);
    });
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    ASSERT_EQ(presentationOperator().contentMaps().size(), 1u) << "the stored slide is mapped";

    deleteAt(sites, a, slide);

    EXPECT_TRUE(goneEverywhere(slide)) << "the deletion reached everybody";
    EXPECT_TRUE(presentationOperator().contentMaps().empty()) << "a deleted slide has no entry";
    EXPECT_NE(serverNode(deck.first), nullptr) << "the item outlives its slide";
    EXPECT_NE(elementAt(b, deck.first), nullptr) << "clients keep the item";
}

TEST_F(PresentationOperator, ASlideTurnedToAnotherItemStaysWhenTheFirstItemIsDeleted) {
    Deck deck;
    QByteArray slide;
    sites.openStored([&](StoredTree& tree) {
        auto const presentation = storeDeck(tree, deck);
        slide = storeSlide(tree, *presentation, "slide", deck.first);
    });
    auto& a = sites.join("a");
    auto& b = sites.join("b");

    slideAt(a, slide).contentId = QString::fromLatin1(deck.second);
    sites.deliver();
    ASSERT_EQ(contentIdOnServer(serverNode(slide)), deck.second) << "the server took the new content-id";
    deleteAt(sites, a, deck.first);

    ASSERT_NE(serverNode(slide), nullptr) << "the slide shows another item now";
    EXPECT_NE(elementAt<PresentationSlide>(b, slide), nullptr) << "clients keep the slide";
    EXPECT_EQ(mappedContent(presentationOperator(), serverNode(slide)), serverNode(deck.second))
        << "the slide is mapped to its new item";
    EXPECT_EQ(presentationOperator().contentMaps().size(), 1u) << "one entry per slide";
}

// The operator writes the new guid into "content-id" itself; that write must not be judged like a client's.
TEST_F(PresentationOperator, TheSlidesOfAnItemFollowItsRecreatedGuid) {
    Deck deck;
    QByteArray one;
    QByteArray two;
    sites.openStored([&](StoredTree& tree) {
        auto const presentation = storeDeck(tree, deck);
        one = storeSlide(tree, *presentation, "one", deck.first);
        two = storeSlide(tree, *presentation, "two", deck.first);
    });
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    std::shared_ptr<Tessel::ServerNode> const item = serverNode(deck.first);
    ASSERT_NE(item, nullptr) << "the stored item is on the server";

    item->recreateGuid();
    sites.deliver();
    QByteArray const recreated = item->guid();

    ASSERT_NE(recreated, deck.first) << "the item has a new guid";
    for (QByteArray const& slide : {one, two}) {
        ASSERT_NE(serverNode(slide), nullptr) << "a slide of a recreated item stays";
        EXPECT_EQ(contentIdOnServer(serverNode(slide)), recreated) << "the slide names the new guid";
        EXPECT_EQ(mappedContent(presentationOperator(), serverNode(slide)), item)
            << "the slide is still mapped to its item";
        for (LiveSites::Site* site : {&a, &b}) {
            PresentationSlide* const atSite = elementAt<PresentationSlide>(*site, slide);
            ASSERT_NE(atSite, nullptr) << "clients keep the slide";
            EXPECT_EQ(atSite->contentId.value(), QString::fromLatin1(recreated))
                << "clients see the new guid";
            EXPECT_NE(atSite->content(), nullptr) << "the client's slide finds its item";
            EXPECT_EQ(atSite->content(), elementAt(*site, recreated)) << "the slide finds the same item";
        }
    }
    EXPECT_EQ(presentationOperator().contentMaps().size(), 2u) << "one entry per slide, as before";
}

TEST_F(PresentationOperator, ARootWithoutPresentationsGainsOneAndASecondRootUpdateAddsNothing) {
    QByteArray note;
    sites.openStored([&](StoredTree& tree) { note = tree.add(tree.root(), "note", "tavola_note")->guid(); });
    auto& a = sites.join("a");
    std::shared_ptr<Tessel::ServerNode> const root = sites.serverDocument()->rootNode();
    std::shared_ptr<Tessel::ServerNode> const presentations = root->childNode("presentations");

    ASSERT_NE(presentations, nullptr) << "the root gains its presentations";
    EXPECT_EQ(presentations->typeKey(), "tavola_presentation_container") << "of the container's type";
    ASSERT_NE(a.canvas().presentations(), nullptr) << "clients see the container";
    EXPECT_EQ(a.canvas().presentations()->guid(), presentations->guid()) << "clients see the same container";

    // A slide under the new container, so that the second update has something to map again.
    auto* presentation = new Datamodel::Presentation();
    presentation->createSlide(note, 1.0f);
    Tessel::NodeTransaction transaction(*a.document);
    transaction.addNode(*presentation, *a.canvas().presentations());
    transaction.commit();
    sites.deliver();
    ASSERT_EQ(presentationOperator().contentMaps().size(), 1u) << "the client's slide is mapped";
    std::size_t const children = root->childNodes().size();

    presentationOperator().rootNodeUpdated();
    sites.deliver();

    EXPECT_EQ(root->childNodes().size(), children) << "a second root update adds nothing";
    EXPECT_EQ(root->childNode("presentations"), presentations) << "the container is the same";
    EXPECT_EQ(a.canvas().presentations()->guid(), presentations->guid()) << "clients keep the container";
    EXPECT_EQ(presentationOperator().contentMaps().size(), 1u) << "each slide is mapped once";
}

TEST_F(PresentationOperator, AStoredPresentationsContainerIsKept) {
    Deck deck;
    sites.openStored([&](StoredTree& tree) { storeDeck(tree, deck); });
    std::shared_ptr<Tessel::ServerNode> const presentations =
        sites.serverDocument()->rootNode()->childNode("presentations");

    ASSERT_NE(presentations, nullptr) << "the root keeps its presentations";
    ASSERT_NE(presentations->childNode("deck"), nullptr) << "the stored container, with its presentation";
    EXPECT_EQ(presentations->childNode("deck")->guid(), deck.presentation) << "the stored presentation";
}

// Added with its slides in one transaction: the slides come in after the presentation.
TEST_F(PresentationOperator, APresentationAddedByAClientIsWatchedAtOnceWithItsSlides) {
    Deck deck;
    sites.openStored([&](StoredTree& tree) { storeDeck(tree, deck); });
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    auto* presentation = new Datamodel::Presentation();
    QByteArray const orphan = presentation->createSlide(Tessel::generateUuid(), 1.0f)->guid();
    QByteArray const kept = presentation->createSlide(deck.first, 2.0f)->guid();

    Tessel::NodeTransaction transaction(*a.document);
    transaction.addNode(*presentation, *a.canvas().presentations());
    auto committed = transaction.commit();
    sites.deliver();
    ASSERT_TRUE(committed.isReady() && committed.hasValue()) << "the server applied the addition";

    EXPECT_TRUE(goneEverywhere(orphan)) << "its slide showing nothing is removed at once";
    ASSERT_NE(serverNode(kept), nullptr) << "its slide showing an item stays";
    EXPECT_EQ(mappedContent(presentationOperator(), serverNode(kept)), serverNode(deck.first))
        << "its slide showing an item is mapped";
    deleteAt(sites, b, deck.first);
    EXPECT_TRUE(goneEverywhere(kept)) << "its slide goes with its item";
}

TEST_F(PresentationOperator, ASlideFollowsItsContentsRecreatedGuidAndGoesWhenTheContentIsDeleted) {
    Deck deck;
    QByteArray slide;
    sites.openStored([&](StoredTree& tree) {
        auto const presentation = storeDeck(tree, deck);
        slide = storeSlide(tree, *presentation, "slide", deck.first);
    });
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    std::shared_ptr<Tessel::ServerNode> const item = serverNode(deck.first);
    ASSERT_NE(item, nullptr) << "the stored item is on the server";
    item->recreateGuid();
    sites.deliver();
    ASSERT_EQ(slideAt(b, slide).contentId.value(), QString::fromLatin1(item->guid()))
        << "the slide follows the new guid";
    // Shared with the listener: should the slide outlive the test body, the listener runs at teardown.
    auto const deletedAtB = std::make_shared<int>(0);
    slideAt(b, slide).contentId.addListener([deletedAtB] { ++*deletedAtB; }, Basalt::Attribute::ROLE_DELETE);

    deleteAt(sites, a, item->guid());

    EXPECT_TRUE(goneEverywhere(slide)) << "the slide goes with its item under its new guid";
    EXPECT_EQ(*deletedAtB, 1) << "the other client saw the slide deleted";
    EXPECT_TRUE(presentationOperator().contentMaps().empty()) << "no entry is left";
}
