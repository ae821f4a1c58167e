#pragma once

#include <boost/container/flat_map.hpp>

namespace Cobalt {

/// A map kept as one sorted array: cheap to walk and small for the few entries it usually holds.
template <typename K, typename V, typename Compare = std::less<K>>
using ArrayMap = boost::container::flat_map<K, V, Compare>;

} // namespace Cobalt
