#pragma once

#include "platform/basalt/Attribute.hpp"
#include "platform/basalt/SimpleExpression.hpp"
#include "platform/cobalt/Color.hpp"

#include <QByteArray>
#include <QVector>

namespace Basalt {

/// A value given in style form: a list of components, each a number, colour, keyword, text or expression,
/// with a unit. Attributes take it through `Attribute::set(StyleValue const&, Layer)`.
class StyleValue {
public:
    enum ValueType {
        TYPE_NONE = 0,
        TYPE_INT = 1,
        TYPE_FLOAT = 2,
        TYPE_COLOR = 3,
        TYPE_COLOR_PMA = 4,
        TYPE_STRING = 5,
        TYPE_KEYWORD = 6,
        TYPE_EXPRESSION = 7,
    };

    /// One component. Reading it as another kind gives an empty value of that kind unless `canConvert`
    /// allows the conversion.
    class Component {
    public:
        Component() = default;
        static Component integer(int value, Attribute::ValueUnit unit = Attribute::UNIT_UNSPECIFIED);
        static Component number(float value, Attribute::ValueUnit unit = Attribute::UNIT_UNSPECIFIED);
        static Component color(Cobalt::Color const& value);
        static Component colorPMA(Cobalt::ColorPMA const& value);
        static Component string(QByteArray const& value);
        static Component keyword(QByteArray const& value);
        static Component expression(SimpleExpression const& value);

        ValueType type() const { return m_type; }
        Attribute::ValueUnit unit() const { return m_unit; }
        bool isNumber() const { return m_type == TYPE_INT || m_type == TYPE_FLOAT; }
        /// Numbers convert to each other, the two colours to each other, text and keywords to keywords.
        bool canConvert(ValueType type) const;

        /// An integer reads back exactly; a float truncates toward zero, NaN gives 0 and a float beyond
        /// int's range gives the nearest limit.
        int asInt() const;
        float asFloat() const;
        Cobalt::Color asColor() const;
        Cobalt::ColorPMA asColorPMA() const;
        QByteArray asKeyword() const;
        SimpleExpression asExpr() const;

    private:
        ValueType m_type = TYPE_NONE;
        Attribute::ValueUnit m_unit = Attribute::UNIT_UNSPECIFIED;
        int m_integer = 0; // TYPE_INT keeps its value here: a float holds only 24 bits of it
        float m_number = 0.0f;
        Cobalt::Color m_straight;
        Cobalt::ColorPMA m_premultiplied;
        QByteArray m_text;
        SimpleExpression m_expression;
    };

    StyleValue() = default;
    StyleValue(std::initializer_list<Component> components) : m_components(components) {}

    void append(Component const& component) { m_components.append(component); }
    int size() const { return m_components.size(); }
    bool isEmpty() const { return m_components.isEmpty(); }

    /// Per-component readers; an index out of range reads as an empty component.
    ValueType type(int index) const { return at(index).type(); }
    Attribute::ValueUnit unit(int index) const { return at(index).unit(); }
    bool isNumber(int index) const { return at(index).isNumber(); }
    int asInt(int index) const { return at(index).asInt(); }
    float asFloat(int index) const { return at(index).asFloat(); }
    QByteArray asKeyword(int index) const { return at(index).asKeyword(); }
    SimpleExpression asExpr(int index) const { return at(index).asExpr(); }
    Component const& operator[](int index) const { return at(index); }

    /// A value of the single component `index`, as a tuple hands one part to one component attribute.
    StyleValue part(int index) const { return StyleValue{at(index)}; }

private:
    Component const& at(int index) const;

    QVector<Component> m_components;
};

} // namespace Basalt
