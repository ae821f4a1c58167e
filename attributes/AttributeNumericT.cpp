#include "attributes/AttributeNumericT.hpp"

namespace Basalt {

template class AttributeBaseT<float>;
template class AttributeNumericT<float>;
template class AttributeT<int>;
template class AttributeT<long>;
template class AttributeT<unsigned long>;

void AttributeT<float>::setAsDefaults() {
    if (!isValueDefinedOnLayer(LAYER_USER)) {
        return;
    }
    // setValue drops the expression of the layer it writes, so the user's is carried over by hand, and before
    // the user layer is cleared: that clear may notify, and its listeners must find the default complete (or
    // may destroy this attribute, after which nothing here may be touched).
    std::unique_ptr<SimpleExpression> userExpression =
        m_expressions ? std::move((*m_expressions)[LAYER_USER]) : nullptr;
    float const userValue = valueOnLayer(LAYER_USER);
    setValue(userValue, LAYER_DEFAULT);
    if (m_expressions) {
        (*m_expressions)[LAYER_DEFAULT] = std::move(userExpression);
    }
    clearValue(LAYER_USER);
}

bool AttributeT<float>::set(float value, Layer layer, ValueUnit unit) {
    if (unit == UNIT_PERCENTAGE) {
        setPercentage(value, layer);
        return true;
    }
    writeValue<AttributeT>(value, layer);
    return true;
}

bool AttributeT<float>::set(int value, Layer layer, ValueUnit) {
    writeValue<AttributeT>(static_cast<float>(value), layer);
    return true;
}

bool AttributeT<float>::set(StyleValue const& value, Layer layer) {
    if (value.size() != 1) {
        return false;
    }
    int const target = resolve(layer);
    if (value.type(0) == StyleValue::TYPE_EXPRESSION) {
        applyExpression(target, value.asExpr(0));
        return true;
    }
    if (!value.isNumber(0)) {
        return false;
    }
    if (value.unit(0) == UNIT_PERCENTAGE) {
        setPercentage(value.asFloat(0), static_cast<Layer>(target));
        return true;
    }
    writeValue<AttributeT>(value.asFloat(0), static_cast<Layer>(target));
    return true;
}

void AttributeT<float>::setPercentage(float percent, Layer layer) {
    SimpleExpression expression(percent);
    expression.replace(SimpleExpression::TAG_PERCENTAGE, 0);
    applyExpression(resolve(layer), expression);
}

void AttributeT<float>::applyExpression(int layer, SimpleExpression const& expression) {
    forgetPlainUserState();
    if (!m_expressions) {
        m_expressions = std::make_unique<Expressions>();
    }
    (*m_expressions)[layer] = std::make_unique<SimpleExpression>(expression);
    storeValue(expression.evaluate(&m_expressionParameter, 1), static_cast<Layer>(layer));
}

void AttributeT<float>::eventProcess(QByteArray const&, Cobalt::BinaryData& data) {
    processScalar<AttributeT>(data);
}

} // namespace Basalt
