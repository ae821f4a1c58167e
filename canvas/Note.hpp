#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasItem.hpp"

namespace Datamodel {

/// A text note on a canvas: a coloured rectangle with a title and a text. While "auto-text-color" is true,
/// "text-color" follows "background-color" (black on light, white on dark), so the text stays legible.
///
/// "text-color" and "auto-text-color" join the document only in `initialize`, and only when the server is
/// at least at 3.2.0: older servers don't know them. Before that, and on older servers, they are detached
/// members that hold their values locally and still drive the colour logic.
///
/// Belongs to the thread of its document, like every element.
class Note : public CanvasItem {
public:
    /// A red 300 by 300 note; the red is written on the user layer so that it is stored and copied.
    Note();
    ~Note() override;

    /// Adds "text-color" and "auto-text-color" to the note when the server is at 3.2.0 or later. Without a
    /// link to a server it logs an error and leaves the note as it is.
    void initialize(Tessel::DocumentConnection& connection) override;
    /// After the item's values, copies "text", "background-color", "title", "text-color" and
    /// "auto-text-color", each if the source has it on the user layer. False, copying nothing, unless
    /// `source` is a `Note`.
    bool copyValues(CanvasElement const& source) override;
    /// "Note".
    QString uiTitleDefault() const override;

    /// The note's text.
    Basalt::AttributeT<QString> text;
    /// Fill of the note, premultiplied.
    Basalt::AttributeT<Cobalt::ColorPMA> backgroundColor;
    /// Title shown to the user.
    Basalt::AttributeT<QString> title;
    /// Colour of the text, premultiplied. Detached until `initialize` admits it.
    Basalt::AttributeT<Cobalt::ColorPMA> textColor;
    /// Whether "text-color" follows "background-color". Detached until `initialize` admits it.
    Basalt::AttributeT<bool> autoTextColor;

private:
    void updateTextColor();
};

} // namespace Datamodel
