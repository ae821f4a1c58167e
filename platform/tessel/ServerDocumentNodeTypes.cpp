#include "platform/tessel/ServerDocumentNodeTypes.hpp"

#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ClientToServerConnection.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/ElementFactory.hpp"

namespace Tessel {

ServerNodeTypeDefinition::AttributeDefinition const*
ServerNodeTypeDefinition::attributeTypeDefinition(QByteArray const& name, unsigned int typeCode) const {
    AttributeDefinition const* const definition = attributeDefinition(name);
    return definition && definition->typeCode == typeCode ? definition : nullptr;
}

ServerNodeTypeDefinition::AttributeDefinition const*
ServerNodeTypeDefinition::attributeDefinition(QByteArray const& name) const {
    for (AttributeDefinition const& definition : m_attributes) {
        if (definition.name == name) {
            return &definition;
        }
    }
    return nullptr;
}

void ServerNodeTypeDefinition::addAttribute(AttributeDefinition definition) {
    m_attributes.push_back(std::move(definition));
}

namespace {

ServerNodeTypeDefinition describe(QByteArray const& key, Element& element,
                                  Kelp::TypeRegistry const& registry) {
    ServerNodeTypeDefinition definition(key);
    for (Basalt::Node::Entry const& entry : element.attributes()) {
        if (!Element::isSharedAttribute(*entry.second)) {
            continue;
        }
        unsigned typeCode = 0;
        unsigned valueSize = 0;
        if (registry.createSerializer(entry.second, typeCode, valueSize)) {
            definition.addAttribute({entry.first, typeCode, valueSize});
        }
    }
    return definition;
}

} // namespace

ServerDocumentNodeTypes ServerDocumentNodeTypes::fromFactory(ElementFactory const& factory,
                                                             Kelp::TypeRegistry const& registry,
                                                             Cobalt::VersionString const& serverVersion) {
    ClientToServerConnection::Announcement announcement;
    announcement.serverVersion = serverVersion;
    auto const connection = std::make_shared<ClientToServerConnection>(announcement, nullptr);
    ServerDocumentNodeTypes types;
    for (auto const& maker : factory.makers()) {
        // Each element is initialised in a document of its own, as a client would, so that the attributes
        // that join only in `initialize` are known too.
        std::unique_ptr<Element> element(maker.second());
        Element* const root = element.get();
        auto const document = DocumentConnection::create(std::move(element), nullptr, nullptr, connection);
        root->initialize(*document);
        types.addType(describe(maker.first, *root, registry));
    }
    return types;
}

ServerNodeTypeDefinition const* ServerDocumentNodeTypes::type(QByteArray const& typeKey) const {
    auto const found = m_types.find(typeKey);
    return found == m_types.end() ? nullptr : &found->second;
}

void ServerDocumentNodeTypes::addType(ServerNodeTypeDefinition definition) {
    QByteArray const key = definition.typeKey();
    m_types[key] = std::move(definition);
}

} // namespace Tessel
