#include "canvas/Bookmark.hpp"

namespace Datamodel {

Bookmark::Bookmark()
    : CanvasElement(Tessel::Element::Flags::fromBits(1)), url(this, QByteArrayLiteral("url"), QString()),
      title(this, QByteArrayLiteral("title"), QString()), order(this, QByteArrayLiteral("order"), 0.0f) {}

Bookmark::~Bookmark() = default;

bool Bookmark::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<Bookmark const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = CanvasElement::copyValues(source);
    copyAttributeIfDefinedOnUserLayer(url, other->url);
    copyAttributeIfDefinedOnUserLayer(title, other->title);
    copyAttributeIfDefinedOnUserLayer(order, other->order);
    return copied;
}

BookmarkContainer::BookmarkContainer() : CanvasElement(Tessel::Element::Flags::fromBits(1)) {}

BookmarkContainer::~BookmarkContainer() = default;

Bookmark* BookmarkContainer::bookmark(QString const& name) const {
    return dynamic_cast<Bookmark*>(attribute(name.toUtf8()));
}

std::vector<Bookmark*> BookmarkContainer::bookmarks() const {
    std::vector<Bookmark*> result;
    for (Entry const& entry : attributes()) {
        if (auto* bookmark = dynamic_cast<Bookmark*>(entry.second)) {
            result.push_back(bookmark);
        }
    }
    return result;
}

Bookmark* BookmarkContainer::createBookmark(QString const& url, QString const& title, float order) {
    auto* bookmark = new Bookmark();
    bookmark->initName();
    bookmark->url = url;
    bookmark->title = title;
    // A plain write replaces any expression of the layer, so the number given is what stands.
    bookmark->order = order;
    addAttribute(bookmark);
    return bookmark;
}

} // namespace Datamodel
