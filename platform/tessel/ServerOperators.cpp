#include "platform/tessel/ServerOperators.hpp"

namespace Tessel {

ServerDocumentOperator::~ServerDocumentOperator() = default;
bool ServerDocumentOperator::permitDocumentConnection(ServerToClientConnection&,
                                                      std::shared_ptr<TesselServer>, QString&) {
    return true;
}
void ServerDocumentOperator::connectionAdded(ServerDocumentConnection*) {}
void ServerDocumentOperator::connectionRemoved(ServerDocumentConnection*) {}
void ServerDocumentOperator::childNodeAdded(std::shared_ptr<ServerNode> const&,
                                            std::shared_ptr<ServerNode> const&) {}
void ServerDocumentOperator::nodeParentChanged(std::shared_ptr<ServerNode> const&,
                                               std::shared_ptr<ServerNode> const&) {}
void ServerDocumentOperator::nodeDeleted(std::shared_ptr<ServerNode> const&) {}
void ServerDocumentOperator::nodeGuidRecreated(std::shared_ptr<ServerNode> const&, QByteArray const&) {}

ServerNodeOperator::~ServerNodeOperator() = default;
void ServerNodeOperator::addedToNode(std::shared_ptr<ServerNode>) {}
void ServerNodeOperator::childAttributeAdded(std::shared_ptr<ServerAttribute>) {}
void ServerNodeOperator::childNodeAdded(std::shared_ptr<ServerNode>) {}
void ServerNodeOperator::childNodeRemoved(std::shared_ptr<ServerNode>) {}

ServerAttributeOperator::~ServerAttributeOperator() = default;
void ServerAttributeOperator::addedToAttribute(std::shared_ptr<ServerAttribute>) {}
void ServerAttributeOperator::valueSetSimple(ServerAttributeSimple&) {}

ServerDocumentTypeOperators& ServerDocumentTypeOperators::instance() {
    static ServerDocumentTypeOperators registry;
    return registry;
}

void ServerDocumentTypeOperators::addFactory(QByteArray const& documentType, Factory factory) {
    instance().add(documentType, std::move(factory));
}

void ServerDocumentTypeOperators::add(QByteArray const& documentType, Factory factory) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_factories[documentType].push_back(std::move(factory));
}

std::vector<ServerDocumentTypeOperators::Factory>
ServerDocumentTypeOperators::factories(QByteArray const& documentType) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto const found = m_factories.find(documentType);
    return found == m_factories.end() ? std::vector<Factory>() : found->second;
}

} // namespace Tessel
