#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasItem.hpp"

namespace Datamodel {

/// A canvas item that shows a live video stream provided by some site. Only data: capturing, streaming
/// and showing the video lie in the clients. Not registered itself; its three kinds are.
class VideoStream : public CanvasItem {
public:
    /// Starts at 800 by 450, written on the user layer so that the size is shared from the start.
    VideoStream();
    ~VideoStream() override;

    /// False, copying nothing, unless `element` is a `VideoStream`. Otherwise the item's values, then the
    /// four stream attributes that `element` holds on its user layer. Subclass attributes are deliberately
    /// left behind: a copy starts with remote touch as its own value says.
    bool copyValues(CanvasElement const& element) override;
    /// "Video stream".
    QString uiTitleDefault() const override;

    /// The site that provides the stream.
    Basalt::AttributeT<QString> hostSite;
    /// Identifies the stream at that site; its form is settled between the clients.
    Basalt::AttributeT<QString> source;
    /// Names a floating view on the host site.
    Basalt::AttributeT<QString> floatingHostView;
    /// Title shown to users.
    Basalt::AttributeT<QString> title;
};

/// A stream from a network camera or encoder.
class IPVideoStream : public VideoStream {
public:
    IPVideoStream();
    ~IPVideoStream() override;
    /// "IP video stream".
    QString uiTitleDefault() const override;
};

/// The shared screen of a machine at some site.
class ScreenShareStream : public VideoStream {
public:
    ScreenShareStream();
    ~ScreenShareStream() override;
    /// "Screen share".
    QString uiTitleDefault() const override;

    /// Whether touch on the canvas is passed on to the source machine.
    Basalt::AttributeT<bool> remoteTouchEnabled;
};

/// The output of an auxiliary computer wired into some site.
class AuxPcStream : public VideoStream {
public:
    AuxPcStream();
    ~AuxPcStream() override;
    /// "Aux PC".
    QString uiTitleDefault() const override;

    /// Whether touch on the canvas is passed on to the source machine.
    Basalt::AttributeT<bool> remoteTouchEnabled;
};

} // namespace Datamodel
