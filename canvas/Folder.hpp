#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasElement.hpp"
#include "media/AssetFile.hpp"

namespace Datamodel {

/// A named collection of elements kept off the canvas plane; its entries are `FolderItem` children, which
/// it owns. Entries are not kept in order: clients sort by their "order".
///
/// Belongs to the thread of its document. Its one outward signal is the event "folder-deleted".
class Folder : public CanvasElement {
public:
    Folder();
    /// Raises "folder-deleted" first, while the folder is still whole (a derived part is already gone).
    ~Folder() override;

    /// Copies "folder-name" and "order" where `source` holds them on the user layer; children are left
    /// alone. False, copying nothing, unless `source` is a `Folder`.
    bool copyValues(CanvasElement const& source) override;

    /// Name shown to users.
    Basalt::AttributeT<QString> folderName;
    /// Place among its siblings.
    Basalt::AttributeT<float> order;
};

/// One entry of a folder: wraps the real element, its child "content", with a name, an order and a preview
/// picture, so any canvas element can sit in a folder unchanged.
class FolderItem : public CanvasElement {
public:
    FolderItem();
    ~FolderItem() override;

    /// The wrapped element: the child "content" if it is a `CanvasElement`; null when it is missing or of
    /// another kind. Owned by this entry.
    CanvasElement* content() const;

    /// Ties the preview to the document's asset storage; nothing else.
    void initialize(Tessel::DocumentConnection& connection) override;
    /// Copies "folder-item-name" and "order" where `source` holds them on the user layer, and makes the
    /// preview refer to the local storage item of the other's preview: without one, the preview is
    /// cleared. The preview follows asynchronously (before `initialize`, it waits for it). False, copying
    /// nothing, unless `source` is a `FolderItem`.
    bool copyValues(CanvasElement const& source) override;
    /// A new entry with a fresh guid, made directly (not through `factory`), with this entry's values and
    /// clones of its element children made through `factory`. The clone of "content" keeps that child name,
    /// which the common clone would lose; children the factory can't clone are left out. Owned by the
    /// caller; never null.
    Tessel::Element* cloneElement(std::shared_ptr<Tessel::ElementFactory> factory) const override;

    /// Name of the entry.
    Basalt::AttributeT<QString> folderItemName;
    /// Place among the entries.
    Basalt::AttributeT<float> order;
    /// Stored preview image.
    AssetFile preview;
};

} // namespace Datamodel
