#pragma once

#include <vector>

namespace Basalt {

/// A value derived from parameters: a constant plus a sum of terms `coefficient * parameter[i]`.
///
/// A percentage is kept this way: `SimpleExpression(50)` then `replace(TAG_PERCENTAGE, 0)` is 50 % of
/// parameter 0, and evaluates to 0.5 when that parameter is 1.
class SimpleExpression {
public:
    /// What `replace` turns the constant into.
    enum Tag {
        TAG_PARAMETER = 1,  ///< constant * parameter
        TAG_PERCENTAGE = 2, ///< constant / 100 * parameter
    };
    using Param = unsigned int;

    explicit SimpleExpression(float constant = 0.0f) : m_constant(constant) {}

    /// Moves the constant into a term of parameter `param`, as `tag` says; the constant becomes 0.
    void replace(Tag tag, Param param);
    /// Adds another expression's constant and terms to this one.
    SimpleExpression& operator+=(SimpleExpression const& other);

    /// The value for these parameters. A term whose parameter is beyond `count` contributes nothing, so an
    /// expression evaluated without parameters is its constant.
    float evaluate(float const* parameters, unsigned long count) const;

    float constant() const { return m_constant; }
    bool hasParameters() const { return !m_terms.empty(); }

    bool operator==(SimpleExpression const& other) const;
    bool operator!=(SimpleExpression const& other) const { return !(*this == other); }

private:
    struct Term {
        float coefficient;
        Param parameter;
        bool operator==(Term const& other) const {
            return coefficient == other.coefficient && parameter == other.parameter;
        }
    };

    float m_constant;
    std::vector<Term> m_terms;
};

} // namespace Basalt
