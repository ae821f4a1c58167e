#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasItem.hpp"

namespace Datamodel {

class Asset;

/// A canvas item that shows a remote desktop. Plain shared data: connecting is the client's business. The
/// stream comes through an `Asset` of the same document, named by "content-id".
///
/// A new connection is 1920 by 1080 on the default layer, so a clone that was never resized gets that size
/// from its own constructor.
class RdpConnection : public CanvasItem {
public:
    RdpConnection();
    ~RdpConnection() override;

    /// After the item's values, copies the four values below that `source` holds on the user layer. False,
    /// copying nothing, unless `source` is an `RdpConnection`.
    bool copyValues(CanvasElement const& source) override;
    /// "RDP connection".
    QString uiTitleDefault() const override;

    /// The element of the document whose guid is "content-id", if it is an `Asset`; null otherwise (also for
    /// an empty "content-id"). Not owned by the caller.
    Asset* asset() const;

    /// Name of the connection.
    Basalt::AttributeT<QString> connectionName;
    /// The site that runs the connection.
    Basalt::AttributeT<QString> hostSite;
    /// Guid of the `Asset` that carries the stream.
    Basalt::AttributeT<QString> contentId;
    /// Title for the user.
    Basalt::AttributeT<QString> title;
};

} // namespace Datamodel
