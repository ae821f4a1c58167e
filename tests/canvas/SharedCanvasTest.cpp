#include "canvas/SharedCanvas.hpp"

#include "canvas/CanvasBackground.hpp"
#include "canvas/Connector.hpp"
#include "canvas/Folder.hpp"
#include "canvas/Presentation.hpp"
#include "platform/basalt/Archive.hpp"

#include <gtest/gtest.h>

#include <vector>

using Datamodel::SharedCanvas;

TEST(SharedCanvas, ANewCanvasHasItsPresetsAndNoWellKnownChildren) {
    SharedCanvas canvas;
    EXPECT_EQ(canvas.noteBackgroundColorPresets.values(), SharedCanvas::noteBackgroundPresetsDefaults());
    EXPECT_EQ(canvas.noteBackgroundColorPresets.size(), 6u);
    EXPECT_TRUE(canvas.annotationColorPresets.values().empty());
    EXPECT_TRUE(canvas.noteTextColorPresets.values().empty());
    EXPECT_TRUE(canvas.connectorColorPresets.values().empty());
    EXPECT_TRUE(canvas.anchorIds.values().empty());
    EXPECT_EQ(canvas.resetColorPresetsRequest.value(), 0);
    EXPECT_EQ(canvas.background(), nullptr);
    EXPECT_EQ(canvas.connectors(), nullptr);
    EXPECT_EQ(canvas.presentations(), nullptr);
    EXPECT_EQ(canvas.uploadFolder(), nullptr);
    EXPECT_EQ(canvas.flags().bits(), 1u);
}

TEST(SharedCanvas, AttributesAfterTheItemsAreDeclaredInOrder) {
    SharedCanvas canvas;
    auto const& attributes = canvas.attributes();
    QByteArray const own[] = {"anchor-ids",
                              "annotation-color-presets",
                              "note-background-color-presets",
                              "note-text-color-presets",
                              "connector-color-presets",
                              "reset-color-presets-request"};
    ASSERT_GE(attributes.size(), std::size(own));
    std::size_t const first = attributes.size() - std::size(own);
    char const* const types[] = {"vector:long",  "vector:color", "vector:color",
                                 "vector:color", "vector:color", "int"};
    for (std::size_t i = 0; i < std::size(own); ++i) {
        EXPECT_EQ(attributes[first + i].first, own[i]);
        EXPECT_EQ(attributes[first + i].second->type(), QByteArray(types[i])) << own[i].constData();
    }
    EXPECT_EQ(attributes[first - 1].first, QByteArray("pinned")) << "the item's attributes come first";
}

TEST(SharedCanvas, TwoNewCanvasesHaveDifferentNames) {
    SharedCanvas first;
    SharedCanvas second;
    EXPECT_FALSE(first.name().isEmpty());
    EXPECT_NE(first.name(), second.name());
}

TEST(SharedCanvas, PresetDefaultsArePremultipliedInTheirOrder) {
    auto const& notes = SharedCanvas::noteBackgroundPresetsDefaults();
    ASSERT_EQ(notes.size(), 6u);
    EXPECT_EQ(notes.front(), Cobalt::toPMA(Cobalt::Color("#3aaa34")));
    EXPECT_EQ(notes.back(), Cobalt::ColorPMA(1, 1, 1, 1));
    auto const& annotations = SharedCanvas::annotationPresetsDefaults();
    ASSERT_EQ(annotations.size(), 6u);
    EXPECT_EQ(annotations[1], Cobalt::ColorPMA(0, 0, 0, 1));
    EXPECT_EQ(annotations[5], Cobalt::toPMA(Cobalt::Color("#f20000")));
    EXPECT_EQ(&notes, &SharedCanvas::noteBackgroundPresetsDefaults()) << "one list, built once";
}

// Each row: the list before, the list after, and whether one event is sent.
TEST(SharedCanvas, RemoveNullAnchorIdsDropsZerosAndReportsOnlyARealChange) {
    struct Row {
        std::vector<long> before;
        std::vector<long> after;
        int events;
    } const rows[] = {
        {{5, 0, 7, 0}, {5, 7}, 1},
        {{5, 7}, {5, 7}, 0},
        {{0}, {}, 1},
        {{}, {}, 0},
    };
    for (Row const& row : rows) {
        SharedCanvas canvas;
        canvas.anchorIds.setValues(row.before);
        int events = 0;
        canvas.anchorIds.events().addListener(Basalt::AttributeEvent::LIST_CHANGED,
                                              [&events](Basalt::AttributeEvent) { ++events; });
        canvas.removeNullAnchorIds();
        EXPECT_EQ(canvas.anchorIds.values(), row.after);
        EXPECT_EQ(events, row.events) << "list of " << row.before.size();
    }
}

namespace {

using ColorList = Basalt::AttributeVectorContainer<Cobalt::ColorPMA>;

std::vector<ColorList*> colorLists(SharedCanvas& canvas) {
    return {&canvas.annotationColorPresets, &canvas.noteBackgroundColorPresets, &canvas.noteTextColorPresets,
            &canvas.connectorColorPresets};
}

} // namespace

// Only an annotation's points replace on read; the canvas's lists append like other lists. Reading a stored
// document whole (ElementArchive) is what replaces them.
TEST(SharedCanvas, DeserializeAppendsToEveryListOfTheCanvas) {
    Cobalt::ColorPMA const stored(0.5f, 0.25f, 0.0f, 1.0f);
    SharedCanvas written;
    written.anchorIds.setValues({4L});
    for (ColorList* list : colorLists(written)) {
        list->setValues({stored});
    }
    Basalt::Archive archive;
    Basalt::ArchiveElement const element = written.serialize(archive);

    SharedCanvas read;
    read.anchorIds.setValues({3L});
    std::vector<std::vector<Cobalt::ColorPMA>> expected;
    for (ColorList const* list : colorLists(read)) {
        expected.push_back(list->values());
        expected.back().push_back(stored);
    }
    read.deserialize(element);
    EXPECT_EQ(read.anchorIds.values(), (std::vector<long>{3L, 4L}));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(colorLists(read)[i]->values(), expected[i]) << colorLists(read)[i]->name().constData();
    }
    EXPECT_EQ(read.noteBackgroundColorPresets.size(),
              SharedCanvas::noteBackgroundPresetsDefaults().size() + 1)
        << "the stored colour follows the six a new canvas starts with";
}

TEST(SharedCanvas, FileSuffixWithADotIsTheDotAndTheSuffix) {
    EXPECT_EQ(SharedCanvas::fileFormatSuffix(false), QStringLiteral("kxtavola"));
    EXPECT_EQ(SharedCanvas::fileFormatSuffix(true),
              QStringLiteral(".") + SharedCanvas::fileFormatSuffix(false));
    EXPECT_EQ(SharedCanvas::defaultSqlSchemaName(), QStringLiteral("kx_tavola"));
}

TEST(SharedCanvas, WellKnownChildrenAreFoundByNameAndClass) {
    SharedCanvas canvas;
    auto* background = new Datamodel::CanvasBackground();
    canvas.addAttribute("background", background);
    auto* folder = new Datamodel::Folder();
    canvas.addAttribute("upload-folder", folder);
    auto* connectors = new Datamodel::ConnectorContainer();
    canvas.addAttribute("connectors", connectors);
    auto* presentations = new Datamodel::PresentationContainer();
    canvas.addAttribute("presentations", presentations);
    EXPECT_EQ(canvas.background(), background);
    EXPECT_EQ(canvas.uploadFolder(), folder);
    EXPECT_EQ(canvas.connectors(), connectors);
    EXPECT_EQ(canvas.presentations(), presentations);
}

TEST(SharedCanvas, AChildNamedBackgroundOfAnotherClassIsNoBackground) {
    SharedCanvas canvas;
    canvas.addAttribute("background", new Datamodel::Folder());
    EXPECT_EQ(canvas.background(), nullptr);
}
