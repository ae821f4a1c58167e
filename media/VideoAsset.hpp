#pragma once

#include "attributes/AttributeT.hpp"
#include "media/Asset.hpp"

namespace Datamodel {

/// The shared state of a video player. Sites agree on it through "playback-state". The underlying type is
/// fixed so that the numbers outside the table that "playback-state" accepts are values of the type.
enum PlaybackState : int {
    PLAYBACK_STOPPED = 0,
    PLAYBACK_PLAYING = 1,
    PLAYBACK_PAUSED = 2,
};

/// The names of `PlaybackState`: "stopped", "playing", "paused".
extern Basalt::EnumNames const s_playbackStateNames;

/// A stored video on a canvas. Its playback is a shared value: every site that has the canvas open sees
/// the same state and can follow the same position. The model decides nothing about it; which site writes
/// these values, and how a player follows them, is the clients' business.
class VideoAsset : public Asset {
public:
    VideoAsset();
    ~VideoAsset() override;

    /// The name table of "playback-state".
    static Basalt::EnumNames const& playbackStates();

    /// False, copying nothing, unless `element` is a `VideoAsset`. Otherwise as `Asset`, then the playback
    /// values that `element` holds on its user layer, so a copy of a playing video starts out playing at the
    /// same seek. The result is `Asset`'s.
    bool copyValues(CanvasElement const& element) override;

    /// Position in the video that playback is to go to; its unit is settled between the players.
    Basalt::AttributeT<float> seekPosition;
    /// When the seek was made.
    Basalt::AttributeT<Cobalt::TimeStamp> seekTimestamp;
    /// The shared state of the player. Unlike other enumerations it takes numbers outside its table, so
    /// a newer player's state survives an older site; names must still be listed.
    Basalt::AttributeT<PlaybackState> playbackState;
    /// Whether sound is off.
    Basalt::AttributeT<bool> muted;
    /// Length of the video, in the players' unit.
    Basalt::AttributeT<float> duration;
};

} // namespace Datamodel
