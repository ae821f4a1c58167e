#pragma once

namespace Basalt {

/// The concrete typed attribute. The second argument is always void; it selects the family of T
/// (numbers, colours, vectors, enumerations ...) among the partial specialisations.
template <typename T, typename = void>
class AttributeT;

} // namespace Basalt
