#pragma once

#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "attributes/Event.hpp"
#include "platform/tessel/Element.hpp"
#include "platform/tessel/ElementFactory.hpp"

#include "folly/futures/Future.h"

#include <QByteArray>
#include <QString>

namespace Datamodel {

/// One assignment of an emblem's code to a target: the scheme says what kind of thing the target is. A
/// child of the `EmblemActionMap`; under it, a change of any of its three attributes raises the map's
/// `emblemActionChanged`.
class EmblemAction : public Tessel::Element {
public:
    EmblemAction();

    /// Kind of target.
    Basalt::AttributeT<QString> scheme;
    /// The target, in the scheme's terms.
    Basalt::AttributeT<QString> target;
    /// The emblem's code.
    Basalt::AttributeT<long> code;
};

/// Root of an "emblem-action" document: the table of what each emblem code stands for, one
/// `EmblemAction` child per assignment. At most one action per code and one per scheme and target is
/// meant to hold; the map's own look-ups read the first match, in attribute order, should the document
/// break that.
///
/// Belongs to the thread of its document; the event is raised there.
class EmblemActionMap : public Tessel::Element {
public:
    EmblemActionMap();

    /// "emblem-action".
    static QByteArray documentType();
    /// The factory of the document type, built on the first call from any thread.
    static std::shared_ptr<Tessel::ElementFactory> elementFactory();

    /// Raises `emblemActionChanged` for an added action; the base operation is not called.
    void attributeAdded(Basalt::Attribute* attribute) override;
    /// Raises `emblemActionChanged` for a removed action, exactly as `attributeAdded` does.
    void attributeRemoved(Basalt::Attribute* attribute) override;

    /// The first child action whose "code" is `code`; null if none. Owned by the map.
    EmblemAction* findEmblemActionByCode(unsigned long code) const;
    /// The first child action with this "scheme" and whose "target" is `target` read as Latin-1 (a null
    /// array as a null string); null if none. Owned by the map.
    EmblemAction* findEmblemAction(QString const& scheme, QByteArray const& target) const;

    /// Makes `code` stand for `target` of `scheme`: in one transaction, deletes the action that has the code
    /// and the one that has the scheme and target (once, when they are the same), and adds a new action. The
    /// future completes when the server applied it; it fails with "Connection lost" when the map is in no
    /// live document, and with the transaction's failure otherwise. Call on the document's thread.
    folly::Future<folly::Unit> setEmblemAction(QString const& scheme, QByteArray const& target,
                                               unsigned long code);

    /// An action came, changed or went; which of the three it was isn't told, so a listener reads the map
    /// again. The action may be detached already, but is alive while the event runs.
    Basalt::Event<EmblemAction*> emblemActionChanged;

private:
    void announce(Basalt::Attribute* attribute);
};

} // namespace Datamodel
