#include "platform/tessel/AttributeResourcePermissions.hpp"

#include "platform/basalt/Archive.hpp"
#include "platform/cobalt/BinaryData.hpp"
#include "platform/kelp/TypeRegistry.hpp"

namespace Tessel {

AttributeResourcePermissions::AttributeResourcePermissions(Basalt::Node* host, QByteArray const& name)
    : Basalt::Attribute(host, name) {}

void AttributeResourcePermissions::setValue(ResourcePermissions const& value) {
    m_written = true;
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
    return layer == LAYER_DEFAULT || (layer == LAYER_USER && m_written) ||
           Basalt::Attribute::isValueDefinedOnLayer(layer);
}

namespace {

/// The message form of `writeMessage` as the value's stored bytes.
class ResourcePermissionsSerializer : public Kelp::AttributeSerializer {
public:
    QByteArray serialize(Basalt::Attribute const& attribute) const override {
        auto const* permissions = dynamic_cast<AttributeResourcePermissions const*>(&attribute);
        if (!permissions) {
            return QByteArray();
        }
        Cobalt::BinaryData data;
        writeMessage(data, permissions->value());
        return data.data();
    }
    bool deserialize(QByteArray const& bytes, Basalt::Attribute& attribute) const override {
        auto* const permissions = dynamic_cast<AttributeResourcePermissions*>(&attribute);
        Cobalt::BinaryData data(bytes);
        ResourcePermissions read;
        if (!permissions || !readMessage(data, read) || !data.atEnd()) {
            return false;
        }
        permissions->setValue(read);
        return true;
    }
};

} // namespace

void AttributeResourcePermissions::registerType(Kelp::TypeRegistry& registry) {
    registry.registerType({QByteArrayLiteral("resource-permissions"), Kelp::TYPE_RESOURCE_PERMISSIONS, 0,
                           std::make_shared<ResourcePermissionsSerializer>(),
                           [] { return new AttributeResourcePermissions(nullptr, QByteArray()); }});
}

} // namespace Tessel
