#include "canvas/Folder.hpp"

#include <memory>

namespace Datamodel {

namespace {
// A literal rather than a namespace-level object, so that loading the library builds nothing for it.
QByteArray contentName() {
    return QByteArrayLiteral("content");
}
} // namespace

Folder::Folder()
    : CanvasElement(Tessel::Element::Flags::fromBits(0)),
      folderName(this, QByteArrayLiteral("folder-name"), QString()),
      order(this, QByteArrayLiteral("order"), 0.0f) {
    eventAddOut(QByteArrayLiteral("folder-deleted"));
}

Folder::~Folder() {
    // The only moment a client hears of the folder's end from the folder itself.
    eventSend(QByteArrayLiteral("folder-deleted"));
}

bool Folder::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<Folder const*>(&source);
    if (!other) {
        return false;
    }
    copyAttributeIfDefinedOnUserLayer(folderName, other->folderName);
    copyAttributeIfDefinedOnUserLayer(order, other->order);
    return true;
}

FolderItem::FolderItem()
    : CanvasElement(Tessel::Element::Flags::fromBits(0)),
      folderItemName(this, QByteArrayLiteral("folder-item-name"), QString()),
      order(this, QByteArrayLiteral("order"), 0.0f), preview(*this, QByteArrayLiteral("preview")) {}

FolderItem::~FolderItem() = default;

CanvasElement* FolderItem::content() const {
    return dynamic_cast<CanvasElement*>(attribute(contentName()));
}

void FolderItem::initialize(Tessel::DocumentConnection& connection) {
    preview.initialize(connection);
}

bool FolderItem::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<FolderItem const*>(&source);
    if (!other) {
        return false;
    }
    copyAttributeIfDefinedOnUserLayer(folderItemName, other->folderItemName);
    copyAttributeIfDefinedOnUserLayer(order, other->order);
    // The copy returns at once; the preview follows when the document has taken it.
    preview.setAsset(other->preview.item());
    return true;
}

Tessel::Element* FolderItem::cloneElement(std::shared_ptr<Tessel::ElementFactory> factory) const {
    auto clone = std::make_unique<FolderItem>();
    clone->initName();
    clone->copyValues(*this);
    for (Entry const& entry : attributes()) {
        auto const* child = dynamic_cast<CanvasElement const*>(entry.second);
        if (!child) {
            continue;
        }
        if (Tessel::Element* childClone = child->cloneElement(factory)) {
            if (entry.first == contentName()) {
                clone->addAttribute(contentName(), childClone);
            } else {
                clone->addAttribute(childClone);
            }
        }
    }
    return clone.release();
}

} // namespace Datamodel
