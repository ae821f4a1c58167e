#include "attributes/AttributeVector2.hpp"

namespace Basalt {

template class AttributeBaseT<Fathom::Vector2T<float>>;
template class AttributeBaseT<Fathom::Vector2T<int>>;
template class AttributeVector2T<float>;
template class AttributeVector2T<int>;

} // namespace Basalt
