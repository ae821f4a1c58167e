// Encoded values come from stored server documents: any bytes must be refused or decoded without harm, and
// a decoded value must encode to the same bytes where the encoding is exact.

#include "fuzz/FuzzTree.hpp"

#include "attributes/AttributeTypes.hpp"
#include "platform/kelp/TypeRegistry.hpp"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static Kelp::TypeRegistry const registry = [] {
        Kelp::TypeRegistry filled;
        Basalt::registerAttributeTypes(filled);
        return filled;
    }();
    QByteArray const bytes(reinterpret_cast<char const*>(data), static_cast<int>(size));
    FuzzSupport::Tree tree;
    for (auto const& entry : tree.root.attributes()) {
        unsigned typeCode = 0;
        unsigned valueSize = 0;
        auto const serializer = registry.createSerializer(entry.second, typeCode, valueSize);
        if (!serializer || !serializer->deserialize(bytes, *entry.second)) {
            continue;
        }
        // Fixed-size numbers and vectors of them encode exactly what they decoded; enums are checked
        // against their table and text is re-encoded as UTF-8, so those may differ.
        bool const exact = valueSize > 0 && (typeCode & ~Kelp::TYPE_VECTOR_FLAG) != Kelp::TYPE_ENUM &&
                           (typeCode & ~Kelp::TYPE_VECTOR_FLAG) != Kelp::TYPE_BOOL;
        if (exact && serializer->serialize(*entry.second) != bytes) {
            std::abort();
        }
    }
    return 0;
}
