#pragma once

#include "platform/basalt/Attribute.hpp"
#include "platform/tessel/AccessControl.hpp"

namespace Kelp {
class TypeRegistry;
}

namespace Tessel {

/// An attribute that holds the `ResourcePermissions` of a node. It has no layers: one value, empty at
/// first, replaced as a whole. For the layer queries of the base it stands on the default layer, and on
/// the user layer too once a value was written, so that a document shares what was written.
///
/// Archives carry the text form of `toText`, messages the form of `writeMessage`. Belongs to the thread
/// of its document, like every attribute.
class AttributeResourcePermissions : public Basalt::Attribute {
public:
    /// Empty permissions, added to `host` under `name` unless `host` is null.
    AttributeResourcePermissions(Basalt::Node* host, QByteArray const& name);

    ResourcePermissions const& value() const { return m_value; }
    /// Replaces the value. ROLE_CHANGE listeners hear of it only when the value differs.
    void setValue(ResourcePermissions const& value);

    /// "resource-permissions".
    QByteArray type() const override;
    /// An element of the type's name holding the text form, whatever the archive's layer mask: the value
    /// has no layer to filter by.
    Basalt::ArchiveElement serialize(Basalt::Archive& archive) const override;
    /// Reads the text form; false, leaving the value alone, when it doesn't parse.
    bool deserialize(Basalt::ArchiveElement const& element) override;
    /// Reads the message form; a message that can't be read is dropped.
    void eventProcess(QByteArray const& id, Cobalt::BinaryData& data) override;
    /// The text form.
    QString asString(bool* ok = nullptr, Layer layer = LAYER_CURRENT_VALUE) const override;
    /// Whether the value differs from empty permissions.
    bool isChanged() const override;
    /// True for the default layer and the special layers, where the one value is always there, and for the
    /// user layer once a value was written.
    bool isValueDefinedOnLayer(Layer layer) const override;

    /// Teaches `registry` the type "resource-permissions": its code and its stored bytes, the message form.
    static void registerType(Kelp::TypeRegistry& registry);

private:
    ResourcePermissions m_value;
    bool m_written = false;
};

} // namespace Tessel
