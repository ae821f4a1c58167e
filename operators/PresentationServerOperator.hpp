#pragma once

#include "platform/tessel/ServerOperators.hpp"

#include <QByteArray>

#include <memory>
#include <unordered_map>
#include <vector>

namespace Datamodel {

/// Keeps the slides of a canvas true to the items they show: a slide whose "content-id" names no item is
/// removed, the slides of a deleted item go with it, and when an item's guid is recreated its slides follow.
/// Makes sure that the root has its "presentations" container, and watches exactly that container, its
/// presentations and their slides.
///
/// Held by `std::shared_ptr` (it hands itself to nodes and attributes). Runs inside its document, one change
/// at a time; removals are posted to the server's executor, to run after the change that caused them.
class PresentationServerDocumentOperator
    : public Tessel::ServerDocumentOperator,
      public Tessel::ServerNodeOperator,
      public Tessel::ServerAttributeOperator,
      public std::enable_shared_from_this<PresentationServerDocumentOperator> {
public:
    /// A slide and the item it shows. Weak, so that the map never keeps a node alive.
    struct ContentMap {
        std::weak_ptr<Tessel::ServerNode> slide;
        std::weak_ptr<Tessel::ServerNode> content;
    };

    void addedToDocument(std::shared_ptr<Tessel::ServerDocument> document) override;
    /// Watches "presentations", creating it when the root has none.
    void rootNodeUpdated() override;
    /// Drops the map entries of `node`, and removes the slides that showed it.
    void nodeDeleted(std::shared_ptr<Tessel::ServerNode> const& node) override;
    /// Writes the new guid of `node` into the "content-id" of its slides.
    void nodeGuidRecreated(std::shared_ptr<Tessel::ServerNode> const& node,
                           QByteArray const& formerGuid) override;

    using Tessel::ServerDocumentOperator::childNodeAdded;
    /// Under a watched node: watches a presentation with its slides, or a slide's attributes.
    void childNodeAdded(std::shared_ptr<Tessel::ServerNode> node) override;
    /// Watches a slide's "content-id" and judges it at once.
    void childAttributeAdded(std::shared_ptr<Tessel::ServerAttribute> attribute) override;
    /// Maps a slide to the item its "content-id" names, or removes the slide when there is none.
    void valueSetSimple(Tessel::ServerAttributeSimple& attribute) override;

    /// The node of the persistent tree whose guid is `guid`; null if none or the document is gone. Answered
    /// by the document's guid index, so that loading many slides doesn't walk the tree once each.
    std::shared_ptr<Tessel::ServerNode> findByGuid(QByteArray const& guid) const;
    /// Watches `node` and each child it has.
    void monitorChildNodes(std::shared_ptr<Tessel::ServerNode> const& node);
    /// Watches the slide and each attribute it has.
    void monitorChildAttributes(std::shared_ptr<Tessel::ServerNode> const& slide);
    /// Removes `node` from its parent after the current change, on the server's executor.
    void removeNode(std::shared_ptr<Tessel::ServerNode> const& node);

    /// One entry per slide with a live content.
    std::vector<ContentMap> const& contentMaps() const { return m_contentMaps; }

private:
    /// Indexes the entries of `m_contentMaps` by slide again, after entries were erased.
    void reindexSlides();

    std::weak_ptr<Tessel::ServerDocument> m_document;
    std::vector<ContentMap> m_contentMaps;
    /// The position of each slide's entry in `m_contentMaps`, so that loading many slides doesn't search the
    /// entries once per slide.
    std::unordered_map<Tessel::ServerNode const*, std::size_t> m_slideEntries;
    bool m_updatingContentId = false;
};

} // namespace Datamodel
