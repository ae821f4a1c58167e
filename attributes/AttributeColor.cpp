#include "attributes/AttributeColor.hpp"

namespace Basalt {

template class AttributeBaseT<Cobalt::Color>;
template class AttributeBaseT<Cobalt::ColorPMA>;
template class AttributeColorT<Cobalt::Color>;
template class AttributeColorT<Cobalt::ColorPMA>;

} // namespace Basalt
