#include "platform/tessel/ServerToClientConnection.hpp"

#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/MessageLink.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"

namespace Tessel {

ServerToClientConnection::ServerToClientConnection(std::shared_ptr<MessageLink> link, unsigned connectionId)
    : m_link(std::move(link)), m_connectionId(connectionId) {}

ServerToClientConnection::~ServerToClientConnection() = default;

void ServerToClientConnection::greet(QString installationName, QString userName, unsigned userId) {
    m_installationName = std::move(installationName);
    m_userName = std::move(userName);
    m_userId = userId;
    m_greeted = true;
}

void ServerToClientConnection::send(Wire::MessageKind kind, Cobalt::BinaryData const& payload) const {
    m_link->send(Wire::encodeFrame(kind, payload));
}

void ServerToClientConnection::describe(ServerNode& node) const {
    ServerNodeTypeDefinition const* const type =
        node.document() ? node.document()->nodeTypes().type(node.typeKey()) : nullptr;
    if (!type) {
        return;
    }
    if (type->attributeTypeDefinition("user-id", Kelp::TYPE_INT32)) {
        node.setAttributeValue<int>("user-id", static_cast<int>(m_userId));
    }
    if (type->attributeTypeDefinition("user-name", Kelp::TYPE_STRING)) {
        node.setAttributeValue<QString>("user-name", m_userName);
    }
    if (type->attributeTypeDefinition("installation-name", Kelp::TYPE_STRING)) {
        node.setAttributeValue<QString>("installation-name", m_installationName);
    }
}

QByteArray ServerToClientConnection::logName() const {
    return QByteArray::number(m_connectionId) + " (" + m_installationName.toUtf8() + ")";
}

void ServerToClientConnection::close() {
    m_link->close();
}

} // namespace Tessel
