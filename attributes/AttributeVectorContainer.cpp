#include "attributes/AttributeVectorContainer.hpp"

namespace Basalt {

template class AttributeVectorContainer<float>;
template class AttributeVectorContainer<int>;
template class AttributeVectorContainer<long>;
template class AttributeVectorContainer<Cobalt::ColorPMA>;
template class AttributeVectorContainer<Sienna::BezierNode>;

} // namespace Basalt
