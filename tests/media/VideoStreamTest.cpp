#include "media/VideoStream.hpp"

#include "tests/media/AttributeTable.hpp"

#include <gtest/gtest.h>

#include <memory>

using Basalt::Attribute;
using MediaTest::holds;

namespace {

using Text = Basalt::AttributeT<QString>;
using Size = Basalt::AttributeT<Fathom::SizeT<float>>;

/// The rows every stream shares: the size its constructor writes, then the four stream attributes.
std::vector<MediaTest::AttributeRow> streamRows() {
    return {
        {"size", "size2:float", holds<Size>(Fathom::SizeT<float>(800.0f, 450.0f)), Attribute::LAYER_USER},
        {"host-site", "string", holds<Text>(QString()), Attribute::LAYER_DEFAULT},
        {"source", "string", holds<Text>(QString()), Attribute::LAYER_DEFAULT},
        {"floating-host-view", "string", holds<Text>(QString()), Attribute::LAYER_DEFAULT},
        {"title", "string", holds<Text>(QString()), Attribute::LAYER_DEFAULT},
    };
}

std::vector<MediaTest::AttributeRow> touchStreamRows() {
    std::vector<MediaTest::AttributeRow> rows = streamRows();
    rows.push_back(
        {"remote-touch-enabled", "bool", holds<Basalt::AttributeT<bool>>(false), Attribute::LAYER_DEFAULT});
    return rows;
}

std::size_t inheritedCount() {
    return Datamodel::CanvasItem().attributes().size();
}

} // namespace

TEST(VideoStream, AttributesAreDeclaredInOrderWithTheirTypesAndDefaults) {
    Datamodel::VideoStream stream;
    MediaTest::expectAttributeTable(stream, streamRows(), inheritedCount());
}

TEST(IPVideoStream, AttributesAreThoseOfAVideoStream) {
    Datamodel::IPVideoStream stream;
    MediaTest::expectAttributeTable(stream, streamRows(), inheritedCount());
}

TEST(ScreenShareStream, AttributesAreDeclaredInOrderWithTheirTypesAndDefaults) {
    Datamodel::ScreenShareStream stream;
    MediaTest::expectAttributeTable(stream, touchStreamRows(), inheritedCount());
}

TEST(AuxPcStream, AttributesAreDeclaredInOrderWithTheirTypesAndDefaults) {
    Datamodel::AuxPcStream stream;
    MediaTest::expectAttributeTable(stream, touchStreamRows(), inheritedCount());
}

TEST(ScreenShareStream, ANewOneIs800By450WithRemoteTouchOff) {
    Datamodel::ScreenShareStream stream;
    EXPECT_EQ(stream.size.value(), Fathom::SizeT<float>(800.0f, 450.0f));
    EXPECT_TRUE(stream.size.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_FALSE(stream.remoteTouchEnabled.value());
}

// Each row: a stream class and the title it shows when it has none of its own.
TEST(VideoStream, EachKindHasItsOwnDefaultTitle) {
    struct Row {
        std::unique_ptr<Datamodel::VideoStream> stream;
        char const* title;
    };
    Row rows[] = {
        {std::make_unique<Datamodel::VideoStream>(), "Video stream"},
        {std::make_unique<Datamodel::IPVideoStream>(), "IP video stream"},
        {std::make_unique<Datamodel::ScreenShareStream>(), "Screen share"},
        {std::make_unique<Datamodel::AuxPcStream>(), "Aux PC"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.stream->uiTitleDefault(), QString::fromLatin1(row.title));
        EXPECT_EQ(row.stream->uiTitle(), QString::fromLatin1(row.title))
            << "an empty title shows the default";
    }
}

TEST(VideoStream, UiTitleIsTheTitleWhenThereIsOne) {
    Datamodel::IPVideoStream stream;
    stream.title = QStringLiteral("Lobby camera");
    EXPECT_EQ(stream.uiTitle(), QStringLiteral("Lobby camera"));
}

TEST(VideoStream, CopyValuesCopiesTheStreamAttributesDefinedOnTheUserLayer) {
    Datamodel::IPVideoStream source;
    source.hostSite = QStringLiteral("site-a");
    source.source = QStringLiteral("rtsp://camera/1");
    source.title = QStringLiteral("Camera");
    source.location = Fathom::Vector2T<float>(10.0f, 20.0f);
    Datamodel::IPVideoStream copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.hostSite.value(), QStringLiteral("site-a"));
    EXPECT_EQ(copy.source.value(), QStringLiteral("rtsp://camera/1"));
    EXPECT_EQ(copy.title.value(), QStringLiteral("Camera"));
    EXPECT_EQ(copy.location.value(), Fathom::Vector2T<float>(10.0f, 20.0f));
    EXPECT_FALSE(copy.floatingHostView.isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "a value that was only a default stays a default";
}

TEST(VideoStream, CopyValuesBetweenKindsOfStreamIsAllowed) {
    Datamodel::ScreenShareStream source;
    source.hostSite = QStringLiteral("site-b");
    Datamodel::IPVideoStream copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.hostSite.value(), QStringLiteral("site-b"));
}

TEST(VideoStream, CopyValuesFromAnotherClassReturnsFalseAndCopiesNothing) {
    Datamodel::CanvasItem item;
    item.scale = 3.0f;
    Datamodel::AuxPcStream stream;
    EXPECT_FALSE(stream.copyValues(item));
    EXPECT_FALSE(stream.scale.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(AuxPcStream, CopyValuesLeavesRemoteTouchEnabledAsItWas) {
    Datamodel::AuxPcStream source;
    source.remoteTouchEnabled = true;
    source.title = QStringLiteral("Lab PC");
    Datamodel::AuxPcStream copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.title.value(), QStringLiteral("Lab PC"));
    EXPECT_FALSE(copy.remoteTouchEnabled.value()) << "remote touch must not come along with a copy";
    EXPECT_FALSE(copy.remoteTouchEnabled.isValueDefinedOnLayer(Attribute::LAYER_USER));

    Datamodel::AuxPcStream enabled;
    enabled.remoteTouchEnabled = true;
    Datamodel::AuxPcStream plain;
    EXPECT_TRUE(enabled.copyValues(plain));
    EXPECT_TRUE(enabled.remoteTouchEnabled.value()) << "the target keeps its own remote touch";
}

// Each row: a stream class and the flag bits it hands to the platform.
TEST(VideoStream, EachKindHandsFlagsZeroToTheElement) {
    Datamodel::VideoStream stream;
    Datamodel::IPVideoStream ip;
    Datamodel::ScreenShareStream screen;
    Datamodel::AuxPcStream aux;
    struct Row {
        Tessel::Element const* element;
        unsigned flags;
    } const rows[] = {{&stream, 0}, {&ip, 0}, {&screen, 0}, {&aux, 0}};
    for (Row const& row : rows) {
        EXPECT_EQ(row.element->flags().bits(), row.flags) << typeid(*row.element).name();
    }
}
