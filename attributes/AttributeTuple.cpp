#include "attributes/AttributeTuple.hpp"

namespace Basalt {

template class AttributeTuple<Fathom::Vector2T<float>, AttributeLocation2f>;
template class AttributeTuple<Fathom::SizeT<float>, AttributeT<Fathom::SizeT<float>>>;
template class AttributeTuple<Fathom::SizeT<int>, AttributeT<Fathom::SizeT<int>>>;
template class AttributeT<Fathom::SizeT<float>>;
template class AttributeT<Fathom::SizeT<int>>;

} // namespace Basalt
