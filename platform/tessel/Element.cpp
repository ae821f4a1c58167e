#include "platform/tessel/Element.hpp"

#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/Uuid.hpp"

#include <vector>

namespace Tessel {

Element::Element(Flags flags) : m_flags(flags) {}

Element::~Element() {
    if (auto* const document = dynamic_cast<DocumentConnection*>(changeObserver())) {
        document->forget(*this);
    }
    std::vector<Element*> children;
    for (Entry const& entry : attributes()) {
        if (auto* child = dynamic_cast<Element*>(entry.second)) {
            children.push_back(child);
        }
    }
    for (Element* child : children) {
        delete child;
    }
}

void Element::initName() {
    m_guid = generateUuid();
    setName(m_guid);
}

Element* Element::rootElement() const {
    Element* root = const_cast<Element*>(this);
    for (Basalt::Node* host = root->host(); host; host = host->host()) {
        if (auto* element = dynamic_cast<Element*>(host)) {
            root = element;
        }
    }
    return root;
}

std::shared_ptr<DocumentConnection> Element::documentConnection() const {
    return rootElement()->m_documentConnection.lock();
}

Element* Element::findElementByGuid(QByteArray const& guid) const {
    if (std::shared_ptr<DocumentConnection> const connection = documentConnection()) {
        if (Element* const shared = connection->findSharedElement(guid)) {
            return shared;
        }
        for (Element* root : {connection->documentRoot(), connection->transientRoot()}) {
            if (Element* found = root ? root->findInSubtree(guid) : nullptr) {
                return found;
            }
        }
        return nullptr;
    }
    return rootElement()->findInSubtree(guid);
}

Element* Element::findInSubtree(QByteArray const& guid) {
    if (!guid.isEmpty() && m_guid == guid) {
        return this;
    }
    for (Entry const& entry : attributes()) {
        if (auto* child = dynamic_cast<Element*>(entry.second)) {
            if (Element* found = child->findInSubtree(guid)) {
                return found;
            }
        }
    }
    return nullptr;
}

void Element::initialize(DocumentConnection&) {}

bool Element::isSharedAttribute(Basalt::Attribute const& attribute) {
    // Values under ".local-" are what each process derives for itself.
    return !attribute.name().isEmpty() && !attribute.ownerShorthand() &&
           !attribute.name().startsWith(QByteArrayLiteral(".local-")) &&
           !dynamic_cast<Element const*>(&attribute);
}

} // namespace Tessel
