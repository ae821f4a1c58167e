#include "attributes/AttributeString.hpp"

namespace Basalt {

template class AttributeBaseT<QString>;

} // namespace Basalt
