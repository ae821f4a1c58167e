#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasItem.hpp"

namespace Datamodel {

/// A canvas item that shows a web page. Plain shared data: rendering the page is the client's business.
class Browser : public CanvasItem {
public:
    Browser();
    ~Browser() override;

    /// After the item's values, copies the four values below that `source` holds on the user layer. False,
    /// copying nothing, unless `source` is a `Browser`.
    bool copyValues(CanvasElement const& source) override;
    /// "Web browser".
    QString uiTitleDefault() const override;

    /// Address of the page.
    Basalt::AttributeT<QString> source;
    /// Title for the user.
    Basalt::AttributeT<QString> title;
    /// Whether the page is drawn on a transparent background.
    Basalt::AttributeT<bool> transparentMode;
    /// Scroll position of the page's main frame, shared so that every client shows the same part.
    Basalt::AttributeT<Fathom::Vector2T<float>> mainFrameScrollOffset;
};

} // namespace Datamodel
