#include "media/VideoAsset.hpp"

#include "tests/media/AttributeTable.hpp"

#include <gtest/gtest.h>

using Basalt::Attribute;
using MediaTest::holds;

TEST(VideoAsset, AttributesAreDeclaredInOrderWithTheirTypesAndDefaults) {
    Datamodel::VideoAsset video;
    std::size_t const inherited = Datamodel::Asset().attributes().size();
    std::vector<MediaTest::AttributeRow> const rows = {
        {"seek-position", "float", holds<Basalt::AttributeT<float>>(0.0f), Attribute::LAYER_DEFAULT},
        {"seek-timestamp", "timestamp", holds<Basalt::AttributeT<Cobalt::TimeStamp>>(Cobalt::TimeStamp()),
         Attribute::LAYER_DEFAULT},
        {"playback-state", "enum:Datamodel::PlaybackState",
         holds<Basalt::AttributeT<Datamodel::PlaybackState>>(Datamodel::PLAYBACK_STOPPED),
         Attribute::LAYER_DEFAULT},
        {"muted", "bool", holds<Basalt::AttributeT<bool>>(false), Attribute::LAYER_DEFAULT},
        {"duration", "float", holds<Basalt::AttributeT<float>>(0.0f), Attribute::LAYER_DEFAULT},
    };
    MediaTest::expectAttributeTable(video, rows, inherited);
}

TEST(VideoAsset, PlaybackStatesNameStoppedPlayingAndPaused) {
    struct Row {
        char const* name;
        int value;
    } const rows[] = {{"stopped", 0}, {"playing", 1}, {"paused", 2}};
    Basalt::EnumNames const& names = Datamodel::VideoAsset::playbackStates();
    EXPECT_EQ(&names, &Datamodel::s_playbackStateNames);
    EXPECT_EQ(names.size(), static_cast<int>(std::size(rows)));
    for (Row const& row : rows) {
        int value = -1;
        EXPECT_TRUE(names.find(row.name, value)) << row.name;
        EXPECT_EQ(value, row.value) << row.name;
    }
}

TEST(VideoAsset, ANewVideoIsStoppedNotMutedWithDurationZero) {
    Datamodel::VideoAsset video;
    EXPECT_EQ(video.playbackState.value(), Datamodel::PLAYBACK_STOPPED);
    EXPECT_EQ(video.playbackState.asString(), QStringLiteral("stopped"));
    EXPECT_FALSE(video.muted.value());
    EXPECT_EQ(video.duration.value(), 0.0f);
}

TEST(VideoAsset, PausedInCapitalsSetsTwo) {
    Datamodel::VideoAsset video;
    EXPECT_TRUE(video.playbackState.set(QStringLiteral("PAUSED")));
    EXPECT_EQ(video.playbackState.asInt(), 2);
}

TEST(VideoAsset, AnUnlistedNumberIsTakenAndShownAsItsDigits) {
    Datamodel::VideoAsset video;
    EXPECT_TRUE(video.playbackState.set(7)) << "playback-state takes numbers outside its table";
    EXPECT_EQ(video.playbackState.asInt(), 7);
    EXPECT_EQ(video.playbackState.asString(), QStringLiteral("7"));
}

TEST(VideoAsset, AnUnlistedNameLeavesThePlaybackStateAsItWas) {
    Datamodel::VideoAsset video;
    video.playbackState = Datamodel::PLAYBACK_PLAYING;
    EXPECT_FALSE(video.playbackState.set(QStringLiteral("rewinding")));
    EXPECT_EQ(video.playbackState.value(), Datamodel::PLAYBACK_PLAYING);
}

TEST(VideoAsset, CopyValuesFromAPlainAssetReturnsFalseAndCopiesNothing) {
    Datamodel::Asset asset;
    asset.title = QStringLiteral("Clip");
    asset.originalFilename = QStringLiteral("clip.mp4");
    asset.modelYaw = 1.0f;
    Datamodel::VideoAsset video;
    EXPECT_FALSE(video.copyValues(asset));
    for (auto const& entry : video.attributes()) {
        EXPECT_FALSE(entry.second->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << entry.first.constData() << " must not be copied, not even an Asset value";
    }
    EXPECT_FALSE(video.modelYaw.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(VideoAsset, CopyValuesFromAVideoWithOnlyMutedSetCopiesMutedAndLeavesTheOthers) {
    Datamodel::VideoAsset source;
    source.muted = true;
    Datamodel::VideoAsset copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_TRUE(copy.muted.value());
    Attribute const* const untouched[] = {&copy.seekPosition, &copy.seekTimestamp, &copy.playbackState,
                                          &copy.duration};
    for (Attribute const* attribute : untouched) {
        EXPECT_FALSE(attribute->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << attribute->name().constData() << " was only a default on the source";
    }
}

TEST(VideoAsset, ACopyOfAPlayingVideoStartsPlayingAtTheSameSeek) {
    Datamodel::VideoAsset source;
    source.title = QStringLiteral("Launch");
    source.seekPosition = 12.5f;
    source.seekTimestamp = Cobalt::TimeStamp(123456789);
    source.playbackState = Datamodel::PLAYBACK_PLAYING;
    source.duration = 90.0f;
    Datamodel::VideoAsset copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.title.value(), QStringLiteral("Launch")) << "the Asset values come first";
    EXPECT_EQ(copy.seekPosition.value(), 12.5f);
    EXPECT_EQ(copy.seekTimestamp.value(), Cobalt::TimeStamp(123456789));
    EXPECT_EQ(copy.playbackState.value(), Datamodel::PLAYBACK_PLAYING);
    EXPECT_EQ(copy.duration.value(), 90.0f);
}

TEST(VideoAsset, CopyValuesCarriesAnUnlistedPlaybackState) {
    Datamodel::VideoAsset source;
    source.playbackState.set(9);
    Datamodel::VideoAsset copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.playbackState.asInt(), 9);
}

TEST(VideoAsset, UiTitleDefaultIsTheAssetRuleAppliedToItsClass) {
    Datamodel::VideoAsset video;
    EXPECT_EQ(video.uiTitleDefault(), QStringLiteral("Datamodel::Video"));
}

TEST(VideoAsset, HandsFlagsZeroToTheElement) {
    Datamodel::VideoAsset video;
    EXPECT_EQ(video.flags().bits(), 0u);
}
