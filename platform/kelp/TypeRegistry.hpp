#pragma once

#include "platform/basalt/AttributeEventListenerList.hpp"

#include <QByteArray>
#include <QHash>
#include <QList>

#include <functional>
#include <memory>

namespace Basalt {
class Attribute;
}

namespace Kelp {

/// Type codes of encoded values as the server stores them. A vector of values has the vector flag set over
/// its element's code. These numbers are stored: never renumber them.
enum TypeCode : unsigned {
    TYPE_BOOL = 0x01,
    TYPE_INT32 = 0x03,
    TYPE_INT64 = 0x0b,
    TYPE_UINT64 = 0x0c,
    TYPE_FLOAT32 = 0x0d,
    TYPE_STRING = 0x10,
    TYPE_ASSET = 0x11,
    TYPE_ENUM = 0x12,
    TYPE_VECTOR2_FLOAT32 = 0x20,
    TYPE_VECTOR2_INT32 = 0x21,
    TYPE_LOCATION2_FLOAT32 = 0x22,
    TYPE_SIZE2_FLOAT32 = 0x23,
    TYPE_SIZE2_INT32 = 0x24,
    TYPE_COLOR_PMA = 0x30,
    TYPE_COLOR = 0x31,
    TYPE_TIMESTAMP = 0x38,
    TYPE_BEZIER_NODE = 0x40,
    TYPE_RESOURCE_PERMISSIONS = 0x50,
    TYPE_VECTOR_FLAG = 0x1000000,
};

/// Turns an attribute's value into the bytes the server stores and back. Stateless: one instance serves
/// every attribute of its type, from any thread that owns the attribute it is given.
class AttributeSerializer {
public:
    virtual ~AttributeSerializer();
    /// The bytes of the attribute's stored value in force (not a transition's in-between value); empty if
    /// the attribute isn't of this serializer's type.
    virtual QByteArray serialize(Basalt::Attribute const& attribute) const = 0;
    /// Writes the value in `bytes` on the attribute's user layer. False, leaving the attribute as it was,
    /// when the bytes don't hold exactly one value of the type or the attribute is of another type.
    virtual bool deserialize(QByteArray const& bytes, Basalt::Attribute& attribute) const = 0;
    /// For a vector type: inserts, removes or replaces the value at `index` as `event` says, with `bytes`
    /// holding one value (nothing for a removal), so that the container tells its owners that event. False,
    /// changing nothing, on a bad index or size, and for every type that holds one value (the base).
    virtual bool applyElementEvent(Basalt::Attribute& attribute, Basalt::AttributeEvent::Type event,
                                   std::size_t index, QByteArray const& bytes) const;
};

/// Knows every attribute type by its `type()` name: its type code, the size of one encoded value and its
/// serializer. A name registered with a trailing ':' ("enum:") stands for a family: it serves every type
/// name that starts with it and has no entry of its own.
class TypeRegistry {
public:
    /// Makes a detached attribute of the type (no host, no name), owned by the caller.
    using AttributeMaker = std::function<Basalt::Attribute*()>;

    struct TypeInfo {
        QByteArray name;
        unsigned typeCode = 0;
        unsigned valueSize = 0; ///< bytes of one value; 0 when it varies (text)
        std::shared_ptr<AttributeSerializer const> serializer;
        /// The class that stands for the type where a typed attribute must be built from stored bytes.
        AttributeMaker makeAttribute;
    };

    /// Adds a type, replacing an earlier one of the same name.
    void registerType(TypeInfo info);
    /// The type of this name, or of its family; null if unknown.
    TypeInfo const* find(QByteArray const& typeName) const;
    /// The first type registered with this code; null if none.
    TypeInfo const* findByCode(unsigned typeCode) const;
    /// The names registered, in no particular order.
    QList<QByteArray> typeNames() const { return m_types.keys(); }

    /// A new detached attribute of the named type, owned by the caller; null when the type is unknown or
    /// has no maker (a family such as "enum:", whose classes need their name tables).
    std::unique_ptr<Basalt::Attribute> createAttribute(QByteArray const& typeName) const;
    /// Makes `maker` the class of an already registered type; false if the type is unknown.
    bool setAttributeMaker(QByteArray const& typeName, AttributeMaker maker);

    /// The serializer for `attribute`'s type, with its type code and value size in the two outputs; null
    /// (outputs untouched) when the type is unknown or `attribute` is null.
    std::shared_ptr<AttributeSerializer const>
    createSerializer(Basalt::Attribute* attribute, unsigned int& typeCode, unsigned int& valueSize) const;

private:
    QHash<QByteArray, TypeInfo> m_types;
};

} // namespace Kelp
