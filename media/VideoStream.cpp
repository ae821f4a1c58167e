#include "media/VideoStream.hpp"

namespace Datamodel {

VideoStream::VideoStream()
    : CanvasItem(Tessel::Element::Flags::fromBits(0)), hostSite(this, "host-site", QString()),
      source(this, "source", QString()), floatingHostView(this, "floating-host-view", QString()),
      title(this, "title", QString()) {
    // One assignment of the pair, so listeners hear a single change of the size.
    size = Fathom::SizeT<float>(800.0f, 450.0f);
}

VideoStream::~VideoStream() = default;

bool VideoStream::copyValues(CanvasElement const& element) {
    auto const* other = dynamic_cast<VideoStream const*>(&element);
    if (!other) {
        return false;
    }
    bool const copied = CanvasItem::copyValues(element);
    copyAttributeIfDefinedOnUserLayer(hostSite, other->hostSite);
    copyAttributeIfDefinedOnUserLayer(source, other->source);
    copyAttributeIfDefinedOnUserLayer(floatingHostView, other->floatingHostView);
    copyAttributeIfDefinedOnUserLayer(title, other->title);
    return copied;
}

QString VideoStream::uiTitleDefault() const {
    return QStringLiteral("Video stream");
}

IPVideoStream::IPVideoStream() = default;

IPVideoStream::~IPVideoStream() = default;

QString IPVideoStream::uiTitleDefault() const {
    return QStringLiteral("IP video stream");
}

ScreenShareStream::ScreenShareStream() : remoteTouchEnabled(this, "remote-touch-enabled", false) {}

ScreenShareStream::~ScreenShareStream() = default;

QString ScreenShareStream::uiTitleDefault() const {
    return QStringLiteral("Screen share");
}

AuxPcStream::AuxPcStream() : remoteTouchEnabled(this, "remote-touch-enabled", false) {}

AuxPcStream::~AuxPcStream() = default;

QString AuxPcStream::uiTitleDefault() const {
    return QStringLiteral("Aux PC");
}

} // namespace Datamodel
