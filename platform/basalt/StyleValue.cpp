#include "platform/basalt/StyleValue.hpp"

#include <cmath>
#include <limits>

namespace Basalt {

StyleValue::Component StyleValue::Component::integer(int value, Attribute::ValueUnit unit) {
    Component component;
    component.m_type = TYPE_INT;
    component.m_unit = unit;
    component.m_integer = value;
    component.m_number = static_cast<float>(value);
    return component;
}

StyleValue::Component StyleValue::Component::number(float value, Attribute::ValueUnit unit) {
    Component component;
    component.m_type = TYPE_FLOAT;
    component.m_unit = unit;
    component.m_number = value;
    return component;
}

StyleValue::Component StyleValue::Component::color(Cobalt::Color const& value) {
    Component component;
    component.m_type = TYPE_COLOR;
    component.m_straight = value;
    return component;
}

StyleValue::Component StyleValue::Component::colorPMA(Cobalt::ColorPMA const& value) {
    Component component;
    component.m_type = TYPE_COLOR_PMA;
    component.m_premultiplied = value;
    return component;
}

StyleValue::Component StyleValue::Component::string(QByteArray const& value) {
    Component component;
    component.m_type = TYPE_STRING;
    component.m_text = value;
    return component;
}

StyleValue::Component StyleValue::Component::keyword(QByteArray const& value) {
    Component component;
    component.m_type = TYPE_KEYWORD;
    component.m_text = value;
    return component;
}

StyleValue::Component StyleValue::Component::expression(SimpleExpression const& value) {
    Component component;
    component.m_type = TYPE_EXPRESSION;
    component.m_expression = value;
    return component;
}

bool StyleValue::Component::canConvert(ValueType type) const {
    switch (type) {
    case TYPE_INT:
    case TYPE_FLOAT:
        return isNumber();
    case TYPE_COLOR:
    case TYPE_COLOR_PMA:
        return m_type == TYPE_COLOR || m_type == TYPE_COLOR_PMA;
    case TYPE_STRING:
    case TYPE_KEYWORD:
        return m_type == TYPE_STRING || m_type == TYPE_KEYWORD;
    case TYPE_EXPRESSION:
        return m_type == TYPE_EXPRESSION || isNumber();
    case TYPE_NONE:
        return m_type == TYPE_NONE;
    }
    return false;
}

int StyleValue::Component::asInt() const {
    if (m_type == TYPE_INT) {
        return m_integer;
    }
    if (m_type != TYPE_FLOAT || std::isnan(m_number)) {
        return 0;
    }
    // Converting a float outside int's range is undefined, so the limits are handled first.
    if (m_number <= static_cast<float>(std::numeric_limits<int>::min())) {
        return std::numeric_limits<int>::min();
    }
    if (m_number >= -static_cast<float>(std::numeric_limits<int>::min())) {
        return std::numeric_limits<int>::max();
    }
    return static_cast<int>(std::trunc(m_number));
}
float StyleValue::Component::asFloat() const {
    return isNumber() ? m_number : 0.0f;
}

Cobalt::Color StyleValue::Component::asColor() const {
    if (m_type == TYPE_COLOR) {
        return m_straight;
    }
    return m_type == TYPE_COLOR_PMA ? Cobalt::fromPMA(m_premultiplied) : Cobalt::Color();
}

Cobalt::ColorPMA StyleValue::Component::asColorPMA() const {
    if (m_type == TYPE_COLOR_PMA) {
        return m_premultiplied;
    }
    return m_type == TYPE_COLOR ? Cobalt::toPMA(m_straight) : Cobalt::ColorPMA();
}

QByteArray StyleValue::Component::asKeyword() const {
    return canConvert(TYPE_KEYWORD) ? m_text : QByteArray();
}

SimpleExpression StyleValue::Component::asExpr() const {
    if (m_type == TYPE_EXPRESSION) {
        return m_expression;
    }
    return SimpleExpression(asFloat());
}

StyleValue::Component const& StyleValue::at(int index) const {
    static Component const empty;
    return index >= 0 && index < m_components.size() ? m_components.at(index) : empty;
}

} // namespace Basalt
