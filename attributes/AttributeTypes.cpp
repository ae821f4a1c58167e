#include "attributes/AttributeTypes.hpp"

#include "attributes/AttributeT.hpp"
#include "attributes/AttributeVectorContainer.hpp"
#include "platform/cobalt/LittleEndian.hpp"
#include "platform/kelp/TypeRegistry.hpp"

#include <cstdint>

namespace Basalt {

namespace {

// The bytes of one value. Composite values are their components in declaration order.
template <typename T, typename = void>
struct Codec;

template <typename T>
struct Codec<T, std::enable_if_t<std::is_arithmetic_v<T>>> {
    // long and unsigned long are 64 bits here; bool is one byte.
    using Stored = std::conditional_t<std::is_same_v<T, bool>, std::uint8_t, T>;
    static constexpr unsigned size = sizeof(Stored);
    static void encode(QByteArray& bytes, T value) {
        Cobalt::appendLittleEndian(bytes, static_cast<Stored>(value));
    }
    static T decode(char const* data) { return static_cast<T>(Cobalt::readLittleEndian<Stored>(data)); }
};

/// Values made of N components of one scalar type, reached by index.
template <typename T, typename Scalar, unsigned N, typename Access>
struct ComponentCodec {
    static constexpr unsigned size = N * sizeof(Scalar);
    static void encode(QByteArray& bytes, T const& value) {
        for (unsigned i = 0; i < N; ++i) {
            Codec<Scalar>::encode(bytes, Access::get(value, i));
        }
    }
    static T decode(char const* data) {
        T value{};
        for (unsigned i = 0; i < N; ++i) {
            Access::get(value, i) = Codec<Scalar>::decode(data + i * sizeof(Scalar));
        }
        return value;
    }
};

struct IndexAccess {
    template <typename T>
    static auto& get(T& value, unsigned i) {
        return value[static_cast<int>(i)];
    }
};
struct ColorAccess {
    template <typename C>
    static auto& get(C& color, unsigned i) {
        return i == 0 ? color.red : i == 1 ? color.green : i == 2 ? color.blue : color.alpha;
    }
};
struct BezierAccess {
    template <typename B>
    static auto& get(B& node, unsigned i) {
        auto& point = i < 3 ? node.ctrlIn : i < 6 ? node.point : node.ctrlOut;
        return point[static_cast<int>(i % 3)];
    }
};

template <typename C>
struct Codec<Fathom::Vector2T<C>> : ComponentCodec<Fathom::Vector2T<C>, C, 2, IndexAccess> {};
template <typename C>
struct Codec<Fathom::SizeT<C>> : ComponentCodec<Fathom::SizeT<C>, C, 2, IndexAccess> {};
template <>
struct Codec<Cobalt::Color> : ComponentCodec<Cobalt::Color, float, 4, ColorAccess> {};
template <>
struct Codec<Cobalt::ColorPMA> : ComponentCodec<Cobalt::ColorPMA, float, 4, ColorAccess> {};
template <>
struct Codec<Sienna::BezierNode> : ComponentCodec<Sienna::BezierNode, float, 9, BezierAccess> {};

template <>
struct Codec<Cobalt::TimeStamp> {
    static constexpr unsigned size = 8;
    static void encode(QByteArray& bytes, Cobalt::TimeStamp value) {
        Codec<std::int64_t>::encode(bytes, value.ticks());
    }
    static Cobalt::TimeStamp decode(char const* data) {
        return Cobalt::TimeStamp(Codec<std::int64_t>::decode(data));
    }
};

/// One value of T in exactly `bytes`; false when the length is wrong.
template <typename T>
bool decodeOne(QByteArray const& bytes, T& value) {
    if (static_cast<unsigned>(bytes.size()) != Codec<T>::size) {
        return false;
    }
    value = Codec<T>::decode(bytes.constData());
    return true;
}

/// Attributes with layers: the value of the layer in force goes out; a value coming in lands on the
/// user layer.
template <typename T>
class LayeredSerializer : public Kelp::AttributeSerializer {
public:
    QByteArray serialize(Attribute const& attribute) const override {
        auto const* typed = dynamic_cast<AttributeBaseT<T> const*>(&attribute);
        QByteArray bytes;
        if (typed) {
            Codec<T>::encode(bytes, typed->valueOnLayer(Attribute::LAYER_CURRENT));
        }
        return bytes;
    }
    bool deserialize(QByteArray const& bytes, Attribute& attribute) const override {
        auto* typed = dynamic_cast<AttributeBaseT<T>*>(&attribute);
        T value{};
        if (!typed || !decodeOne(bytes, value)) {
            return false;
        }
        typed->setValue(value, Attribute::LAYER_USER);
        return true;
    }
};

/// Text is its UTF-8 bytes, of any length.
class TextSerializer : public Kelp::AttributeSerializer {
public:
    QByteArray serialize(Attribute const& attribute) const override {
        auto const* typed = dynamic_cast<AttributeT<QString> const*>(&attribute);
        return typed ? typed->valueOnLayer(Attribute::LAYER_CURRENT).toUtf8() : QByteArray();
    }
    bool deserialize(QByteArray const& bytes, Attribute& attribute) const override {
        auto* typed = dynamic_cast<AttributeT<QString>*>(&attribute);
        if (!typed) {
            return false;
        }
        typed->setValue(QString::fromUtf8(bytes), Attribute::LAYER_USER);
        return true;
    }
};

/// Every enumeration, through the number: its listing rules apply to what comes in.
class EnumSerializer : public Kelp::AttributeSerializer {
public:
    QByteArray serialize(Attribute const& attribute) const override {
        QByteArray bytes;
        if (dynamic_cast<AttributeEnum const*>(&attribute)) {
            Codec<std::int32_t>::encode(bytes, attribute.asInt(nullptr, Attribute::LAYER_CURRENT));
        }
        return bytes;
    }
    bool deserialize(QByteArray const& bytes, Attribute& attribute) const override {
        std::int32_t number = 0;
        return dynamic_cast<AttributeEnum*>(&attribute) && decodeOne(bytes, number) &&
               attribute.set(static_cast<int>(number), Attribute::LAYER_USER, Attribute::UNIT_UNSPECIFIED);
    }
};

/// Tuples: both components' values in force, written back together.
template <typename Tuple, typename T>
class TupleSerializer : public Kelp::AttributeSerializer {
public:
    QByteArray serialize(Attribute const& attribute) const override {
        auto const* tuple = dynamic_cast<Tuple const*>(&attribute);
        QByteArray bytes;
        if (tuple) {
            Codec<T>::encode(bytes, tuple->valueOnLayer(Attribute::LAYER_CURRENT));
        }
        return bytes;
    }
    bool deserialize(QByteArray const& bytes, Attribute& attribute) const override {
        auto* tuple = dynamic_cast<Tuple*>(&attribute);
        T value{};
        if (!tuple || !decodeOne(bytes, value)) {
            return false;
        }
        *tuple = value;
        return true;
    }
};

/// Vector containers: the values back to back.
template <typename T>
class ContainerSerializer : public Kelp::AttributeSerializer {
public:
    QByteArray serialize(Attribute const& attribute) const override {
        auto const* container = dynamic_cast<AttributeVectorContainer<T> const*>(&attribute);
        QByteArray bytes;
        if (container) {
            bytes.reserve(static_cast<int>(container->size() * Codec<T>::size));
            for (T const& value : container->values()) {
                Codec<T>::encode(bytes, value);
            }
        }
        return bytes;
    }
    bool deserialize(QByteArray const& bytes, Attribute& attribute) const override {
        auto* container = dynamic_cast<AttributeVectorContainer<T>*>(&attribute);
        if (!container || bytes.size() % Codec<T>::size != 0) {
            return false;
        }
        std::vector<T> values;
        values.reserve(static_cast<std::size_t>(bytes.size()) / Codec<T>::size);
        for (int offset = 0; offset < bytes.size(); offset += static_cast<int>(Codec<T>::size)) {
            values.push_back(Codec<T>::decode(bytes.constData() + offset));
        }
        container->setValues(std::move(values));
        return true;
    }
    bool applyElementEvent(Attribute& attribute, AttributeEvent::Type event, std::size_t index,
                           QByteArray const& bytes) const override {
        auto* container = dynamic_cast<AttributeVectorContainer<T>*>(&attribute);
        T value{};
        if (!container) {
            return false;
        }
        if (event == AttributeEvent::ELEMENT_REMOVED) {
            return container->removeAt(index);
        }
        if (!decodeOne(bytes, value)) {
            return false;
        }
        if (event == AttributeEvent::ELEMENT_INSERTED) {
            if (index > container->size()) {
                return false;
            }
            container->insert(index, value);
            return true;
        }
        return event == AttributeEvent::ELEMENT_CHANGED && container->replace(index, value);
    }
};

/// Registers the attribute class A, made detached by `make`, under its own `type()` name.
template <typename Serializer, typename A>
void add(Kelp::TypeRegistry& registry, unsigned typeCode, unsigned valueSize, A* (*make)()) {
    std::unique_ptr<A> const sample(make());
    registry.registerType({sample->type(), typeCode, valueSize, std::make_shared<Serializer>(), make});
}

template <typename T>
void addLayered(Kelp::TypeRegistry& registry, unsigned typeCode) {
    add<LayeredSerializer<T>>(
        registry, typeCode, Codec<T>::size, +[] { return new AttributeT<T>(); });
}

template <typename A>
void addText(Kelp::TypeRegistry& registry, unsigned typeCode) {
    add<TextSerializer>(
        registry, typeCode, 0, +[] { return new A(); });
}

template <typename T>
void addContainer(Kelp::TypeRegistry& registry, unsigned elementCode) {
    add<ContainerSerializer<T>>(
        registry, Kelp::TYPE_VECTOR_FLAG | elementCode, Codec<T>::size,
        +[] { return new AttributeVectorContainer<T>(nullptr, {}); });
}

template <typename Tuple, typename T>
void addTuple(Kelp::TypeRegistry& registry, unsigned typeCode) {
    add<TupleSerializer<Tuple, T>>(
        registry, typeCode, Codec<T>::size, +[] { return new Tuple(nullptr, {}); });
}

} // namespace

void registerAttributeTypes(Kelp::TypeRegistry& registry) {
    addLayered<bool>(registry, Kelp::TYPE_BOOL);
    addLayered<int>(registry, Kelp::TYPE_INT32);
    addLayered<long>(registry, Kelp::TYPE_INT64);
    addLayered<unsigned long>(registry, Kelp::TYPE_UINT64);
    addLayered<float>(registry, Kelp::TYPE_FLOAT32);
    addLayered<Cobalt::ColorPMA>(registry, Kelp::TYPE_COLOR_PMA);
    addLayered<Cobalt::Color>(registry, Kelp::TYPE_COLOR);
    addLayered<Cobalt::TimeStamp>(registry, Kelp::TYPE_TIMESTAMP);
    addLayered<Fathom::Vector2T<float>>(registry, Kelp::TYPE_VECTOR2_FLOAT32);
    addLayered<Fathom::Vector2T<int>>(registry, Kelp::TYPE_VECTOR2_INT32);
    addText<AttributeT<QString>>(registry, Kelp::TYPE_STRING);
    addText<AttributeAsset>(registry, Kelp::TYPE_ASSET);
    registry.registerType(
        {QByteArrayLiteral("enum:"), Kelp::TYPE_ENUM, 4, std::make_shared<EnumSerializer>(), {}});
    addTuple<AttributeLocation2f, Fathom::Vector2T<float>>(registry, Kelp::TYPE_LOCATION2_FLOAT32);
    addTuple<AttributeT<Fathom::SizeT<float>>, Fathom::SizeT<float>>(registry, Kelp::TYPE_SIZE2_FLOAT32);
    addTuple<AttributeT<Fathom::SizeT<int>>, Fathom::SizeT<int>>(registry, Kelp::TYPE_SIZE2_INT32);
    addContainer<float>(registry, Kelp::TYPE_FLOAT32);
    addContainer<int>(registry, Kelp::TYPE_INT32);
    addContainer<long>(registry, Kelp::TYPE_INT64);
    addContainer<Cobalt::ColorPMA>(registry, Kelp::TYPE_COLOR_PMA);
    addContainer<Sienna::BezierNode>(registry, Kelp::TYPE_BEZIER_NODE);
}

} // namespace Basalt
