#include "media/VideoOutputArea.hpp"

#include "tests/media/AttributeTable.hpp"

#include <gtest/gtest.h>

using Basalt::Attribute;
using MediaTest::holds;

namespace {

using Text = Basalt::AttributeT<QString>;

/// A stand-in for the canvas root: the map functions need only a node to hang maps on.
class Canvas : public Datamodel::CanvasItem {};

std::size_t childCount(Basalt::Node const& node) {
    std::size_t count = 0;
    for (auto const& entry : node.attributes()) {
        if (dynamic_cast<Tessel::Element const*>(entry.second)) {
            ++count;
        }
    }
    return count;
}

} // namespace

TEST(VideoOutputAnchor, AttributesAreDeclaredInOrderWithTheirTypesAndDefaults) {
    Datamodel::VideoOutputAnchor anchor;
    std::vector<MediaTest::AttributeRow> const rows = {
        {"size", "size2:float",
         holds<Basalt::AttributeT<Fathom::SizeT<float>>>(Fathom::SizeT<float>(900.0f, 600.0f)),
         Attribute::LAYER_USER},
        {"title", "string", holds<Text>(QString()), Attribute::LAYER_DEFAULT},
    };
    MediaTest::expectAttributeTable(anchor, rows, Datamodel::CanvasItem().attributes().size());
}

TEST(VideoOutputSink, AttributesAreDeclaredInOrderWithTheirTypesAndDefaults) {
    Datamodel::VideoOutputSink sink;
    std::vector<MediaTest::AttributeRow> const rows = {
        {"source", "string", holds<Text>(QString()), Attribute::LAYER_DEFAULT},
        {"output-name", "string", holds<Text>(QString()), Attribute::LAYER_DEFAULT},
        {"show-menus", "bool", holds<Basalt::AttributeT<bool>>(false), Attribute::LAYER_DEFAULT},
    };
    MediaTest::expectAttributeTable(sink, rows, 0);
}

TEST(VideoOutputMap, HasNoAttributes) {
    Datamodel::VideoOutputMap map;
    MediaTest::expectAttributeTable(map, {}, 0);
    EXPECT_TRUE(map.attributes().empty());
}

// Each row: a class and the flag bits it hands to the platform.
TEST(VideoOutputMap, EachClassHandsItsFlagsToTheElement) {
    Datamodel::VideoOutputAnchor anchor;
    Datamodel::VideoOutputMap map;
    Datamodel::VideoOutputSink sink;
    struct Row {
        Tessel::Element const* element;
        unsigned flags;
    } const rows[] = {{&anchor, 0}, {&map, 1}, {&sink, 0}};
    for (Row const& row : rows) {
        EXPECT_EQ(row.element->flags().bits(), row.flags) << typeid(*row.element).name();
    }
}

TEST(VideoOutputAnchor, ANewOneIs900By600OnTheUserLayer) {
    Datamodel::VideoOutputAnchor anchor;
    EXPECT_EQ(anchor.size.value(), Fathom::SizeT<float>(900.0f, 600.0f));
    EXPECT_TRUE(anchor.size.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(VideoOutputAnchor, UiTitleDefaultIsVideoOutput) {
    Datamodel::VideoOutputAnchor anchor;
    EXPECT_EQ(anchor.uiTitleDefault(), QStringLiteral("Video output"));
    EXPECT_EQ(anchor.uiTitle(), QStringLiteral("Video output"));
}

TEST(VideoOutputAnchor, CopyValuesLeavesTheTitleBehind) {
    Datamodel::VideoOutputAnchor source;
    source.title = QStringLiteral("Main wall");
    source.scale = 2.0f;
    Datamodel::VideoOutputAnchor copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.scale.value(), 2.0f);
    EXPECT_FALSE(copy.title.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(VideoOutputMap, GetCalledTwiceWithOneIdReturnsTheSameMap) {
    Canvas canvas;
    Datamodel::VideoOutputMap* first = Datamodel::VideoOutputMap::getVideoOutputMap(canvas, "wall");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(canvas.attribute("video_output_wall"), first);
    EXPECT_EQ(first->host(), &canvas);
    Datamodel::VideoOutputMap* second = Datamodel::VideoOutputMap::getVideoOutputMap(canvas, "wall");
    EXPECT_EQ(second, first);
    EXPECT_EQ(childCount(canvas), 1u) << "a second call must not add another map";
}

TEST(VideoOutputMap, GetWithAnotherIdAddsAnotherMap) {
    Canvas canvas;
    Datamodel::VideoOutputMap* wall = Datamodel::VideoOutputMap::getVideoOutputMap(canvas, "wall");
    Datamodel::VideoOutputMap* lobby = Datamodel::VideoOutputMap::getVideoOutputMap(canvas, "lobby");
    EXPECT_NE(wall, lobby);
    EXPECT_EQ(canvas.attribute("video_output_lobby"), lobby);
    EXPECT_EQ(childCount(canvas), 2u);
}

TEST(VideoOutputMap, AChildOfThatNameOfAnotherClassIsNotReused) {
    Canvas canvas;
    auto* other = new Datamodel::VideoOutputSink();
    canvas.addAttribute("video_output_wall", other);
    Datamodel::VideoOutputMap* map = Datamodel::VideoOutputMap::getVideoOutputMap(canvas, "wall");
    ASSERT_NE(map, nullptr);
    EXPECT_NE(static_cast<Attribute*>(map), static_cast<Attribute*>(other));
    EXPECT_EQ(map->host(), &canvas);
    EXPECT_EQ(map->name(), QByteArray("video_output_wall")) << "the new map is added over the name";
    EXPECT_EQ(childCount(canvas), 2u);
}

TEST(VideoOutputMap, SinkCalledTwiceWithOneNameReturnsTheSameSink) {
    Datamodel::VideoOutputMap map;
    Datamodel::VideoOutputSink* first = map.sink(QStringLiteral("HDMI 1"));
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->outputName.value(), QStringLiteral("HDMI 1"));
    EXPECT_TRUE(first->outputName.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(map.sink(QStringLiteral("HDMI 1")), first);
    EXPECT_EQ(map.attributes().size(), 1u) << "the map must hold one sink per name";
}

TEST(VideoOutputMap, SinksAreNamedByFreshUuidsAndFoundByOutputName) {
    Datamodel::VideoOutputMap map;
    Datamodel::VideoOutputSink* one = map.sink(QStringLiteral("one"));
    Datamodel::VideoOutputSink* two = map.sink(QStringLiteral("two"));
    EXPECT_NE(one, two);
    EXPECT_EQ(one->name().size(), 36) << "a sink's child name is a uuid";
    EXPECT_NE(one->name(), two->name());
    EXPECT_NE(one->name(), QByteArray("one"));
    EXPECT_EQ(map.sink(QStringLiteral("two")), two);
    EXPECT_EQ(map.attributes().size(), 2u);
}

TEST(VideoOutputMap, SinkMatchesTheOutputNameExactly) {
    Datamodel::VideoOutputMap map;
    Datamodel::VideoOutputSink* lower = map.sink(QStringLiteral("hdmi"));
    Datamodel::VideoOutputSink* upper = map.sink(QStringLiteral("HDMI"));
    EXPECT_NE(lower, upper);
}

TEST(VideoOutputMap, SinkSkipsChildrenThatAreNotSinks) {
    Datamodel::VideoOutputMap map;
    auto* anchor = new Datamodel::VideoOutputAnchor();
    map.addAttribute("anchor", anchor);
    Datamodel::VideoOutputSink* sink = map.sink(QString());
    ASSERT_NE(sink, nullptr);
    EXPECT_EQ(map.attributes().size(), 2u);
}

TEST(VideoOutputSink, SetSourceItemNamePointsAtTheElementAndGivesItsNameBack) {
    Datamodel::VideoOutputAnchor anchor;
    anchor.initName();
    Datamodel::VideoOutputSink sink;
    sink.setSourceItemName(anchor);
    EXPECT_EQ(sink.source.value(), QStringLiteral("item:") + QString::fromUtf8(anchor.name()));
    EXPECT_TRUE(sink.source.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(sink.sourceItemName(), anchor.name());
}

TEST(VideoOutputSink, SetSourceItemNameOfAnUnnamedElementIsTheBarePrefix) {
    Datamodel::VideoOutputAnchor anchor;
    Datamodel::VideoOutputSink sink;
    sink.setSourceItemName(anchor);
    EXPECT_EQ(sink.source.value(), QStringLiteral("item:"));
}

// Each row: a "source" that doesn't point at an item.
TEST(VideoOutputSink, SourceItemNameIsNullWithoutTheExactPrefix) {
    char const* const sources[] = {"", "camera:lobby", "ITEM:abc", "Item:abc", " item:abc", "item"};
    for (char const* text : sources) {
        Datamodel::VideoOutputSink sink;
        sink.source = QString::fromLatin1(text);
        EXPECT_TRUE(sink.sourceItemName().isNull()) << "source \"" << text << "\"";
    }
}

TEST(VideoOutputSink, SourceItemNameKeepsNonAsciiNamesIntact) {
    Datamodel::VideoOutputSink sink;
    sink.source = QStringLiteral("item:") + QString::fromUtf8("pr\xc3\xa4sentation");
    EXPECT_EQ(sink.sourceItemName(), QByteArray("pr\xc3\xa4sentation"));
}
