#pragma once

#include "platform/cobalt/VersionString.hpp"

#include <QByteArray>

#include <map>
#include <vector>

namespace Kelp {
class TypeRegistry;
}

namespace Tessel {

class ElementFactory;

/// What the server knows of one element type: the attributes its class shares, with their type codes.
class ServerNodeTypeDefinition {
public:
    struct AttributeDefinition {
        QByteArray name;
        unsigned typeCode = 0;
        /// Bytes of one value; 0 when it varies (text).
        unsigned valueSize = 0;
    };

    explicit ServerNodeTypeDefinition(QByteArray typeKey = QByteArray()) : m_typeKey(std::move(typeKey)) {}

    QByteArray const& typeKey() const { return m_typeKey; }
    /// The attribute `name` if it has the type `typeCode`; null otherwise.
    AttributeDefinition const* attributeTypeDefinition(QByteArray const& name, unsigned int typeCode) const;
    /// The attribute `name` of whatever type; null if the type has none.
    AttributeDefinition const* attributeDefinition(QByteArray const& name) const;
    std::vector<AttributeDefinition> const& attributes() const { return m_attributes; }
    void addAttribute(AttributeDefinition definition);

private:
    QByteArray m_typeKey;
    std::vector<AttributeDefinition> m_attributes;
};

/// The node types of one document type, derived from its element factory: for each type key, the shared
/// attributes of an element of that class as a client on this server would have it, that is after its
/// `initialize` with a connection announcing the server's version (some attributes join only there).
class ServerDocumentNodeTypes {
public:
    static ServerDocumentNodeTypes fromFactory(ElementFactory const& factory,
                                               Kelp::TypeRegistry const& registry,
                                               Cobalt::VersionString const& serverVersion);

    /// The definition of a type key; null for an unknown key.
    ServerNodeTypeDefinition const* type(QByteArray const& typeKey) const;
    void addType(ServerNodeTypeDefinition definition);
    std::size_t size() const { return m_types.size(); }

private:
    std::map<QByteArray, ServerNodeTypeDefinition> m_types;
};

} // namespace Tessel
