#include "platform/kelp/TypeRegistry.hpp"

#include "platform/basalt/Attribute.hpp"

namespace Kelp {

AttributeSerializer::~AttributeSerializer() = default;

bool AttributeSerializer::applyElementEvent(Basalt::Attribute&, Basalt::AttributeEvent::Type, std::size_t,
                                            QByteArray const&) const {
    return false;
}

void TypeRegistry::registerType(TypeInfo info) {
    QByteArray const name = info.name;
    m_types.insert(name, std::move(info));
}

TypeRegistry::TypeInfo const* TypeRegistry::find(QByteArray const& typeName) const {
    auto const exact = m_types.constFind(typeName);
    if (exact != m_types.constEnd()) {
        return &exact.value();
    }
    int const colon = typeName.indexOf(':');
    if (colon < 0) {
        return nullptr;
    }
    auto const family = m_types.constFind(typeName.left(colon + 1));
    return family != m_types.constEnd() ? &family.value() : nullptr;
}

TypeRegistry::TypeInfo const* TypeRegistry::findByCode(unsigned typeCode) const {
    for (TypeInfo const& info : m_types) {
        if (info.typeCode == typeCode) {
            return &info;
        }
    }
    return nullptr;
}

std::unique_ptr<Basalt::Attribute> TypeRegistry::createAttribute(QByteArray const& typeName) const {
    TypeInfo const* const info = find(typeName);
    if (!info || !info->makeAttribute) {
        return nullptr;
    }
    return std::unique_ptr<Basalt::Attribute>(info->makeAttribute());
}

bool TypeRegistry::setAttributeMaker(QByteArray const& typeName, AttributeMaker maker) {
    auto const found = m_types.find(typeName);
    if (found == m_types.end()) {
        return false;
    }
    found->makeAttribute = std::move(maker);
    return true;
}

std::shared_ptr<AttributeSerializer const> TypeRegistry::createSerializer(Basalt::Attribute* attribute,
                                                                          unsigned int& typeCode,
                                                                          unsigned int& valueSize) const {
    if (!attribute) {
        return nullptr;
    }
    TypeInfo const* const info = find(attribute->type());
    if (!info) {
        return nullptr;
    }
    typeCode = info->typeCode;
    valueSize = info->valueSize;
    return info->serializer;
}

} // namespace Kelp
