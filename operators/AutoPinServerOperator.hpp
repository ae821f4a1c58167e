#pragma once

#include "platform/tessel/ServerOperators.hpp"

#include <memory>

class QTimer;

namespace Datamodel {

/// Pins everything on a canvas that can be pinned once the canvas has been still for a while: no item
/// arrived, and no item's "location", "scale", "size" or "pinned" was set, for `timeoutSeconds`. Each such
/// touch starts the wait anew, so a busy canvas is not pinned; after a pin walk the canvas waits for the
/// next touch. Items in table cells, to two levels below the cell, and the root are never pinned.
///
/// Held by `std::shared_ptr` (it hands itself to nodes and attributes). Its timer runs on the thread that
/// calls `rootNodeUpdated`, the document's, and dies with the operator.
class AutoPinServerDocumentOperator : public Tessel::ServerDocumentOperator,
                                      public Tessel::ServerNodeOperator,
                                      public Tessel::ServerAttributeOperator,
                                      public std::enable_shared_from_this<AutoPinServerDocumentOperator> {
public:
    explicit AutoPinServerDocumentOperator(float timeoutSeconds);
    ~AutoPinServerDocumentOperator() override;

    void addedToDocument(std::shared_ptr<Tessel::ServerDocument> document) override;
    /// Starts the timer, the first time, and watches the whole tree.
    void rootNodeUpdated() override;

    /// Watches the node's children and its watched attributes.
    void addedToNode(std::shared_ptr<Tessel::ServerNode> node) override;
    /// Watches "location", "scale", "size" and "pinned"; an arriving attribute is no touch.
    void childAttributeAdded(std::shared_ptr<Tessel::ServerAttribute> attribute) override;
    using Tessel::ServerDocumentOperator::childNodeAdded;
    /// A node not yet watched is watched, and is a touch.
    void childNodeAdded(std::shared_ptr<Tessel::ServerNode> node) override;
    /// A watched attribute was set: a touch.
    void valueSetSimple(Tessel::ServerAttributeSimple& attribute) override;

    /// Starts the wait anew, unless the timer isn't made yet or a pin walk is running.
    void touched();
    /// Whether the node may be pinned: not the root, nor content of a table cell or of such content.
    static bool isAutoPinnable(std::shared_ptr<Tessel::ServerNode> const& node);
    /// Sets "pinned" on the node, if its type has the attribute and it may be pinned, and on everything
    /// below it.
    void pinHierarchyRecursive(Tessel::ServerDocument& document,
                               std::shared_ptr<Tessel::ServerNode> const& node);
    /// The wait is over: pins the tree. A failure ends the walk there and is logged.
    void timeout();

    /// Whether the wait is running.
    bool isCounting() const;
    /// The wait, in milliseconds.
    int intervalMilliseconds() const { return static_cast<int>(1000.0 * m_timeoutSeconds); }

private:
    std::weak_ptr<Tessel::ServerDocument> m_document;
    std::unique_ptr<QTimer> m_timer;
    bool m_pinning = false;
    float m_timeoutSeconds;
};

} // namespace Datamodel
