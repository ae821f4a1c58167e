#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasItem.hpp"

namespace Datamodel {

/// A named place on a canvas that a user can jump to. Other documents refer to it by "anchor-id"; keeping
/// identifiers unique across a document is the business of the canvas initialisation, not of this class.
///
/// It has no `copyValues` of its own: a copy takes the item's place and size but neither the name nor the
/// identifier, so a clone is a new, unnamed anchor.
class Anchor : public CanvasItem {
public:
    /// Writes a fresh process-wide identifier on the user layer of "anchor-id"; a stored value read later
    /// replaces it on the same layer.
    Anchor();
    ~Anchor() override;

    /// The shown "anchor-name" with white space simplified, or `uiTitleDefault()` when that leaves nothing.
    QString uiTitle() const override;
    /// "New anchor".
    QString uiTitleDefault() const override;

    /// Name that the user gave.
    Basalt::AttributeT<QString> anchorName;
    /// Identifier, unique in the document.
    Basalt::AttributeT<long> anchorId;
};

} // namespace Datamodel
