#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasElement.hpp"

#include <vector>

namespace Datamodel {

/// One web bookmark of a canvas. Plain data, a child of a `BookmarkContainer`.
class Bookmark : public CanvasElement {
public:
    Bookmark();
    ~Bookmark() override;

    /// Copies the three values below that `source` holds on the user layer. False, copying nothing, unless
    /// `source` is a `Bookmark`.
    bool copyValues(CanvasElement const& source) override;

    /// The address.
    Basalt::AttributeT<QString> url;
    /// Title for the user.
    Basalt::AttributeT<QString> title;
    /// Sort position among the container's bookmarks; the container doesn't sort, its readers do.
    Basalt::AttributeT<float> order;
};

/// A canvas's list of web bookmarks: its children are `Bookmark` elements, which it owns.
class BookmarkContainer : public CanvasElement {
public:
    BookmarkContainer();
    ~BookmarkContainer() override;

    /// The child of that name (UTF-8 of `name`) if it is a `Bookmark`; null otherwise.
    Bookmark* bookmark(QString const& name) const;
    /// The children that are bookmarks, in child order, not sorted by "order".
    std::vector<Bookmark*> bookmarks() const;
    /// Adds a new bookmark with a fresh guid and these values on the user layer. The container owns the
    /// result; never null. Equal addresses and titles still make separate bookmarks.
    Bookmark* createBookmark(QString const& url, QString const& title, float order);
};

} // namespace Datamodel
