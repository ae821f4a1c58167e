#include "platform/tessel/ServerAttribute.hpp"

#include "platform/basalt/Attribute.hpp"
#include "platform/basalt/Serializer.hpp"
#include "platform/cobalt/LittleEndian.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/ServerOperators.hpp"
#include "platform/tessel/ServerToClientConnection.hpp"

namespace Tessel {

namespace {

Kelp::TypeRegistry::TypeInfo const* typeOfCode(ServerDocument const* document, unsigned typeCode) {
    return document ? document->typeRegistry().findByCode(typeCode) : nullptr;
}

} // namespace

ServerAttribute::ServerAttribute(ServerDocument* document, QByteArray name, unsigned typeCode)
    : m_document(document), m_name(std::move(name)), m_typeCode(typeCode) {}

ServerAttribute::~ServerAttribute() = default;

ServerAttributeSimple* ServerAttribute::simpleAttribute() {
    return nullptr;
}

ServerAttributeVectorContainer* ServerAttribute::vectorContainer() {
    return nullptr;
}

void ServerAttribute::addOperator(std::shared_ptr<ServerAttributeOperator> op) {
    if (!op || hasOperator(op)) {
        return;
    }
    m_operators.push_back(op);
    op->addedToAttribute(shared_from_this());
}

bool ServerAttribute::hasOperator(std::shared_ptr<ServerAttributeOperator> const& op) const {
    return std::find(m_operators.begin(), m_operators.end(), op) != m_operators.end();
}

void ServerAttribute::publish(Wire::Operation operation) const {
    if (m_document && m_node && m_node->isInDocument()) {
        m_document->publish(std::move(operation));
    }
}

Wire::Operation ServerAttribute::operation(Wire::OperationKind kind) const {
    Wire::Operation operation;
    operation.kind = kind;
    operation.nodeGuid = m_node ? m_node->guid() : QByteArray();
    operation.name = m_name;
    operation.typeCode = m_typeCode;
    return operation;
}

// --- ServerAttributeSimple

std::shared_ptr<ServerAttributeSimple> ServerAttributeSimple::createAttr(ServerDocument* document,
                                                                         QByteArray const& name,
                                                                         Basalt::Attribute& attribute) {
    unsigned typeCode = 0;
    unsigned valueSize = 0;
    auto const serializer =
        document ? document->typeRegistry().createSerializer(&attribute, typeCode, valueSize) : nullptr;
    if (!serializer) {
        return nullptr;
    }
    return std::make_shared<ServerAttributeSimple>(document, name, typeCode,
                                                   serializer->serialize(attribute));
}

template <typename T>
std::shared_ptr<ServerAttributeSimple>
ServerAttributeSimple::createT(ServerDocument* document, QByteArray const& name, T const& value) {
    std::unique_ptr<Basalt::Attribute> const temporary =
        document ? document->typeRegistry().createAttribute(Basalt::Serializer::tagName(typeid(T)).toUtf8())
                 : nullptr;
    if (!temporary || !temporary->set(value, Basalt::Attribute::LAYER_USER)) {
        return nullptr;
    }
    return createAttr(document, name, *temporary);
}

template std::shared_ptr<ServerAttributeSimple>
ServerAttributeSimple::createT(ServerDocument*, QByteArray const&, bool const&);
template std::shared_ptr<ServerAttributeSimple> ServerAttributeSimple::createT(ServerDocument*,
                                                                               QByteArray const&, int const&);
template std::shared_ptr<ServerAttributeSimple>
ServerAttributeSimple::createT(ServerDocument*, QByteArray const&, float const&);
template std::shared_ptr<ServerAttributeSimple>
ServerAttributeSimple::createT(ServerDocument*, QByteArray const&, QString const&);
// The attribute interface has no 64-bit setter to fill a temporary with: a 64-bit integer is stored as its
// plain little-endian bytes.
template <>
std::shared_ptr<ServerAttributeSimple>
ServerAttributeSimple::createT(ServerDocument* document, QByteArray const& name, long const& value) {
    QByteArray bytes;
    Cobalt::appendLittleEndian(bytes, static_cast<std::int64_t>(value));
    return std::make_shared<ServerAttributeSimple>(document, name, Kelp::TYPE_INT64, bytes);
}

ServerAttributeSimple::ServerAttributeSimple(ServerDocument* document, QByteArray name, unsigned typeCode,
                                             QByteArray bytes)
    : ServerAttribute(document, std::move(name), typeCode), m_bytes(std::move(bytes)), m_valid(true) {}

ServerAttributeSimple* ServerAttributeSimple::simpleAttribute() {
    return this;
}

Wire::AttributeValue ServerAttributeSimple::encodedValue() const {
    return {name(), typeCode(), m_bytes};
}

bool ServerAttributeSimple::valueToAttr(Basalt::Attribute& attribute) const {
    unsigned typeCode = 0;
    unsigned valueSize = 0;
    auto const serializer =
        document() ? document()->typeRegistry().createSerializer(&attribute, typeCode, valueSize) : nullptr;
    return m_valid && serializer && typeCode == this->typeCode() &&
           serializer->deserialize(m_bytes, attribute);
}

void ServerAttributeSimple::setValueFromAttr(Basalt::Attribute& attribute, unsigned int) {
    unsigned typeCode = 0;
    unsigned valueSize = 0;
    auto const serializer =
        document() ? document()->typeRegistry().createSerializer(&attribute, typeCode, valueSize) : nullptr;
    if (serializer && typeCode == this->typeCode()) {
        setEncoded(serializer->serialize(attribute));
    }
}

void ServerAttributeSimple::setEncoded(QByteArray const& bytes) {
    // The same value again travels nowhere, but operators still hear of the set: a request written twice
    // is asked twice.
    if (!m_valid || bytes != m_bytes) {
        m_bytes = bytes;
        m_valid = true;
        Wire::Operation change = operation(Wire::OperationKind::SetValue);
        change.bytes = m_bytes;
        publish(std::move(change));
    }
    // A copy: an operator may attach others while it is told.
    auto const listeners = operators();
    for (auto const& op : listeners) {
        op->valueSetSimple(*this);
    }
}

std::unique_ptr<Basalt::Attribute> ServerAttributeSimple::decoded() const {
    Kelp::TypeRegistry::TypeInfo const* const type = typeOfCode(document(), typeCode());
    if (!type || !type->makeAttribute || !type->serializer) {
        return nullptr;
    }
    std::unique_ptr<Basalt::Attribute> attribute(type->makeAttribute());
    if (!type->serializer->deserialize(m_bytes, *attribute)) {
        return nullptr;
    }
    return attribute;
}

QVariant ServerAttributeSimple::asVariant() const {
    if (!m_valid) {
        return QVariant();
    }
    if (typeCode() == Kelp::TYPE_INT64 && m_bytes.size() == 8) {
        return QVariant(static_cast<qlonglong>(Cobalt::readLittleEndian<std::int64_t>(m_bytes.constData())));
    }
    if (typeCode() == Kelp::TYPE_UINT64 && m_bytes.size() == 8) {
        return QVariant(
            static_cast<qulonglong>(Cobalt::readLittleEndian<std::uint64_t>(m_bytes.constData())));
    }
    std::unique_ptr<Basalt::Attribute> const attribute = decoded();
    if (!attribute) {
        return QVariant();
    }
    switch (typeCode()) {
    case Kelp::TYPE_BOOL:
        return QVariant(attribute->asInt() != 0);
    case Kelp::TYPE_INT32:
        return QVariant(attribute->asInt());
    case Kelp::TYPE_FLOAT32:
        return QVariant(attribute->asFloat());
    default:
        return QVariant(attribute->asString());
    }
}

// --- ServerAttributeVectorContainer

ServerAttributeVectorContainer::ServerAttributeVectorContainer(ServerDocument* document,
                                                               QByteArray const& name, unsigned int type)
    : ServerAttributeVectorContainer(document, name, QByteArray(), 0, type) {}

ServerAttributeVectorContainer::ServerAttributeVectorContainer(ServerDocument* document,
                                                               QByteArray const& name, QByteArray values,
                                                               unsigned int count, unsigned int type)
    : ServerAttribute(document, name, type), m_valueSize(0), m_count(count), m_values(std::move(values)) {
    if (Kelp::TypeRegistry::TypeInfo const* const info = typeOfCode(document, type)) {
        m_valueSize = info->valueSize;
    } else if (count > 0) {
        m_valueSize = static_cast<unsigned>(m_values.size()) / count;
    }
}

ServerAttributeVectorContainer* ServerAttributeVectorContainer::vectorContainer() {
    return this;
}

Wire::AttributeValue ServerAttributeVectorContainer::encodedValue() const {
    return {name(), typeCode(), m_values};
}

void ServerAttributeVectorContainer::setValues(QByteArray values, unsigned int count, unsigned int start) {
    if (m_valueSize == 0 && count > 0) {
        m_valueSize = static_cast<unsigned>(values.size()) / count;
    }
    unsigned const kept = std::min(start, m_count);
    m_values = m_values.left(static_cast<int>(kept * m_valueSize)) + values;
    m_count = kept + count;
    Wire::Operation change = operation(Wire::OperationKind::SetVector);
    change.bytes = m_values;
    changed(std::move(change));
}

void ServerAttributeVectorContainer::changed(Wire::Operation change) {
    ServerDocumentConnection const* const acting = document() ? document()->actingConnection() : nullptr;
    m_lastWriter = acting ? acting->connection().connectionId() : 0;
    publish(std::move(change));
}

QByteArray ServerAttributeVectorContainer::at(unsigned long index) const {
    if (index >= m_count) {
        return QByteArray();
    }
    return m_values.mid(static_cast<int>(index * m_valueSize), static_cast<int>(m_valueSize));
}

bool ServerAttributeVectorContainer::insertAt(unsigned index, QByteArray const& value) {
    if (index > m_count || static_cast<unsigned>(value.size()) != m_valueSize) {
        return false;
    }
    m_values.insert(static_cast<int>(index * m_valueSize), value);
    ++m_count;
    Wire::Operation change = operation(Wire::OperationKind::InsertElement);
    change.index = index;
    change.bytes = value;
    changed(std::move(change));
    return true;
}

bool ServerAttributeVectorContainer::removeAt(unsigned index) {
    if (index >= m_count) {
        return false;
    }
    m_values.remove(static_cast<int>(index * m_valueSize), static_cast<int>(m_valueSize));
    --m_count;
    Wire::Operation change = operation(Wire::OperationKind::RemoveElement);
    change.index = index;
    changed(std::move(change));
    return true;
}

bool ServerAttributeVectorContainer::replaceAt(unsigned index, QByteArray const& value) {
    if (index >= m_count || static_cast<unsigned>(value.size()) != m_valueSize) {
        return false;
    }
    m_values.replace(static_cast<int>(index * m_valueSize), static_cast<int>(m_valueSize), value);
    Wire::Operation change = operation(Wire::OperationKind::ReplaceElement);
    change.index = index;
    change.bytes = value;
    changed(std::move(change));
    return true;
}

} // namespace Tessel
