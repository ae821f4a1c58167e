#include "platform/basalt/SimpleExpression.hpp"

namespace Basalt {

void SimpleExpression::replace(Tag tag, Param param) {
    float const coefficient = tag == TAG_PERCENTAGE ? m_constant / 100.0f : m_constant;
    m_terms.push_back(Term{coefficient, param});
    m_constant = 0.0f;
}

SimpleExpression& SimpleExpression::operator+=(SimpleExpression const& other) {
    m_constant += other.m_constant;
    m_terms.insert(m_terms.end(), other.m_terms.begin(), other.m_terms.end());
    return *this;
}

float SimpleExpression::evaluate(float const* parameters, unsigned long count) const {
    float value = m_constant;
    for (Term const& term : m_terms) {
        if (parameters && term.parameter < count) {
            value += term.coefficient * parameters[term.parameter];
        }
    }
    return value;
}

bool SimpleExpression::operator==(SimpleExpression const& other) const {
    return m_constant == other.m_constant && m_terms == other.m_terms;
}

} // namespace Basalt
