#include "platform/tessel/AttributeResourcePermissions.hpp"

#include "platform/basalt/Archive.hpp"

namespace Tessel {

AttributeResourcePermissions::AttributeResourcePermissions(Basalt::Node* host, QByteArray const& name)
    : Basalt::Attribute(host, name) {}

void AttributeResourcePermissions::setValue(ResourcePermissions const& value) {
    if (value == m_value) {
        return;
    }
    m_value = value;
    notify(ROLE_CHANGE);
}

QByteArray AttributeResourcePermissions::type() const {
    return QByteArrayLiteral("resource-permissions");
}

Basalt::ArchiveElement AttributeResourcePermissions::serialize(Basalt::Archive& archive) const {
    Basalt::ArchiveElement element = archive.createElement(QString::fromLatin1(type()));
    if (element.isNull()) {
        return element;
    }
    element.set(toText(m_value));
    if (!name().isEmpty()) {
        element.setName(QString::fromUtf8(name()));
    }
    element.add(QStringLiteral("type"), QString::fromLatin1(type()));
    return element;
}

bool AttributeResourcePermissions::deserialize(Basalt::ArchiveElement const& element) {
    ResourcePermissions read;
    if (!fromText(element.get(), read)) {
        return false;
    }
    setValue(read);
    return true;
}

void AttributeResourcePermissions::eventProcess(QByteArray const&, Cobalt::BinaryData& data) {
    ResourcePermissions read;
    if (readMessage(data, read)) {
        setValue(read);
    }
}

QString AttributeResourcePermissions::asString(bool* ok, Layer) const {
    if (ok) {
        *ok = true;
    }
    return toText(m_value);
}

bool AttributeResourcePermissions::isChanged() const {
    return m_value != ResourcePermissions();
}

bool AttributeResourcePermissions::isValueDefinedOnLayer(Layer layer) const {
    return layer == LAYER_DEFAULT || Basalt::Attribute::isValueDefinedOnLayer(layer);
}

} // namespace Tessel
