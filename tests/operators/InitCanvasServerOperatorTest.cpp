// The canvas initialisation on a live server: stored canvases go in, every client sees the repaired canvas.

#include "tests/support/CapturedLog.hpp"
#include "tests/support/OperatorSites.hpp"

#include "canvas/Anchor.hpp"
#include "canvas/CanvasBackground.hpp"
#include "canvas/Connector.hpp"
#include "canvas/Note.hpp"
#include "operators/InitCanvasServerOperator.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

using TestSupport::OperatorSites;
using TestSupport::StoredTree;
using TestSupport::storedValue;

namespace {

template <typename E>
E* childAt(Tessel::Element const& parent, QByteArray const& name) {
    return dynamic_cast<E*>(parent.attribute(name));
}

std::vector<std::string> warnings(TestSupport::CapturedLog const& log) {
    return log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING);
}

/// Opens a canvas whose root holds one child per depth, named "a", "b", ... in that order, and returns the
/// depths the server and a client then hold, by name.
std::vector<std::pair<float, float>> depthsAfterLoad(std::vector<float> const& depths) {
    OperatorSites sites;
    std::vector<QByteArray> names;
    sites.openStored([&](StoredTree& tree) {
        for (float depth : depths) {
            names.push_back(QByteArray(1, static_cast<char>('a' + names.size())));
            tree.set<float>(*tree.add(tree.root(), names.back(), "tavola_note"), "depth", depth);
        }
    });
    auto& a = sites.join("a");
    std::vector<std::pair<float, float>> result;
    for (QByteArray const& name : names) {
        auto* note = childAt<Datamodel::Note>(a.canvas(), name);
        result.emplace_back(storedValue<float>(*sites.serverDocument()->rootNode()->childNode(name), "depth"),
                            note ? note->depth.value() : -1.0f);
    }
    return result;
}

} // namespace

TEST(InitCanvasOperator, AnEmptyRootGainsItsFixedChildrenPresetListsAndRequestInOnePass) {
    OperatorSites sites;
    // Records what the root held when each of its new children arrived.
    std::vector<std::pair<QByteArray, bool>> arrivals;
    struct Recorder : Tessel::ServerDocumentOperator {
        explicit Recorder(std::vector<std::pair<QByteArray, bool>>& log) : log(log) {}
        void addedToDocument(std::shared_ptr<Tessel::ServerDocument> document) override {
            this->document = document;
        }
        void rootNodeUpdated() override {}
        void childNodeAdded(std::shared_ptr<Tessel::ServerNode> const& parent,
                            std::shared_ptr<Tessel::ServerNode> const& child) override {
            if (parent != document.lock()->rootNode()) {
                return;
            }
            log.emplace_back(child->name(), parent->childAttribute("reset-color-presets-request") != nullptr);
        }
        std::vector<std::pair<QByteArray, bool>>& log;
        std::weak_ptr<Tessel::ServerDocument> document;
    };
    sites.addOperator([&](Tessel::ServerDocument&) { return std::make_shared<Recorder>(arrivals); });
    auto document = sites.openStored([](StoredTree&) {});
    auto& a = sites.join("a");

    Tessel::ServerNode const& root = *document->rootNode();
    struct Fixed {
        char const* name;
        char const* typeKey;
    };
    for (Fixed const fixed :
         {Fixed{"browser-bookmarks", "tavola_bookmark_container"},
          Fixed{"ip-stream-bookmarks", "tavola_bookmark_container"},
          Fixed{"background", "tavola_canvas_background"}, Fixed{"upload-folder", "tavola_folder"},
          Fixed{"connectors", "tavola_connector_container"}}) {
        auto const child = root.childNode(fixed.name);
        ASSERT_NE(child, nullptr) << "the root gained " << fixed.name;
        EXPECT_EQ(child->typeKey(), QByteArray(fixed.typeKey)) << fixed.name;
        EXPECT_FALSE(child->guid().isEmpty()) << fixed.name << " has a guid";
        EXPECT_NE(a.canvas().attribute(fixed.name), nullptr) << "the client sees " << fixed.name;
    }
    EXPECT_EQ(storedValue<QString>(*root.childNode("upload-folder"), "folder-name"),
              QStringLiteral("Upload folder"));
    EXPECT_NE(a.canvas().background(), nullptr);
    EXPECT_NE(a.canvas().connectors(), nullptr);

    EXPECT_EQ(a.canvas().annotationColorPresets.values(),
              Datamodel::SharedCanvas::annotationPresetsDefaults());
    EXPECT_EQ(a.canvas().connectorColorPresets.values(),
              Datamodel::SharedCanvas::annotationPresetsDefaults());
    EXPECT_EQ(a.canvas().noteBackgroundColorPresets.values(),
              Datamodel::SharedCanvas::noteBackgroundPresetsDefaults());
    ASSERT_NE(root.childAttribute("note-text-color-presets"), nullptr);
    EXPECT_EQ(root.childAttribute("note-text-color-presets")->vectorContainer()->count(), 0u)
        << "the note text presets start empty on purpose";
    EXPECT_EQ(storedValue<int>(root, "reset-color-presets-request"), 0);

    std::set<QByteArray> added;
    for (auto const& arrival : arrivals) {
        added.insert(arrival.first);
        if (arrival.first != "presentations") {
            EXPECT_TRUE(arrival.second) << arrival.first.constData() << " was added after the repairs";
        }
    }
    EXPECT_EQ(added.count("background") + added.count("connectors") + added.count("upload-folder"), 3u);

    QString const before = TestSupport::describeTree(root);
    sites.serverOperator<Datamodel::InitCanvasServerOperator>()->rootNodeUpdated();
    sites.deliver();
    EXPECT_EQ(TestSupport::describeTree(root), before) << "a second pass changes nothing";
}

TEST(InitCanvasOperator, EqualDepthsAreSpreadByOneAndAFollowerMovesAbove) {
    auto const depths = depthsAfterLoad({3.0f, 3.0f, 3.2f});
    std::vector<std::pair<float, float>> const expected{{3.0f, 3.0f}, {4.0f, 4.0f}, {5.0f, 5.0f}};
    EXPECT_EQ(depths, expected) << "server and client hold 3, 4 and 5";
}

TEST(InitCanvasOperator, ASingleDepthBelowOneBecomesTenAndDepthsHalfApartStay) {
    std::vector<std::pair<float, float>> const lifted{{10.0f, 10.0f}};
    EXPECT_EQ(depthsAfterLoad({0.5f}), lifted);
    std::vector<std::pair<float, float>> const kept{{12.0f, 12.0f}, {12.5f, 12.5f}};
    EXPECT_EQ(depthsAfterLoad({12.0f, 12.5f}), kept);
}

TEST(InitCanvasOperator, NanAndInfiniteDepthsAreGivenNewDepths) {
    float const infinity = std::numeric_limits<float>::infinity();
    auto const depths = depthsAfterLoad({std::nanf(""), infinity, 5.0f, -infinity});
    // Sorted: -inf (first, so 10), 5 (below 10.5: 11), inf (12), NaN last (13).
    std::vector<std::pair<float, float>> const expected{
        {13.0f, 13.0f}, {12.0f, 12.0f}, {11.0f, 11.0f}, {10.0f, 10.0f}};
    EXPECT_EQ(depths, expected);
}

TEST(InitCanvasOperator, DepthsAreRepairedInEverySetOfSiblings) {
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree& tree) {
        auto folder = tree.add(tree.root(), "folder", "tavola_folder");
        tree.set<float>(*folder, "depth", 20.0f);
        tree.set<float>(*tree.add(*folder, "inner-a", "tavola_note"), "depth", 0.0f);
        tree.set<float>(*tree.add(*folder, "inner-b", "tavola_note"), "depth", 0.0f);
        tree.add(*folder, "no-depth", "tavola_note");
    });
    auto const folder = document->rootNode()->childNode("folder");
    EXPECT_EQ(storedValue<float>(*folder, "depth"), 20.0f);
    EXPECT_EQ(storedValue<float>(*folder->childNode("inner-a"), "depth"), 10.0f);
    EXPECT_EQ(storedValue<float>(*folder->childNode("inner-b"), "depth"), 11.0f);
    EXPECT_EQ(folder->childNode("no-depth")->childAttribute("depth"), nullptr)
        << "an item without depth gets none";
}

TEST(InitCanvasOperator, AConnectorWithAnEmptyEndGoesAndOneIntoAFolderStays) {
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree& tree) {
        tree.add(tree.root(), "note-1", "tavola_note");
        auto folder = tree.add(tree.root(), "folder-1", "tavola_folder");
        tree.add(*folder, "item-in-folder", "tavola_note");
        auto connectors = tree.add(tree.root(), "connectors", "tavola_connector_container");
        auto broken = tree.add(*connectors, "broken", "tavola_connector");
        tree.set<QString>(*broken, "src", QStringLiteral("note-1"));
        tree.set<QString>(*broken, "dst", QString());
        auto dangling = tree.add(*connectors, "dangling", "tavola_connector");
        tree.set<QString>(*dangling, "src", QStringLiteral("gone"));
        tree.set<QString>(*dangling, "dst", QStringLiteral("note-1"));
        tree.add(*connectors, "no-ends", "tavola_connector");
        auto sound = tree.add(*connectors, "sound", "tavola_connector");
        tree.set<QString>(*sound, "src", QStringLiteral("item-in-folder"));
        tree.set<QString>(*sound, "dst", QStringLiteral("note-1"));
    });
    auto& a = sites.join("a");
    auto& b = sites.join("b");

    auto const connectors = document->rootNode()->childNode("connectors");
    EXPECT_EQ(connectors->childNodes().size(), 1u) << "only the sound connector is left";
    EXPECT_NE(connectors->childNode("sound"), nullptr);
    for (auto* site : {&a, &b}) {
        ASSERT_NE(site->canvas().connectors(), nullptr);
        EXPECT_EQ(childAt<Datamodel::Connector>(*site->canvas().connectors(), "broken"), nullptr);
        EXPECT_NE(childAt<Datamodel::Connector>(*site->canvas().connectors(), "sound"), nullptr);
    }
}

TEST(InitCanvasOperator, AConnectorLosingItsEndIsDeletedAtAClientThatHadIt) {
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree& tree) {
        tree.add(tree.root(), "note-1", "tavola_note");
        auto connectors = tree.add(tree.root(), "connectors", "tavola_connector_container");
        auto connector = tree.add(*connectors, "link", "tavola_connector");
        tree.set<QString>(*connector, "src", QStringLiteral("note-1"));
        tree.set<QString>(*connector, "dst", QStringLiteral("note-1"));
    });
    auto& a = sites.join("a");
    auto* connector = childAt<Datamodel::Connector>(*a.canvas().connectors(), "link");
    ASSERT_NE(connector, nullptr);
    int deleted = 0;
    connector->addListener([&] { ++deleted; }, Basalt::Attribute::ROLE_DELETE);
    connector->dst = QString();
    sites.deliver();

    // Another pass, as when the root arrives again.
    sites.serverOperator<Datamodel::InitCanvasServerOperator>()->rootNodeUpdated();
    sites.deliver();
    EXPECT_EQ(document->rootNode()->childNode("connectors")->childNode("link"), nullptr);
    EXPECT_EQ(deleted, 1) << "the client heard the connector's deletion";
    EXPECT_EQ(childAt<Datamodel::Connector>(*a.canvas().connectors(), "link"), nullptr);
}

TEST(InitCanvasOperator, TwoAnchorsWithOneIdEndWithTwoIdsThatTheListHoldsAlone) {
    TestSupport::CapturedLog log;
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree& tree) {
        tree.set<long>(*tree.add(tree.root(), "anchor-1", "tavola_anchor"), "anchor-id", 42L);
        tree.set<long>(*tree.add(tree.root(), "anchor-2", "tavola_anchor"), "anchor-id", 42L);
        tree.root().addChildAttribute(std::make_shared<Tessel::ServerAttributeVectorContainer>(
                                          &tree.document(), "anchor-ids",
                                          QByteArray("\x2a\0\0\0\0\0\0\0\x07\0\0\0\0\0\0\0", 16), 2,
                                          0x100000b),
                                      false);
    });
    auto& a = sites.join("a");

    Tessel::ServerNode const& root = *document->rootNode();
    long const first = storedValue<long>(*root.childNode("anchor-1"), "anchor-id");
    long const second = storedValue<long>(*root.childNode("anchor-2"), "anchor-id");
    EXPECT_EQ(first, 42L) << "the first anchor keeps its id";
    EXPECT_NE(second, first) << "the second anchor got an id of its own";
    std::vector<long> const expected{first, second};
    EXPECT_EQ(a.canvas().anchorIds.values(), expected) << "the list holds both ids, in order, and no other";
    auto* anchor = childAt<Datamodel::Anchor>(a.canvas(), "anchor-2");
    ASSERT_NE(anchor, nullptr);
    EXPECT_EQ(anchor->anchorId.value(), second) << "the client sees the new id";
    EXPECT_EQ(warnings(log),
              (std::vector<std::string>{
                  "InitCanvasServerOperator::fixAnchors # found duplicate anchor-id, fixing",
                  "InitCanvasServerOperator::fixAnchors # anchor-ids contains an extra id, removing",
                  "InitCanvasServerOperator::fixAnchors # anchor-ids is missing an id, adding"}));
}

TEST(InitCanvasOperator, AnchorsWithoutOrWithAWronglyTypedIdGetOne) {
    TestSupport::CapturedLog log;
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree& tree) {
        tree.add(tree.root(), "anchor-1", "tavola_anchor");
        tree.set<QString>(*tree.add(tree.root(), "anchor-2", "tavola_anchor"), "anchor-id",
                          QStringLiteral("12"));
    });
    Tessel::ServerNode const& root = *document->rootNode();
    for (QByteArray const name : {"anchor-1", "anchor-2"}) {
        auto const id = root.childNode(name)->childAttribute("anchor-id");
        ASSERT_NE(id, nullptr) << name.constData();
        EXPECT_EQ(id->typeCode(), 11u) << name.constData() << " holds a 64-bit id";
    }
    EXPECT_EQ(root.childAttribute("anchor-ids"), nullptr)
        << "a missing list is rebuilt and dropped, until a client writes one";
    EXPECT_EQ(warnings(log),
              (std::vector<std::string>{
                  "InitCanvasServerOperator::fixAnchors # found broken anchor without an id, fixing",
                  "InitCanvasServerOperator::fixAnchors # corrupted anchor, wrong anchor-id type "
                  "(16), fixing",
                  "InitCanvasServerOperator::fixAnchors # anchor-ids is missing, rebuilding",
                  "InitCanvasServerOperator::fixAnchors # anchor-ids is missing an id, adding",
                  "InitCanvasServerOperator::fixAnchors # anchor-ids is missing an id, adding"}));
}

TEST(InitCanvasOperator, ACanvasWithoutAnchorsLogsNothingAndGetsNoAnchorList) {
    TestSupport::CapturedLog log;
    OperatorSites sites;
    auto document =
        sites.openStored([](StoredTree& tree) { tree.add(tree.root(), "note-1", "tavola_note"); });
    EXPECT_EQ(document->rootNode()->childAttribute("anchor-ids"), nullptr);
    EXPECT_TRUE(warnings(log).empty()) << "nothing to repair, nothing logged";
}

TEST(InitCanvasOperator, ANoteWithoutTextColorGetsTextThatContrastsWithItsBackground) {
    struct Row {
        char const* note;
        bool hasBackground;
        Cobalt::ColorPMA background;
        Cobalt::ColorPMA expectedText;
    };
    Cobalt::ColorPMA const white(1, 1, 1, 1);
    Cobalt::ColorPMA const black(0, 0, 0, 1);
    Row const rows[] = {
        {"black-background", true, black, white},
        {"white-background", true, white, black},
        {"no-background", false, white, black},
        {"transparent-white", true, Cobalt::ColorPMA(1, 1, 1, 0), white},
    };
    OperatorSites sites;
    auto document = sites.openStored([&](StoredTree& tree) {
        for (Row const& row : rows) {
            auto note = tree.add(tree.root(), row.note, "tavola_note");
            if (row.hasBackground) {
                tree.set<Cobalt::ColorPMA>(*note, "background-color", row.background);
            }
        }
    });
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    for (Row const& row : rows) {
        auto const node = document->rootNode()->childNode(row.note);
        EXPECT_EQ(storedValue<Cobalt::ColorPMA>(*node, "text-color"), row.expectedText) << row.note;
        EXPECT_FALSE(storedValue<bool>(*node, "auto-text-color")) << row.note;
        for (auto* site : {&a, &b}) {
            auto* note = childAt<Datamodel::Note>(site->canvas(), row.note);
            ASSERT_NE(note, nullptr) << row.note;
            EXPECT_EQ(note->textColor.value(), row.expectedText) << row.note << " at every client";
            EXPECT_FALSE(note->autoTextColor.value()) << row.note << " at every client";
        }
    }
}

TEST(InitCanvasOperator, ANoteWithATextColourOrInAFolderIsLeftAlone) {
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree& tree) {
        tree.set<Cobalt::ColorPMA>(*tree.add(tree.root(), "coloured", "tavola_note"), "text-color",
                                   Cobalt::ColorPMA(0, 0, 1, 1));
        tree.add(*tree.add(tree.root(), "folder", "tavola_folder"), "inner", "tavola_note");
    });
    Tessel::ServerNode const& root = *document->rootNode();
    EXPECT_EQ(storedValue<Cobalt::ColorPMA>(*root.childNode("coloured"), "text-color"),
              Cobalt::ColorPMA(0, 0, 1, 1));
    EXPECT_EQ(root.childNode("coloured")->childAttribute("auto-text-color"), nullptr);
    EXPECT_EQ(root.childNode("folder")->childNode("inner")->childAttribute("text-color"), nullptr)
        << "only direct children of the root are visited";
}

TEST(InitCanvasOperator, AStoredNoteTextPresetListIsKeptUntouched) {
    std::vector<Cobalt::ColorPMA> const stored{Cobalt::ColorPMA(0.5f, 0, 0, 1)};
    OperatorSites sites;
    sites.openStored([&](StoredTree& tree) {
        tree.root().addChildAttribute(std::make_shared<Tessel::ServerAttributeVectorContainer>(
                                          &tree.document(), "note-text-color-presets",
                                          Datamodel::encodeColorPresets(tree.document(), stored), 1,
                                          0x1000030),
                                      false);
    });
    auto& a = sites.join("a");
    EXPECT_EQ(a.canvas().noteTextColorPresets.values(), stored);
}

TEST(InitCanvasOperator, FixedChildrenOfAWrongTypeAreKeptAndTheCanvasLoads) {
    OperatorSites sites;
    auto document = sites.openStored([](StoredTree& tree) {
        tree.add(tree.root(), "background", "tavola_note");
        tree.add(tree.root(), "connectors", "tavola_folder");
    });
    auto& a = sites.join("a");
    Tessel::ServerNode const& root = *document->rootNode();
    EXPECT_EQ(root.childNode("background")->typeKey(), QByteArray("tavola_note"))
        << "a child of that name exists";
    EXPECT_NE(root.childNode("upload-folder"), nullptr) << "the other fixed children are still created";
    EXPECT_EQ(a.canvas().background(), nullptr) << "the accessor finds no background of the right class";
    EXPECT_NE(childAt<Datamodel::Note>(a.canvas(), "background"), nullptr);
}

TEST(InitCanvasOperator, ARootLookedUpAfterTheDocumentIsGoneDoesNothing) {
    Datamodel::InitCanvasServerOperator op;
    EXPECT_NO_THROW(op.rootNodeUpdated()) << "an operator without a document ends silently";
}

TEST(InitCanvasOperator, TheRepairsAreTheServersOwnAndReachTheClientThatCausedThem) {
    OperatorSites sites;
    auto document =
        sites.openStored([](StoredTree& tree) { tree.add(tree.root(), "note-1", "tavola_note"); });
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    auto* atA = childAt<Datamodel::Note>(a.canvas(), "note-1");
    ASSERT_NE(atA, nullptr);
    atA->depth = 0.25f;
    sites.deliver();
    // The next pass runs as a's change would: with a acting.
    auto* acting = document->connections().front();
    document->setActingConnection(acting);
    sites.serverOperator<Datamodel::InitCanvasServerOperator>()->rootNodeUpdated();
    EXPECT_EQ(document->actingConnection(), acting) << "the acting connection is restored";
    document->setActingConnection(nullptr);
    sites.deliver();
    EXPECT_EQ(atA->depth.value(), 10.0f) << "a gets the repair of its own write";
    EXPECT_EQ(childAt<Datamodel::Note>(b.canvas(), "note-1")->depth.value(), 10.0f);
}
