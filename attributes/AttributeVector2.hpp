#pragma once

#include "attributes/AttributeBaseT.hpp"
#include "attributes/AttributeFwd.hpp"
#include "platform/basalt/StyleValue.hpp"
#include "platform/fathom/Vector.hpp"

namespace Basalt {

/// Two numbers in one attribute: `Fathom::Vector2T<float>` or `Fathom::Vector2T<int>`. The integer form
/// truncates floats toward zero.
///
/// A message with an empty identifier holds the whole vector; an identifier "0" or "1" holds that one
/// component, which replaces it in the shown value. Anything else is dropped.
template <typename C>
class AttributeVector2T : public AttributeBaseT<Fathom::Vector2T<C>> {
public:
    using Vector = Fathom::Vector2T<C>;
    using Layer = Attribute::Layer;
    using ValueUnit = Attribute::ValueUnit;

    using AttributeBaseT<Vector>::AttributeBaseT;

    bool set(Fathom::Vector2T<float> const& value, Layer layer = Attribute::LAYER_USER,
             QList<ValueUnit> = QList<ValueUnit>()) override {
        if (!(representable(value.x) && representable(value.y))) {
            return false;
        }
        write(Vector(component(value.x), component(value.y)), layer);
        return true;
    }
    /// Exactly two numeric components.
    bool set(StyleValue const& value, Layer layer = Attribute::LAYER_USER) override {
        if (value.size() != 2 || !value.isNumber(0) || !value.isNumber(1)) {
            return false;
        }
        return set(Fathom::Vector2T<float>(value.asFloat(0), value.asFloat(1)), layer);
    }
    void eventProcess(QByteArray const& id, Cobalt::BinaryData& data) override {
        bool ok = false;
        if (id.isEmpty()) {
            Vector const value = readVector(data, &ok);
            if (ok) {
                write(value, Attribute::LAYER_USER);
            }
            return;
        }
        int const index = id.toInt(&ok);
        if (!ok || index < 0 || index > 1) {
            return;
        }
        C const part = readComponent(data, &ok);
        if (!ok) {
            return;
        }
        Vector value = this->value();
        value[index] = part;
        write(value, Attribute::LAYER_USER);
    }

private:
    static bool representable(float number) {
        if constexpr (std::is_same_v<C, float>) {
            return true;
        } else {
            return std::isfinite(number);
        }
    }
    static C component(float number) {
        if constexpr (std::is_same_v<C, float>) {
            return number;
        } else {
            return saturatingCast<C>(number);
        }
    }
    static Vector readVector(Cobalt::BinaryData& data, bool* ok) {
        if constexpr (std::is_same_v<C, float>) {
            return data.readVector2Float32(ok);
        } else {
            return data.readVector2Int32(ok);
        }
    }
    static C readComponent(Cobalt::BinaryData& data, bool* ok) {
        if constexpr (std::is_same_v<C, float>) {
            return data.readFloat32(ok);
        } else {
            return data.readInt32(ok);
        }
    }
    void write(Vector const& value, Layer layer) {
        this->template writeValue<AttributeT<Vector>>(value, layer);
    }
};

template <typename C>
class AttributeT<Fathom::Vector2T<C>, std::enable_if_t<std::is_same_v<C, float> || std::is_same_v<C, int>>>
    : public AttributeVector2T<C> {
public:
    AttributeT(Node* host, QByteArray const& name, Fathom::Vector2T<C> const& defaultValue = {})
        : AttributeVector2T<C>(host, name, defaultValue) {}
    AttributeT() = default;
    AttributeT& operator=(Fathom::Vector2T<C> const& value) {
        this->template writeValue<AttributeT>(value, Attribute::LAYER_USER);
        return *this;
    }
};

extern template class AttributeVector2T<float>;
extern template class AttributeVector2T<int>;

} // namespace Basalt
