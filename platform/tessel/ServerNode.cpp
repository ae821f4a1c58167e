#include "platform/tessel/ServerNode.hpp"

#include "platform/basalt/Attribute.hpp"
#include "platform/basalt/Serializer.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerOperators.hpp"
#include "platform/tessel/Uuid.hpp"

#include <QString>

#include <algorithm>
#include <stdexcept>

namespace Tessel {

ServerNode::ServerNode(ServerDocument* document) : m_document(document) {}

ServerNode::~ServerNode() = default;

std::shared_ptr<ServerNode> ServerNode::childNode(QByteArray const& name) const {
    auto const found = m_children.find(name);
    return found == m_children.end() ? nullptr : found->second;
}

void ServerNode::addChildNode(std::shared_ptr<ServerNode> child, bool notify) {
    if (!child || child.get() == this) {
        return;
    }
    if (std::shared_ptr<ServerNode> const former = child->parent()) {
        former->removeChildNode(child->name());
    }
    if (m_children.count(child->name())) {
        removeChildNode(child->name());
    }
    m_children.emplace(child->name(), child);
    child->m_parent = weak_from_this();
    if (!m_inDocument) {
        return;
    }
    child->setInDocument(true);
    if (!notify || !m_document) {
        return;
    }
    m_document->publishSubtree(*child);
    std::shared_ptr<ServerNode> const self = shared_from_this();
    m_document->tellOperators([&](ServerDocumentOperator& op) { op.childNodeAdded(self, child); });
    auto const listeners = m_operators;
    for (auto const& op : listeners) {
        op->childNodeAdded(child);
    }
}

void ServerNode::moveTo(ServerNode& parent, QByteArray const& name) {
    std::shared_ptr<ServerNode> const self = shared_from_this();
    if (std::shared_ptr<ServerNode> const former = this->parent()) {
        former->m_children.erase(m_name);
    }
    m_name = name;
    parent.m_children[name] = self;
    m_parent = parent.weak_from_this();
    if (m_document && m_inDocument) {
        Wire::Operation move;
        move.kind = Wire::OperationKind::MoveNode;
        move.nodeGuid = m_guid;
        move.name = name;
        move.parentGuid = parent.guid();
        m_document->publish(move);
        std::shared_ptr<ServerNode> const newParent = parent.shared_from_this();
        m_document->tellOperators([&](ServerDocumentOperator& op) { op.nodeParentChanged(self, newParent); });
    }
}

void ServerNode::removeChildNode(QByteArray const& name) {
    auto const found = m_children.find(name);
    if (found == m_children.end()) {
        return;
    }
    std::shared_ptr<ServerNode> const child = found->second;
    m_children.erase(found);
    child->m_parent.reset();
    if (!m_inDocument) {
        return;
    }
    std::vector<std::shared_ptr<ServerNode>> const removed = child->subtree();
    child->setInDocument(false);
    if (!m_document) {
        return;
    }
    Wire::Operation deletion;
    deletion.kind = Wire::OperationKind::DeleteNode;
    deletion.nodeGuid = child->guid();
    m_document->publish(std::move(deletion));
    auto const listeners = m_operators;
    for (auto const& op : listeners) {
        op->childNodeRemoved(child);
    }
    for (auto const& node : removed) {
        m_document->nodeDeleted(node);
    }
}

std::shared_ptr<ServerAttribute> ServerNode::childAttribute(QByteArray const& name) const {
    for (auto const& attribute : m_attributes) {
        if (attribute->name() == name) {
            return attribute;
        }
    }
    return nullptr;
}

void ServerNode::addChildAttribute(std::shared_ptr<ServerAttribute> attribute, bool notify) {
    if (!attribute) {
        return;
    }
    removeChildAttribute(attribute->name());
    attribute->m_node = this;
    m_attributes.push_back(attribute);
    if (m_inDocument && m_document) {
        m_document->publishValue(*attribute);
    }
    if (notify) {
        auto const listeners = m_operators;
        for (auto const& op : listeners) {
            op->childAttributeAdded(attribute);
        }
    }
}

void ServerNode::removeChildAttribute(QByteArray const& name, bool) {
    auto const found = std::find_if(m_attributes.begin(), m_attributes.end(),
                                    [&](auto const& attribute) { return attribute->name() == name; });
    if (found == m_attributes.end()) {
        return;
    }
    (*found)->m_node = nullptr;
    m_attributes.erase(found);
}

void ServerNode::addOperator(std::shared_ptr<ServerNodeOperator> op) {
    if (!op || hasOperator(op)) {
        return;
    }
    m_operators.push_back(op);
    op->addedToNode(shared_from_this());
}

bool ServerNode::hasOperator(std::shared_ptr<ServerNodeOperator> const& op) const {
    return std::find(m_operators.begin(), m_operators.end(), op) != m_operators.end();
}

template <typename T>
std::shared_ptr<ServerAttribute> ServerNode::setAttributeValue(QByteArray const& name, T const& value) {
    std::unique_ptr<Basalt::Attribute> const temporary =
        m_document
            ? m_document->typeRegistry().createAttribute(Basalt::Serializer::tagName(typeid(T)).toUtf8())
            : nullptr;
    if (!temporary) {
        throw std::runtime_error("ServerNode::setAttributeValue # no document or no type for '" +
                                 name.toStdString() + "'");
    }
    temporary->set(value, Basalt::Attribute::LAYER_USER);
    return writeValue(name, *temporary);
}

template std::shared_ptr<ServerAttribute> ServerNode::setAttributeValue(QByteArray const&, bool const&);
template std::shared_ptr<ServerAttribute> ServerNode::setAttributeValue(QByteArray const&, int const&);
template std::shared_ptr<ServerAttribute> ServerNode::setAttributeValue(QByteArray const&, float const&);
template std::shared_ptr<ServerAttribute> ServerNode::setAttributeValue(QByteArray const&, QString const&);

std::shared_ptr<ServerAttribute> ServerNode::writeValue(QByteArray const& name,
                                                        Basalt::Attribute& temporary) {
    if (std::shared_ptr<ServerAttribute> const existing = childAttribute(name)) {
        ServerAttributeSimple* const simple = existing->simpleAttribute();
        if (!simple) {
            throw std::runtime_error("'" + name.toStdString() + "' is not a simple attribute");
        }
        simple->setValueFromAttr(temporary, ~0U);
        return existing;
    }
    std::shared_ptr<ServerAttribute> const created =
        ServerAttributeSimple::createAttr(m_document, name, temporary);
    addChildAttribute(created, true);
    return created;
}

void ServerNode::recreateGuid() {
    QByteArray const former = m_guid;
    if (m_inDocument && m_document) {
        m_document->unindex(*this);
    }
    m_guid = generateUuid();
    if (!m_inDocument || !m_document) {
        return;
    }
    m_document->index(*this);
    Wire::Operation change;
    change.kind = Wire::OperationKind::GuidChanged;
    change.nodeGuid = former;
    change.name = m_guid;
    m_document->publish(std::move(change));
    std::shared_ptr<ServerNode> const self = shared_from_this();
    m_document->tellOperators([&](ServerDocumentOperator& op) { op.nodeGuidRecreated(self, former); });
}

void ServerNode::setInDocument(bool inDocument) {
    m_inDocument = inDocument;
    if (m_document) {
        if (inDocument) {
            m_document->index(*this);
        } else {
            m_document->unindex(*this);
        }
    }
    for (auto const& entry : m_children) {
        entry.second->setInDocument(inDocument);
    }
}

std::vector<std::shared_ptr<ServerNode>> ServerNode::subtree() {
    std::vector<std::shared_ptr<ServerNode>> nodes{shared_from_this()};
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        for (auto const& entry : nodes[i]->m_children) {
            nodes.push_back(entry.second);
        }
    }
    return nodes;
}

} // namespace Tessel
