#pragma once

#include "platform/tessel/ServerOperators.hpp"

#include <QByteArray>

#include <memory>
#include <set>

namespace Tessel {
class ServerDocument;
class ServerNode;
} // namespace Tessel

namespace Datamodel {

/// Gives a canvas document the shape that clients expect, each time its root arrives on the server, for a
/// new canvas and a stored one alike: the fixed children of the root exist, connectors whose ends are gone
/// are removed, sibling depths are at least 0.5 apart and at least 1.0, the anchor ids are unique and the
/// root's "anchor-ids" lists exactly them, the colour preset lists exist, and notes of older releases get a
/// text colour that contrasts with their background.
///
/// The repairs are the server's own (the acting connection is null while they run), log a warning each and
/// never stop the load. Every step is safe to repeat: a second pass changes nothing. Runs inside its
/// document, one change at a time.
class InitCanvasServerOperator : public Tessel::ServerDocumentOperator {
public:
    void addedToDocument(std::shared_ptr<Tessel::ServerDocument> document) override;
    /// Creates what is missing and repairs what is broken. New children of the root are added last, so that
    /// the repairs don't see them. An exception of `setAttributeValue` passes on, after the acting
    /// connection is restored.
    void rootNodeUpdated() override;

    /// Removes the connectors under `connectors` whose "src" or "dst" names no node of `root`'s tree, and
    /// tells the document of each.
    static void fixConnectors(Tessel::ServerDocument& document, Tessel::ServerNode const& root,
                              Tessel::ServerNode& connectors);
    /// Writes `depth` into the node's "depth" when that is a simple attribute; otherwise nothing.
    static void setDepth(Tessel::ServerNode& node, float depth);
    /// Spreads the depths of each set of siblings below `node` at least 0.5 apart, none below 1.0 and none
    /// infinite or NaN, keeping their order.
    static void fixDepth(Tessel::ServerNode const& node);
    /// Gives each anchor directly under the root a 64-bit "anchor-id" of its own, and returns the encoded
    /// ids.
    static std::set<QByteArray> findAndFixAnchorIds(Tessel::ServerNode const& root,
                                                    Tessel::ServerDocument& document);
    /// Keeps the root's "anchor-ids" equal to the ids of its anchors, in its present order.
    static void fixAnchors(Tessel::ServerNode& root, Tessel::ServerDocument& document);
    /// Creates the colour preset lists that the root lacks, and "reset-color-presets-request" 0.
    static void setColorPresets(Tessel::ServerNode& root, Tessel::ServerDocument& document);
    /// Gives a note without "text-color" black or white text, whichever contrasts with its background.
    static void addMissingNoteTextColor(Tessel::ServerNode& node);
    /// `addMissingNoteTextColor` on each direct child of the root.
    static void findAndAddTextColorToNote(Tessel::ServerNode const& root);

private:
    std::weak_ptr<Tessel::ServerDocument> m_document;
};

} // namespace Datamodel
