#include "operators/PresentationServerOperator.hpp"

#include "attributes/AttributeString.hpp"
#include "operators/ServerOperators.hpp"
#include "operators/ServerTreeSearch.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/TesselServer.hpp"
#include "platform/tessel/Uuid.hpp"

#include <set>

namespace Datamodel {

void PresentationServerDocumentOperator::addedToDocument(std::shared_ptr<Tessel::ServerDocument> document) {
    m_document = document;
}

void PresentationServerDocumentOperator::rootNodeUpdated() {
    LiveRoot const live(m_document);
    if (!live) {
        return;
    }
    std::shared_ptr<Tessel::ServerDocument> const& document = live.document;
    std::shared_ptr<Tessel::ServerNode> const& root = live.root;
    ServerOwnChanges const serverOwn(*document);
    if (std::shared_ptr<Tessel::ServerNode> const presentations = root->childNode("presentations")) {
        monitorChildNodes(presentations);
        return;
    }
    auto presentations = std::make_shared<Tessel::ServerNode>(document.get());
    monitorChildNodes(presentations);
    presentations->setName("presentations");
    presentations->setTypeKey("tavola_presentation_container");
    presentations->setGuid(Tessel::generateUuid());
    root->addChildNode(presentations, true);
}

void PresentationServerDocumentOperator::monitorChildNodes(std::shared_ptr<Tessel::ServerNode> const& node) {
    node->addOperator(shared_from_this());
    auto const children = node->childNodes();
    for (auto const& entry : children) {
        childNodeAdded(entry.second);
    }
}

void PresentationServerDocumentOperator::childNodeAdded(std::shared_ptr<Tessel::ServerNode> node) {
    if (node->typeKey() == "tavola_presentation") {
        monitorChildNodes(node);
    } else if (node->typeKey() == "tavola_presentation_slide") {
        monitorChildAttributes(node);
    }
}

void PresentationServerDocumentOperator::monitorChildAttributes(
    std::shared_ptr<Tessel::ServerNode> const& slide) {
    slide->addOperator(shared_from_this());
    auto const attributes = slide->childAttributes();
    for (auto const& attribute : attributes) {
        childAttributeAdded(attribute);
    }
}

void PresentationServerDocumentOperator::childAttributeAdded(
    std::shared_ptr<Tessel::ServerAttribute> attribute) {
    if (attribute->name() != "content-id") {
        return;
    }
    attribute->addOperator(shared_from_this());
    // A loaded slide is judged like a changed one.
    if (Tessel::ServerAttributeSimple* const simple = attribute->simpleAttribute()) {
        valueSetSimple(*simple);
    }
}

void PresentationServerDocumentOperator::valueSetSimple(Tessel::ServerAttributeSimple& attribute) {
    if (m_updatingContentId || !attribute.isValid() || !attribute.node()) {
        return;
    }
    std::shared_ptr<Tessel::ServerNode> const content = findByGuid(attribute.asVariant().toByteArray());
    std::shared_ptr<Tessel::ServerNode> const slide = attribute.node()->shared_from_this();
    if (!content) {
        // A slide that shows nothing, an empty "content-id" included, does not survive.
        removeNode(slide);
        return;
    }
    auto const entry = m_slideEntries.find(slide.get());
    if (entry != m_slideEntries.end()) {
        m_contentMaps[entry->second].content = content;
        return;
    }
    m_slideEntries.emplace(slide.get(), m_contentMaps.size());
    m_contentMaps.push_back({slide, content});
}

void PresentationServerDocumentOperator::reindexSlides() {
    m_slideEntries.clear();
    for (std::size_t i = 0; i < m_contentMaps.size(); ++i) {
        if (std::shared_ptr<Tessel::ServerNode> const slide = m_contentMaps[i].slide.lock()) {
            m_slideEntries.emplace(slide.get(), i);
        }
    }
}

std::shared_ptr<Tessel::ServerNode>
PresentationServerDocumentOperator::findByGuid(QByteArray const& guid) const {
    LiveRoot const live(m_document);
    return live ? findInTree(*live.root, guid) : nullptr;
}

void PresentationServerDocumentOperator::nodeDeleted(std::shared_ptr<Tessel::ServerNode> const& node) {
    std::set<std::shared_ptr<Tessel::ServerNode>> orphans;
    std::size_t const entriesBefore = m_contentMaps.size();
    for (auto entry = m_contentMaps.begin(); entry != m_contentMaps.end();) {
        std::shared_ptr<Tessel::ServerNode> const slide = entry->slide.lock();
        std::shared_ptr<Tessel::ServerNode> const content = entry->content.lock();
        if (!slide || !content) {
            Cobalt::Trace::warning("PresentationServerDocumentOperator # slide: %p, content: %p",
                                   static_cast<void*>(slide.get()), static_cast<void*>(content.get()));
            entry = m_contentMaps.erase(entry);
        } else if (slide == node) {
            entry = m_contentMaps.erase(entry);
        } else if (content == node) {
            orphans.insert(slide);
            entry = m_contentMaps.erase(entry);
        } else {
            ++entry;
        }
    }
    if (m_contentMaps.size() != entriesBefore) {
        reindexSlides();
    }
    for (auto const& slide : orphans) {
        removeNode(slide);
    }
}

void PresentationServerDocumentOperator::removeNode(std::shared_ptr<Tessel::ServerNode> const& node) {
    std::shared_ptr<Tessel::ServerDocument> const document = m_document.lock();
    std::shared_ptr<Tessel::TesselServer> const server = document ? document->server() : nullptr;
    if (!server) {
        return;
    }
    // Posted: this runs inside the document's own change, and the tree must not change under it.
    server->executor()->add([document, node] {
        ServerOwnChanges const serverOwn(*document);
        if (std::shared_ptr<Tessel::ServerNode> const parent = node->parent()) {
            // removeChildNode tells the document of each node it takes out.
            parent->removeChildNode(node->name());
        }
    });
}

void PresentationServerDocumentOperator::nodeGuidRecreated(std::shared_ptr<Tessel::ServerNode> const& node,
                                                           QByteArray const&) {
    for (ContentMap const& entry : m_contentMaps) {
        std::shared_ptr<Tessel::ServerNode> const slide = entry.slide.lock();
        if (!slide || entry.content.lock() != node) {
            continue;
        }
        std::shared_ptr<Tessel::ServerAttribute> const contentId = slide->childAttribute("content-id");
        Tessel::ServerAttributeSimple* const simple = contentId ? contentId->simpleAttribute() : nullptr;
        if (!simple) {
            continue;
        }
        m_updatingContentId = true;
        Basalt::AttributeT<QString> temporary;
        temporary = QString::fromLatin1(node->guid());
        simple->setValueFromAttr(temporary, ~0U);
        m_updatingContentId = false;
    }
}

} // namespace Datamodel
