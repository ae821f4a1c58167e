#pragma once

#include <QString>

#include <typeinfo>

namespace Basalt {

/// Names of value types as archives and `type()` texts spell them.
class Serializer {
public:
    /// The element name for a value type: "float", "int", "long", "unsigned long", "bool", "string",
    /// "color" (premultiplied colour), "timestamp", "vector2:float", "vector2:int"; any other type is named
    /// by its demangled C++ name ("Cobalt::Color", "Sienna::BezierNode"). These names are stored: never
    /// change one.
    static QString tagName(std::type_info const& type);
};

} // namespace Basalt
