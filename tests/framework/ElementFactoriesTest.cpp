#include "canvas/SharedCanvas.hpp"
#include "canvas/Table.hpp"
#include "client/ClientState.hpp"
#include "client/EmblemActions.hpp"
#include "client/EmblemFolder.hpp"
#include "index/ServerIndex.hpp"
#include "session/TransientRoot.hpp"
#include "session/View.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace {

struct KeyRow {
    char const* key;
    unsigned flags;
    char const* groups; // "movement", "cell", "container", "note", "asset" or nullptr
};

// The canvas factory's keys in order of registration, with the flags of their class and their groups.
KeyRow const canvasKeys[] = {
    {"tavola_anchor", 0, "movement"},
    {"tavola_annotation", 1, nullptr},
    {"tavola_browser", 0, "container"},
    {"tavola_bookmark", 1, "container"},
    {"tavola_bookmark_container", 1, "container"},
    {"tavola_asset", 0, "asset"},
    {"tavola_canvas_link", 0, "movement"},
    {"tavola_image_asset", 0, "movement"},
    {"tavola_note", 0, "note"},
    {"tavola_pdf_asset", 0, "movement"},
    {"tavola_video_asset", 0, "movement"},
    {"tavola_video_ip_stream", 0, "movement"},
    {"tavola_video_screen_share_stream", 0, "movement"},
    {"tavola_video_aux_pc_stream", 0, "movement"},
    {"tavola_shared_canvas", 1, "movement"},
    {"tavola_table", 0, "movement"},
    {"tavola_table_cell", 0, "cell"},
    {"tavola_video_output_anchor", 0, "movement"},
    {"tavola_video_output_map", 1, "movement"},
    {"tavola_video_output_sink", 0, "movement"},
    {"tavola_presentation_container", 1, nullptr},
    {"tavola_presentation", 1, nullptr},
    {"tavola_presentation_slide", 0, nullptr},
    {"tavola_canvas_background", 1, nullptr},
    {"tavola_rdp_connection", 0, "movement"},
    {"tavola_connector", 3, "movement"},
    {"tavola_connector_container", 0, nullptr},
    {"tavola_connection", 1, nullptr},
    {"tavola_leadership", 0, nullptr},
    {"tavola_interaction", 1, nullptr},
    {"tavola_view", 1, nullptr},
    {"tavola_folder_item", 0, nullptr},
    {"tavola_folder", 0, nullptr},
};

QVector<QByteArray> movement() {
    return Datamodel::CanvasItem::movementAttributeNames();
}

void expectGroups(Tessel::AttributeGroups const* groups, char const* kind, char const* key) {
    if (!kind) {
        EXPECT_EQ(groups, nullptr) << key << " has no groups";
        return;
    }
    ASSERT_NE(groups, nullptr) << key;
    QString const name = QString::fromLatin1(kind);
    if (name == "cell") {
        EXPECT_TRUE(groups->lockGroups().isEmpty()) << key;
        EXPECT_EQ(groups->group().keys(), (QVector<QByteArray>{"depth", "location", "scale", "size"})) << key;
        return;
    }
    QVector<QByteArray> expected = movement();
    if (name == "note") {
        expected.append("text");
    } else if (name == "asset") {
        expected += QVector<QByteArray>{"model-yaw", "model-pitch"};
    }
    ASSERT_EQ(groups->lockGroups().size(), 1) << key;
    EXPECT_EQ(groups->lockGroups().first(), expected) << key;
    EXPECT_TRUE(groups->group().keys().isEmpty()) << key;
}

template <typename Factory>
void expectMakesEveryKey(Factory const& factory, std::vector<char const*> const& keys) {
    for (char const* key : keys) {
        std::unique_ptr<Tessel::Element> made(factory->create(key));
        ASSERT_TRUE(made) << key;
        EXPECT_EQ(factory->keyOf(*made), QByteArray(key))
            << "the class of " << key << " maps back to its key";
    }
}

} // namespace

TEST(ElementFactories, DocumentTypesAreTheirWords) {
    EXPECT_EQ(Datamodel::SharedCanvas::documentType(), QByteArray("kx-tavola"));
    EXPECT_EQ(Datamodel::ServerIndex::documentType(), QByteArray("server-index"));
    EXPECT_EQ(Datamodel::ClientState::documentType(), QByteArray("client-state"));
    EXPECT_EQ(Datamodel::EmblemActionMap::documentType(), QByteArray("emblem-action"));
    EXPECT_EQ(Datamodel::EmblemFolder::documentType(), QByteArray("personal-folder"));
}

TEST(ElementFactories, TheCanvasFactoryMakesEveryKeyWithItsFlagsAndGroups) {
    auto const factory = Datamodel::SharedCanvas::elementFactory();
    for (KeyRow const& row : canvasKeys) {
        std::unique_ptr<Tessel::Element> made(factory->create(row.key));
        ASSERT_TRUE(made) << row.key;
        EXPECT_EQ(factory->keyOf(*made), QByteArray(row.key));
        EXPECT_EQ(made->flags().bits(), row.flags) << row.key;
        expectGroups(factory->findAttributeGroupsForType(row.key).get(), row.groups, row.key);
    }
    EXPECT_EQ(factory->makers().size(), std::size(canvasKeys) + 1) << "the listed keys and \"node\"";
}

TEST(ElementFactories, TheCanvasFactoryMakesATransientRootUnderNode) {
    auto const factory = Datamodel::SharedCanvas::elementFactory();
    std::unique_ptr<Tessel::Element> root(factory->createTransientRoot());
    ASSERT_TRUE(dynamic_cast<Datamodel::TransientRoot*>(root.get()));
    EXPECT_EQ(factory->keyOf(*root), QByteArray("node"));
    std::unique_ptr<Tessel::Element> plain(factory->create("node"));
    EXPECT_EQ(typeid(*plain), typeid(Tessel::Element)) << "\"node\" still makes a plain element";
}

TEST(ElementFactories, GroupsOfMovementAndContainersAreSeparateObjectsWithTheSameKeys) {
    auto const factory = Datamodel::SharedCanvas::elementFactory();
    auto const anchor = factory->findAttributeGroupsForType("tavola_anchor");
    auto const table = factory->findAttributeGroupsForType("tavola_table");
    auto const browser = factory->findAttributeGroupsForType("tavola_browser");
    EXPECT_EQ(anchor, table) << "one movement group object serves every item";
    EXPECT_NE(anchor, browser);
    EXPECT_EQ(anchor->lockGroups(), browser->lockGroups());
}

TEST(ElementFactories, ATableIsMadeOneByOne) {
    std::unique_ptr<Tessel::Element> made(Datamodel::SharedCanvas::elementFactory()->create("tavola_table"));
    auto* table = dynamic_cast<Datamodel::Table*>(made.get());
    ASSERT_TRUE(table);
    EXPECT_EQ(table->gridSize.value(), Fathom::SizeT<int>(1, 1));
}

TEST(ElementFactories, AnnotationsHaveNoGroupsInTheCanvasFactory) {
    EXPECT_EQ(Datamodel::SharedCanvas::elementFactory()->findAttributeGroupsForType("tavola_annotation"),
              nullptr);
}

TEST(ElementFactories, TableCellGroupsAreOneObjectInTheCanvasAndThePersonalFolder) {
    auto const canvas =
        Datamodel::SharedCanvas::elementFactory()->findAttributeGroupsForType("tavola_table_cell");
    auto const folder =
        Datamodel::EmblemFolder::elementFactory()->findAttributeGroupsForType("tavola_table_cell");
    ASSERT_TRUE(canvas);
    EXPECT_EQ(canvas, folder) << "shared, not copied";
}

TEST(ElementFactories, ThePersonalFolderFactoryKnowsOnlyItsKinds) {
    auto const factory = Datamodel::EmblemFolder::elementFactory();
    expectMakesEveryKey(factory, {"tavola_folder_item", "tavola_folder", "tavola_personal_folder",
                                  "tavola_annotation", "tavola_asset", "tavola_browser", "tavola_canvas_link",
                                  "tavola_image_asset", "tavola_note", "tavola_pdf_asset", "tavola_table",
                                  "tavola_table_cell", "tavola_video_asset"});
    for (char const* foreign :
         {"tavola_connector", "tavola_anchor", "tavola_video_ip_stream", "tavola_view"}) {
        EXPECT_EQ(factory->create(foreign), nullptr) << foreign;
    }
    for (char const* key : {"tavola_note", "tavola_asset", "tavola_browser"}) {
        EXPECT_EQ(factory->findAttributeGroupsForType(key), nullptr) << "only cells have groups here";
    }
}

TEST(ElementFactories, CloningAViewThroughThePersonalFolderFactoryGivesNull) {
    Datamodel::View view;
    EXPECT_EQ(view.cloneElement(Datamodel::EmblemFolder::elementFactory()), nullptr);
    EXPECT_EQ(Datamodel::EmblemFolder::cloneElementHierarchy(&view), nullptr);
}

TEST(ElementFactories, TheClientStateAndEmblemActionFactoriesMakeTheirKeys) {
    expectMakesEveryKey(Datamodel::ClientState::elementFactory(),
                        {"tavola_client_state", "tavola_workspace", "client_state_video_map",
                         "client_state_video_output_sink", "client_state_video_input_map",
                         "client_state_video_input"});
    expectMakesEveryKey(Datamodel::EmblemActionMap::elementFactory(), {"emblem_action", "emblem_action_map"});
}

TEST(ElementFactories, TheServerIndexFactoryMakesItsSevenKeysWithoutGroups) {
    auto const factory = Datamodel::ServerIndex::elementFactory();
    std::vector<char const*> const keys{
        "server_index", "server_index_folder", "canvas_document", "user_container", "user",
        "group",        "group_container"};
    expectMakesEveryKey(factory, keys);
    for (char const* key : keys) {
        EXPECT_EQ(factory->findAttributeGroupsForType(key), nullptr) << key << " has no groups";
    }
    EXPECT_EQ(factory->makers().size(), keys.size() + 1) << "the listed keys and \"node\"";
    EXPECT_EQ(factory, Datamodel::ServerIndex::elementFactory()) << "built once";
}

TEST(ElementFactories, OneClassServesUnderDifferentKeysInDifferentFactories) {
    std::unique_ptr<Tessel::Element> map(
        Datamodel::ClientState::elementFactory()->create("client_state_video_map"));
    EXPECT_EQ(Datamodel::SharedCanvas::elementFactory()->keyOf(*map), QByteArray("tavola_video_output_map"));
}

TEST(ElementFactories, EachFactoryIsBuiltOnceAndSharedAcrossThreads) {
    std::vector<std::shared_ptr<Tessel::ElementFactory>> seen(8);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] { seen[i] = Datamodel::SharedCanvas::elementFactory(); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (auto const& factory : seen) {
        EXPECT_EQ(factory, seen.front());
    }
    EXPECT_EQ(Datamodel::ClientState::elementFactory(), Datamodel::ClientState::elementFactory());
}
