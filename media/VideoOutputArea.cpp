#include "media/VideoOutputArea.hpp"

#include "platform/tessel/Uuid.hpp"

namespace Datamodel {

namespace {

QString const kItemPrefix = QStringLiteral("item:");

} // namespace

VideoOutputAnchor::VideoOutputAnchor()
    : CanvasItem(Tessel::Element::Flags::fromBits(0)), title(this, "title", QString()) {
    // One assignment of the pair, so listeners hear a single change of the size.
    size = Fathom::SizeT<float>(900.0f, 600.0f);
}

VideoOutputAnchor::~VideoOutputAnchor() = default;

QString VideoOutputAnchor::uiTitleDefault() const {
    return QStringLiteral("Video output");
}

VideoOutputSink::VideoOutputSink()
    : CanvasElement(Tessel::Element::Flags::fromBits(0)), source(this, "source", QString()),
      outputName(this, "output-name", QString()), showMenus(this, "show-menus", false) {}

VideoOutputSink::~VideoOutputSink() = default;

void VideoOutputSink::setSourceItemName(Tessel::Element const& element) {
    source = QStringLiteral("item:%1").arg(QString::fromUtf8(element.name()));
}

QByteArray VideoOutputSink::sourceItemName() const {
    QString const& text = source.value();
    if (!text.startsWith(kItemPrefix, Qt::CaseSensitive)) {
        return QByteArray();
    }
    return text.mid(kItemPrefix.size()).toUtf8();
}

VideoOutputMap::VideoOutputMap() : CanvasElement(Tessel::Element::Flags::fromBits(1)) {}

VideoOutputMap::~VideoOutputMap() = default;

VideoOutputMap* VideoOutputMap::getVideoOutputMap(CanvasElement& canvas, QByteArray const& id) {
    QByteArray const childName = QByteArrayLiteral("video_output_") + id;
    if (auto* existing = dynamic_cast<VideoOutputMap*>(canvas.attribute(childName))) {
        return existing;
    }
    auto* map = new VideoOutputMap();
    canvas.addAttribute(childName, map);
    return map;
}

VideoOutputSink* VideoOutputMap::sink(QString const& name) {
    for (Entry const& entry : attributes()) {
        auto* existing = dynamic_cast<VideoOutputSink*>(entry.second);
        if (existing && existing->outputName.value() == name) {
            return existing;
        }
    }
    auto* created = new VideoOutputSink();
    created->outputName = name;
    addAttribute(Tessel::generateUuid(), created);
    return created;
}

} // namespace Datamodel
