#include "media/VideoAsset.hpp"

namespace Datamodel {

Basalt::EnumNames const s_playbackStateNames{
    {"stopped", PLAYBACK_STOPPED}, {"playing", PLAYBACK_PLAYING}, {"paused", PLAYBACK_PAUSED}};

VideoAsset::VideoAsset()
    : seekPosition(this, "seek-position", 0.0f), seekTimestamp(this, "seek-timestamp", Cobalt::TimeStamp()),
      playbackState(this, "playback-state", PLAYBACK_STOPPED, s_playbackStateNames),
      muted(this, "muted", false), duration(this, "duration", 0.0f) {
    playbackState.setAllowUnlisted(true);
}

VideoAsset::~VideoAsset() = default;

Basalt::EnumNames const& VideoAsset::playbackStates() {
    return s_playbackStateNames;
}

bool VideoAsset::copyValues(CanvasElement const& element) {
    auto const* other = dynamic_cast<VideoAsset const*>(&element);
    if (!other) {
        return false;
    }
    bool const copied = Asset::copyValues(element);
    copyAttributeIfDefinedOnUserLayer(seekPosition, other->seekPosition);
    copyAttributeIfDefinedOnUserLayer(seekTimestamp, other->seekTimestamp);
    copyAttributeIfDefinedOnUserLayer(playbackState, other->playbackState);
    copyAttributeIfDefinedOnUserLayer(muted, other->muted);
    copyAttributeIfDefinedOnUserLayer(duration, other->duration);
    return copied;
}

} // namespace Datamodel
