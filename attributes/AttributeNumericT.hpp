#pragma once

#include "attributes/AttributeBaseT.hpp"
#include "attributes/AttributeFwd.hpp"
#include "platform/basalt/SimpleExpression.hpp"
#include "platform/basalt/StyleValue.hpp"

#include <array>
#include <memory>
#include <type_traits>

namespace Basalt {

/// The numbers: float, int, long and unsigned long. Adds the numeric readers.
template <typename T>
class AttributeNumericT : public AttributeBaseT<T> {
public:
    using AttributeBaseT<T>::AttributeBaseT;
    using Layer = Attribute::Layer;

    /// The value as a float; integers convert.
    float asFloat(bool* ok = nullptr, Layer layer = Attribute::LAYER_CURRENT_VALUE) const override {
        setOk(ok);
        return static_cast<float>(this->valueForRead(layer));
    }
    /// The value as an int: a float truncates toward zero; values beyond int's range give its nearest limit
    /// and NaN gives 0.
    int asInt(bool* ok = nullptr, Layer layer = Attribute::LAYER_CURRENT_VALUE) const override {
        setOk(ok);
        return saturatingCast<int>(static_cast<double>(this->valueForRead(layer)));
    }

private:
    static void setOk(bool* ok) {
        if (ok) {
            *ok = true;
        }
    }
};

/// A float that can also hold a derived value: a percentage or an expression, kept per layer and evaluated
/// with the one expression parameter (1.0).
template <>
class AttributeT<float, void> : public AttributeNumericT<float> {
public:
    AttributeT(Node* host, QByteArray const& name, float defaultValue = 0.0f)
        : AttributeNumericT<float>(host, name, defaultValue) {}
    AttributeT() = default;
    ~AttributeT() override = default;

    /// Writes on LAYER_USER.
    AttributeT& operator=(float value) {
        writeValue<AttributeT>(value, LAYER_USER);
        return *this;
    }

    /// A plain write replaces any expression of the layer.
    void setValue(float const& value, Layer layer) override {
        dropExpression(layer);
        storeValue(value, layer);
    }
    /// Drops the expression of the cleared layer, except where the clear is refused: the default in force
    /// stays whole, expression included.
    void clearValue(Layer layer) override {
        if (resolve(layer) != LAYER_DEFAULT || currentLayer() != LAYER_DEFAULT) {
            dropExpression(layer);
        }
        clearStoredValue(layer);
    }
    /// Moves the user's value and its expression to the default layer.
    void setAsDefaults() override;

    /// With UNIT_PERCENTAGE the value is that percentage of the expression parameter; otherwise plain.
    bool set(float value, Layer layer = LAYER_USER, ValueUnit unit = UNIT_UNSPECIFIED) override;
    /// A plain number; units don't apply.
    bool set(int value, Layer layer = LAYER_USER, ValueUnit unit = UNIT_UNSPECIFIED) override;
    /// One component: an expression, a percentage or a number. Anything else gives false.
    bool set(StyleValue const& value, Layer layer = LAYER_USER) override;
    /// Stores `percent` % of the expression parameter on `layer`, keeping the percentage.
    void setPercentage(float percent, Layer layer = LAYER_USER);

    void eventProcess(QByteArray const& id, Cobalt::BinaryData& data) override;

    /// The expression of a stored layer, or null for a plain value.
    SimpleExpression const* expression(Layer layer) const {
        return m_expressions ? (*m_expressions)[resolve(layer)].get() : nullptr;
    }
    float expressionParameter() const { return m_expressionParameter; }

private:
    // Tested before it is reset: plain writes are the hot path and most layers hold no expression.
    void dropExpression(Layer layer) {
        if (!m_expressions) {
            return;
        }
        std::unique_ptr<SimpleExpression>& expression = (*m_expressions)[resolve(layer)];
        if (expression) {
            expression.reset();
        }
    }
    /// Keeps `expression` on the resolved layer and stores its value with the base steps.
    void applyExpression(int layer, SimpleExpression const& expression);

    float m_expressionParameter = 1.0f;
    // Made with the first expression: most floats never hold one, and a large canvas holds many floats.
    using Expressions = std::array<std::unique_ptr<SimpleExpression>, LAYER_COUNT>;
    std::unique_ptr<Expressions> m_expressions;
};

/// The integers: int, long and unsigned long. Floats given to `set` are rounded half away from zero;
/// numbers that aren't finite are refused.
template <typename T>
class AttributeT<T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>>>
    : public AttributeNumericT<T> {
public:
    using Layer = Attribute::Layer;
    using ValueUnit = Attribute::ValueUnit;

    AttributeT(Node* host, QByteArray const& name, T defaultValue = 0)
        : AttributeNumericT<T>(host, name, defaultValue) {}
    AttributeT() = default;

    /// Writes on LAYER_USER.
    AttributeT& operator=(T value) {
        this->template writeValue<AttributeT>(value, Attribute::LAYER_USER);
        return *this;
    }

    bool set(float value, Layer layer = Attribute::LAYER_USER,
             ValueUnit = Attribute::UNIT_UNSPECIFIED) override {
        if (!std::isfinite(value)) {
            return false;
        }
        this->template writeValue<AttributeT>(roundHalfAwayFromZero<T>(value), layer);
        return true;
    }
    /// Sign-extends into the wider types.
    bool set(int value, Layer layer = Attribute::LAYER_USER,
             ValueUnit = Attribute::UNIT_UNSPECIFIED) override {
        this->template writeValue<AttributeT>(static_cast<T>(value), layer);
        return true;
    }
    /// One component: an expression (evaluated without parameters) or a number, truncated toward zero.
    bool set(StyleValue const& value, Layer layer = Attribute::LAYER_USER) override {
        if (value.size() != 1) {
            return false;
        }
        float number = 0.0f;
        if (value.type(0) == StyleValue::TYPE_EXPRESSION) {
            number = value.asExpr(0).evaluate(nullptr, 0);
        } else if (value.type(0) == StyleValue::TYPE_INT || value.type(0) == StyleValue::TYPE_FLOAT) {
            number = value.asFloat(0);
        } else {
            return false;
        }
        if (!std::isfinite(number)) {
            return false;
        }
        this->template writeValue<AttributeT>(saturatingCast<T>(number), layer);
        return true;
    }

    void eventProcess(QByteArray const&, Cobalt::BinaryData& data) override {
        this->template processScalar<AttributeT>(data);
    }
};

extern template class AttributeNumericT<float>;
extern template class AttributeT<int>;
extern template class AttributeT<long>;
extern template class AttributeT<unsigned long>;

} // namespace Basalt
