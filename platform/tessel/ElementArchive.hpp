#pragma once

#include "platform/basalt/Archive.hpp"
#include "platform/tessel/Element.hpp"
#include "platform/tessel/ElementFactory.hpp"

#include <QString>

#include <memory>

namespace Tessel {

/// Writes a whole element tree into an archive and rebuilds it from there, with the factory of the
/// document type. `Basalt::Node::serialize` alone can't do that: it writes child elements as plain nodes,
/// and reading only fills attributes that the receiver already has.
///
/// The entry of one element is an archive element with the tag `elementTag()`, named by the element's name
/// (the key under which it hangs in its host), with the properties `keyProperty()` (its type key in the
/// factory) and `guidProperty()` (its guid, left out when it has none). Its children, in the element's
/// attribute order, are what each serialisable attribute writes of itself, so the archive's layer mask is
/// honoured exactly as `Basalt::Attribute::serialize` honours it, and the entry of each serialisable child
/// element. A child element that is not serialisable is left out with everything below it.
///
/// Reading makes each element with the factory, gives it the stored guid and name, hands its stored values
/// to its `deserialize` (so they land on LAYER_USER, and values the element doesn't declare go to its
/// `readElement`), and then makes its child elements in the stored order. Each stored value takes the place
/// of what the element held: every attribute with a stored value gets `Basalt::Attribute::clearBeforeRestore`
/// first, so a stored list replaces the list a constructor filled instead of following it. Each child joins
/// its host with `addAttribute` before its own values and children are read, the order in which a live
/// document arrives, so listeners that reach through the host hear of the values as they come. Element flags
/// are not stored: the class gives them. An element whose constructor made child elements of its own would
/// get the stored ones beside them.
///
/// Nothing is lost without a word. Every element that can't be written or rebuilt is left out with
/// everything below it, logged as a warning through `Cobalt::Trace` and named in the optional `error` text,
/// one line per problem; `error` is emptied first, so an empty text means that the whole tree came through.
/// Problems: a class that the factory doesn't know (on writing), an entry that isn't an element entry, has
/// no type key or a key that the factory doesn't know (on reading), and an element that refused some of its
/// stored values (it is kept, with those values as they were). An entry the archive refuses to create is
/// left out without a problem: that is how an archive filters (see `Basalt::Archive::createElement`).
///
/// All operations run on the thread of the elements involved; they keep no state.
class ElementArchive {
public:
    /// "tessel:element": a tag that neither a value type nor an attribute key can have.
    static QString const& elementTag();
    /// "key": the property with the type key.
    static QString const& keyProperty();
    /// "guid": the property with the guid.
    static QString const& guidProperty();

    /// The entry of `root` and everything below it, made in `archive`, which isn't changed otherwise: put
    /// the entry where it belongs, e.g. with `archive.setRoot`. A null entry when `root` itself can't be
    /// written (its class has no key in `factory`, or the archive refused the entry).
    static Basalt::ArchiveElement writeElementTree(Element const& root, ElementFactory const& factory,
                                                   Basalt::Archive& archive, QString* error = nullptr);

    /// A new tree rebuilt from `entry`, owned by the caller; null when the root entry itself can't be
    /// rebuilt.
    static std::unique_ptr<Element> readElementTree(Basalt::ArchiveElement const& entry,
                                                    ElementFactory const& factory, QString* error = nullptr);

    /// Rebuilds `entry` into `root`, an element made elsewhere (a transient root, say, whose key the
    /// factory shares with another class): guid, name, values and child elements, which `root` then owns.
    /// False, changing nothing, when the entry isn't an element entry or its key isn't the one that
    /// `factory` has for `root`'s class.
    static bool readElementTreeInto(Element& root, Basalt::ArchiveElement const& entry,
                                    ElementFactory const& factory, QString* error = nullptr);
};

} // namespace Tessel
