#pragma once

#include "attributes/AttributeBaseT.hpp"
#include "attributes/AttributeFwd.hpp"

namespace Basalt {

/// A flag. As text it is "true" or "false" (archives also accept "1" and "0"); as a number 1 or 0.
template <>
class AttributeT<bool, void> : public AttributeBaseT<bool> {
public:
    AttributeT(Node* host, QByteArray const& name, bool defaultValue = false)
        : AttributeBaseT<bool>(host, name, defaultValue) {}
    AttributeT() = default;
    ~AttributeT() override = default;

    AttributeT& operator=(bool value) {
        writeValue<AttributeT>(value, LAYER_USER);
        return *this;
    }

    /// Non-zero is true.
    bool set(int value, Layer layer = LAYER_USER, ValueUnit = UNIT_UNSPECIFIED) override {
        writeValue<AttributeT>(value != 0, layer);
        return true;
    }
    /// "true", "false", "1" or "0", in any case; anything else gives false.
    bool set(QString const& text, Layer layer = LAYER_USER, ValueUnit = UNIT_UNSPECIFIED) override {
        bool value = false;
        if (!parse(text, value)) {
            return false;
        }
        writeValue<AttributeT>(value, layer);
        return true;
    }
    int asInt(bool* ok = nullptr, Layer layer = LAYER_CURRENT_VALUE) const override {
        if (ok) {
            *ok = true;
        }
        return valueForRead(layer) ? 1 : 0;
    }
    QString asString(bool* ok = nullptr, Layer layer = LAYER_CURRENT_VALUE) const override {
        if (ok) {
            *ok = true;
        }
        return valueForRead(layer) ? QStringLiteral("true") : QStringLiteral("false");
    }
    /// Refuses text that isn't a flag and keeps the value.
    bool deserialize(ArchiveElement const& element) override { return set(element.get(), LAYER_USER); }
    void eventProcess(QByteArray const&, Cobalt::BinaryData& data) override {
        bool ok = false;
        bool const value = data.readBool(&ok);
        if (ok) {
            writeValue<AttributeT>(value, LAYER_USER);
        }
    }

private:
    static bool parse(QString const& text, bool& value) {
        QString const word = text.trimmed().toLower();
        if (word == QLatin1String("true") || word == QLatin1String("1")) {
            value = true;
            return true;
        }
        if (word == QLatin1String("false") || word == QLatin1String("0")) {
            value = false;
            return true;
        }
        return false;
    }
};

extern template class AttributeBaseT<bool>;

} // namespace Basalt
