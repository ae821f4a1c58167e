#include "attributes/AttributeTimeStamp.hpp"

namespace Basalt {

template class AttributeBaseT<Cobalt::TimeStamp>;

} // namespace Basalt
