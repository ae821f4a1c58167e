#pragma once

#include "attributes/AttributeBaseT.hpp"
#include "attributes/AttributeFwd.hpp"
#include "platform/basalt/StyleValue.hpp"
#include "platform/cobalt/Color.hpp"

#include <type_traits>

namespace Basalt {

/// The colour attributes, straight (`Cobalt::Color`) and premultiplied (`Cobalt::ColorPMA`). They take
/// colour names and notations as text; a premultiplied attribute multiplies red, green and blue by alpha.
/// Colours don't travel in messages of their own: `eventProcess` is the base's, which ignores them.
template <typename C>
class AttributeColorT : public AttributeBaseT<C> {
public:
    using Layer = Attribute::Layer;
    using ValueUnit = Attribute::ValueUnit;
    static constexpr bool premultiplied = std::is_same_v<C, Cobalt::ColorPMA>;

    using AttributeBaseT<C>::AttributeBaseT;

    /// Parses a colour name or notation, starting from opaque black. The unit must be unspecified.
    bool set(QString const& text, Layer layer = Attribute::LAYER_USER,
             ValueUnit unit = Attribute::UNIT_UNSPECIFIED) override {
        if (unit != Attribute::UNIT_UNSPECIFIED) {
            return false;
        }
        Cobalt::Color color(0.0f, 0.0f, 0.0f, 1.0f);
        if (!color.set(text.toUtf8())) {
            return false;
        }
        write(fromStraight(color), layer);
        return true;
    }
    /// Red, green, blue and alpha, straight.
    bool set(Fathom::Vector4T<float> const& value, Layer layer = Attribute::LAYER_USER,
             QList<ValueUnit> = QList<ValueUnit>()) override {
        write(fromStraight(Cobalt::Color(value.x, value.y, value.z, value.w)), layer);
        return true;
    }
    /// One component: a colour, or a keyword read as a colour name.
    bool set(StyleValue const& value, Layer layer = Attribute::LAYER_USER) override {
        if (value.size() != 1) {
            return false;
        }
        StyleValue::Component const& component = value[0];
        if (component.type() == StyleValue::TYPE_COLOR || component.type() == StyleValue::TYPE_COLOR_PMA) {
            if constexpr (premultiplied) {
                write(component.asColorPMA(), layer);
            } else {
                write(component.asColor(), layer);
            }
            return true;
        }
        if (component.canConvert(StyleValue::TYPE_KEYWORD)) {
            return set(QString::fromUtf8(component.asKeyword()), layer, Attribute::UNIT_UNSPECIFIED);
        }
        return false;
    }
    /// "rgba(r, g, b, a)", or "rgba_pma(...)" when premultiplied, with red, green and blue times 255.
    QString asString(bool* ok = nullptr, Layer layer = Attribute::LAYER_CURRENT_VALUE) const override {
        if (ok) {
            *ok = true;
        }
        C const& color = this->valueForRead(layer);
        QString const format = premultiplied ? QStringLiteral("rgba_pma(%1, %2, %3, %4)")
                                             : QStringLiteral("rgba(%1, %2, %3, %4)");
        return format.arg(color.red * 255.0, 0, 'g')
            .arg(color.green * 255.0, 0, 'g')
            .arg(color.blue * 255.0, 0, 'g')
            .arg(static_cast<double>(color.alpha), 0, 'g');
    }

private:
    static C fromStraight(Cobalt::Color const& color) {
        if constexpr (premultiplied) {
            return Cobalt::toPMA(color);
        } else {
            return color;
        }
    }
    void write(C const& value, Layer layer) { this->template writeValue<AttributeT<C>>(value, layer); }
};

template <>
class AttributeT<Cobalt::Color, void> : public AttributeColorT<Cobalt::Color> {
public:
    AttributeT(Node* host, QByteArray const& name, Cobalt::Color const& defaultValue = Cobalt::Color())
        : AttributeColorT<Cobalt::Color>(host, name, defaultValue) {}
    AttributeT() = default;
    AttributeT& operator=(Cobalt::Color const& value) {
        writeValue<AttributeT>(value, LAYER_USER);
        return *this;
    }
};

template <>
class AttributeT<Cobalt::ColorPMA, void> : public AttributeColorT<Cobalt::ColorPMA> {
public:
    AttributeT(Node* host, QByteArray const& name, Cobalt::ColorPMA const& defaultValue = Cobalt::ColorPMA())
        : AttributeColorT<Cobalt::ColorPMA>(host, name, defaultValue) {}
    AttributeT() = default;
    AttributeT& operator=(Cobalt::ColorPMA const& value) {
        writeValue<AttributeT>(value, LAYER_USER);
        return *this;
    }
};

extern template class AttributeColorT<Cobalt::Color>;
extern template class AttributeColorT<Cobalt::ColorPMA>;

} // namespace Basalt
