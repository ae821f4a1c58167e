#include "platform/tessel/DocumentInfo.hpp"

#include "platform/kelp/TypeRegistry.hpp"

namespace Tessel {

Basalt::EnumNames const s_documentStates{{"regular", DOCUMENT_STATE_REGULAR}, {"demo", DOCUMENT_STATE_DEMO}};

DocumentInfo::DocumentInfo(QByteArray documentId)
    : nameAttribute(this, "document-name"),
      stateAttribute(this, "document-state", DOCUMENT_STATE_REGULAR, s_documentStates, true),
      mainPasswordAttribute(this, "has-main-password", false),
      accessPasswordAttribute(this, "has-access-password", false), sizeAttribute(this, "size", 0),
      createdAttribute(this, "created"), modifiedAttribute(this, "modified"),
      m_documentId(std::move(documentId)) {}

std::vector<Wire::AttributeValue> DocumentInfo::encodedValues(Kelp::TypeRegistry const& registry) const {
    std::vector<Wire::AttributeValue> values;
    for (Entry const& entry : attributes()) {
        unsigned typeCode = 0;
        unsigned valueSize = 0;
        if (auto const serializer = registry.createSerializer(entry.second, typeCode, valueSize)) {
            values.push_back({entry.first, typeCode, serializer->serialize(*entry.second)});
        }
    }
    return values;
}

void DocumentInfo::applyValues(std::vector<Wire::AttributeValue> const& values,
                               Kelp::TypeRegistry const& registry) {
    for (Wire::AttributeValue const& value : values) {
        Basalt::Attribute* const attribute = this->attribute(value.name);
        unsigned typeCode = 0;
        unsigned valueSize = 0;
        auto const serializer =
            attribute ? registry.createSerializer(attribute, typeCode, valueSize) : nullptr;
        if (serializer && typeCode == value.typeCode) {
            serializer->deserialize(value.bytes, *attribute);
        }
    }
}

} // namespace Tessel
