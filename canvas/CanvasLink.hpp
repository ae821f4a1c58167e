#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasItem.hpp"

namespace Datamodel {

/// A canvas item that stands for a jump to another canvas. The target isn't held here: resolving it is the
/// client's business.
///
/// A new link is 225 by 331 on the user layer, so it counts as sized by the user and its clones keep that
/// size through `CanvasItem::copyValues`.
class CanvasLink : public CanvasItem {
public:
    CanvasLink();
    ~CanvasLink() override;

    /// After the item's values, copies "title" if `source` holds it on the user layer. False, copying
    /// nothing, unless `source` is a `CanvasLink`.
    bool copyValues(CanvasElement const& source) override;
    /// "Link to canvas".
    QString uiTitleDefault() const override;

    /// Title for the user.
    Basalt::AttributeT<QString> title;
};

} // namespace Datamodel
