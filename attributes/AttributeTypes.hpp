#pragma once

namespace Kelp {
class TypeRegistry;
}

namespace Basalt {

/// Enters every typed attribute of this layer into `registry`, with its type code and serializer: the
/// numbers, bool, text, asset hashes, both colours, time stamps, the two-number vectors, the tuples, every
/// enumeration (as the family "enum:", encoded as its 32-bit number) and the vector containers.
///
/// Encoded values are the plain little-endian bytes of the value: float 4, int 4, long 8, unsigned long 8,
/// bool 1, colours four floats, time stamps the 64-bit tick count, vectors, locations and sizes two
/// components, Bézier nodes nine floats, text UTF-8; a vector container is its values back to back.
void registerAttributeTypes(Kelp::TypeRegistry& registry);

} // namespace Basalt
