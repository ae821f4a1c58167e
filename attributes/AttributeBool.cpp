#include "attributes/AttributeBool.hpp"

namespace Basalt {

template class AttributeBaseT<bool>;

} // namespace Basalt
