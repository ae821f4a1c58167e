#pragma once

#include "attributes/AttributeBaseT.hpp"
#include "attributes/AttributeFwd.hpp"

#include <QString>

namespace Basalt {

/// A text attribute. Messages carry UTF-8; archives carry the text as it stands.
template <>
class AttributeT<QString, void> : public AttributeBaseT<QString> {
public:
    AttributeT(Node* host, QByteArray const& name, QString const& defaultValue = QString())
        : AttributeBaseT<QString>(host, name, defaultValue) {}
    AttributeT() = default;

    AttributeT& operator=(QString const& value) {
        writeValue<AttributeT>(value, LAYER_USER);
        return *this;
    }
    bool operator==(QString const& text) const { return value() == text; }
    bool operator!=(QString const& text) const { return value() != text; }

    /// Writes an empty text on LAYER_USER.
    void clear() { writeValue<AttributeT>(QString(), LAYER_USER); }

    /// Any text; the unit doesn't apply.
    bool set(QString const& text, Layer layer = LAYER_USER, ValueUnit = UNIT_UNSPECIFIED) override {
        writeValue<AttributeT>(text, layer);
        return true;
    }
    /// The text read as an integer; `ok` false when it isn't one.
    int asInt(bool* ok = nullptr, Layer layer = LAYER_CURRENT_VALUE) const override {
        return valueForRead(layer).toInt(ok);
    }
    /// The text read as a float; `ok` false when it isn't one.
    float asFloat(bool* ok = nullptr, Layer layer = LAYER_CURRENT_VALUE) const override {
        return valueForRead(layer).toFloat(ok);
    }
    /// The text as it stands.
    bool deserialize(ArchiveElement const& element) override {
        writeValue<AttributeT>(element.get(), LAYER_USER);
        return true;
    }
    /// Reads a UTF-8 string; anything else drops the message.
    void eventProcess(QByteArray const&, Cobalt::BinaryData& data) override {
        QByteArray text;
        if (data.readString(text)) {
            writeValue<AttributeT>(QString::fromUtf8(text), LAYER_USER);
        }
    }
};

extern template class AttributeBaseT<QString>;

} // namespace Basalt
