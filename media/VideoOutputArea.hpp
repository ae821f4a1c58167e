#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasItem.hpp"

#include <QByteArray>
#include <QString>

namespace Datamodel {

/// Marks an area of the canvas that can be sent to a video output.
class VideoOutputAnchor : public CanvasItem {
public:
    /// Starts at 900 by 600, written on the user layer so that the size is shared from the start.
    VideoOutputAnchor();
    ~VideoOutputAnchor() override;

    /// "Video output".
    QString uiTitleDefault() const override;

    /// Title shown to users. Not copied by `copyValues`.
    Basalt::AttributeT<QString> title;
};

/// What one named video output shows.
class VideoOutputSink : public CanvasElement {
public:
    VideoOutputSink();
    ~VideoOutputSink() override;

    /// Points "source" at `element`: "item:" followed by the element's name.
    void setSourceItemName(Tessel::Element const& element);
    /// The element name in a "source" of the form "item:name" (prefix case-sensitive); a null array for
    /// any other source.
    QByteArray sourceItemName() const;

    /// What this output shows; "item:" and a name points at an element of the canvas, other forms are
    /// settled between the clients.
    Basalt::AttributeT<QString> source;
    /// The name of the output: its key within its map.
    Basalt::AttributeT<QString> outputName;
    /// Whether menus are shown on the output.
    Basalt::AttributeT<bool> showMenus;
};

/// Holds one `VideoOutputSink` per named output. Its children are named by fresh uuids, so lookups go by
/// "output-name", never by the child's name.
class VideoOutputMap : public CanvasElement {
public:
    VideoOutputMap();
    ~VideoOutputMap() override;

    /// The map under the child name "video_output_" + `id` of `canvas`, created and added there when that
    /// child is missing or isn't a map. Never null; the canvas owns the map. A child of that name of
    /// another class isn't reused: the new map is added beside it under the same name.
    static VideoOutputMap* getVideoOutputMap(CanvasElement& canvas, QByteArray const& id);

    /// The first sink whose "output-name" is `name`, created and added under a fresh uuid when there is
    /// none. Never null; the map owns the sink.
    VideoOutputSink* sink(QString const& name);
};

} // namespace Datamodel
