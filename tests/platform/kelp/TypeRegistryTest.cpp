#include "platform/kelp/TypeRegistry.hpp"

#include "attributes/AttributeT.hpp"
#include "attributes/AttributeTypes.hpp"
#include "attributes/AttributeVectorContainer.hpp"

#include <gtest/gtest.h>

#include <QSet>

#include <cstring>

namespace {

enum class Shape { Circle = 0, Square = 1, Star = 2 };
Basalt::EnumNames const shapeNames{{"circle", 0}, {"square", 1}, {"star", 2}};

Kelp::TypeRegistry const& registry() {
    static Kelp::TypeRegistry const filled = [] {
        Kelp::TypeRegistry r;
        Basalt::registerAttributeTypes(r);
        return r;
    }();
    return filled;
}

struct Encoded {
    std::shared_ptr<Kelp::AttributeSerializer const> serializer;
    unsigned typeCode = 0;
    unsigned valueSize = 0;
};

Encoded serializerFor(Basalt::Attribute& attribute) {
    Encoded encoded;
    encoded.serializer = registry().createSerializer(&attribute, encoded.typeCode, encoded.valueSize);
    return encoded;
}

QByteArray littleEndianFloats(std::initializer_list<float> values) {
    QByteArray bytes;
    for (float value : values) {
        char raw[4];
        std::memcpy(raw, &value, 4); // the test machines are little-endian
        bytes.append(raw, 4);
    }
    return bytes;
}

// Writes `value` on a fresh attribute, encodes it, decodes into another and compares.
template <typename A, typename V, typename... Extra>
void expectRoundTrip(V const& value, unsigned expectedCode, unsigned expectedSize, Extra const&... extra) {
    A source(nullptr, "value", V{}, extra...);
    source = value;
    Encoded const encoded = serializerFor(source);
    ASSERT_TRUE(encoded.serializer) << "type " << source.type().constData() << " must be registered";
    EXPECT_EQ(encoded.typeCode, expectedCode) << source.type().constData();
    EXPECT_EQ(encoded.valueSize, expectedSize) << source.type().constData();
    QByteArray const bytes = encoded.serializer->serialize(source);
    if (expectedSize > 0) {
        EXPECT_EQ(static_cast<unsigned>(bytes.size()), expectedSize) << source.type().constData();
    }
    A target(nullptr, "value", V{}, extra...);
    ASSERT_TRUE(encoded.serializer->deserialize(bytes, target)) << source.type().constData();
    EXPECT_TRUE(target.value() == value)
        << "decoding must give back the encoded value of " << source.type().constData();
    EXPECT_EQ(target.currentLayer(), Basalt::Attribute::LAYER_USER)
        << "decoded values land on the user layer";
}

} // namespace

TEST(TypeRegistry, EveryLayeredTypeRoundTripsThroughItsEncoding) {
    expectRoundTrip<Basalt::AttributeT<float>>(2.5f, Kelp::TYPE_FLOAT32, 4u);
    expectRoundTrip<Basalt::AttributeT<int>>(-7, Kelp::TYPE_INT32, 4u);
    expectRoundTrip<Basalt::AttributeT<long>>(-(1L << 40), Kelp::TYPE_INT64, 8u);
    expectRoundTrip<Basalt::AttributeT<unsigned long>>((1UL << 63) + 5, Kelp::TYPE_UINT64, 8u);
    expectRoundTrip<Basalt::AttributeT<bool>>(true, Kelp::TYPE_BOOL, 1u);
    expectRoundTrip<Basalt::AttributeT<Cobalt::Color>>(Cobalt::Color(0.25f, 0.5f, 0.75f, 1.0f),
                                                       Kelp::TYPE_COLOR, 16u);
    expectRoundTrip<Basalt::AttributeT<Cobalt::ColorPMA>>(Cobalt::ColorPMA(0.1f, 0.2f, 0.3f, 0.5f),
                                                          Kelp::TYPE_COLOR_PMA, 16u);
    expectRoundTrip<Basalt::AttributeT<Cobalt::TimeStamp>>(Cobalt::TimeStamp(1234567890123LL),
                                                           Kelp::TYPE_TIMESTAMP, 8u);
    expectRoundTrip<Basalt::AttributeT<Fathom::Vector2T<float>>>(Fathom::Vector2T<float>(1.5f, -2.0f),
                                                                 Kelp::TYPE_VECTOR2_FLOAT32, 8u);
    expectRoundTrip<Basalt::AttributeT<Fathom::Vector2T<int>>>(Fathom::Vector2T<int>(3, -4),
                                                               Kelp::TYPE_VECTOR2_INT32, 8u);
    expectRoundTrip<Basalt::AttributeT<QString>>(QStringLiteral("grüße"), Kelp::TYPE_STRING, 0u);
    expectRoundTrip<Basalt::AttributeT<Shape>>(Shape::Star, Kelp::TYPE_ENUM, 4u, shapeNames);
}

TEST(TypeRegistry, SimpleValuesAreTheirPlainLittleEndianBytes) {
    Basalt::AttributeT<float> width(nullptr, "width", 0.0f);
    width = 1.0f;
    EXPECT_EQ(serializerFor(width).serializer->serialize(width), QByteArray::fromHex("0000803f"));
    Basalt::AttributeT<long> id(nullptr, "id", 0);
    id = 0x0102030405060708L;
    EXPECT_EQ(serializerFor(id).serializer->serialize(id), QByteArray::fromHex("0807060504030201"));
    Basalt::AttributeT<QString> text(nullptr, "text", QString());
    text = QStringLiteral("é");
    EXPECT_EQ(serializerFor(text).serializer->serialize(text), QByteArray("\xc3\xa9"))
        << "text travels as UTF-8";
}

TEST(TypeRegistry, EncodingTakesTheStoredValueNotTheAnimatedOne) {
    Basalt::AttributeT<float> opacity(nullptr, "opacity", 0.0f);
    opacity = 1.0f;
    opacity.setAnimatedValue(0.5f);
    EXPECT_EQ(serializerFor(opacity).serializer->serialize(opacity), littleEndianFloats({1.0f}));
}

TEST(TypeRegistry, TuplesEncodeBothComponents) {
    Basalt::Node host;
    Basalt::AttributeLocation2f location(&host, "location");
    location = Fathom::Vector2T<float>(3.0f, 4.0f);
    Encoded const encoded = serializerFor(location);
    ASSERT_TRUE(encoded.serializer);
    EXPECT_EQ(encoded.typeCode, Kelp::TYPE_LOCATION2_FLOAT32);
    EXPECT_EQ(encoded.serializer->serialize(location), littleEndianFloats({3.0f, 4.0f}));

    Basalt::AttributeT<Fathom::SizeT<int>> grid(&host, "grid-size", Fathom::SizeT<int>(1, 1));
    Encoded const gridEncoded = serializerFor(grid);
    ASSERT_TRUE(gridEncoded.serializer);
    EXPECT_EQ(gridEncoded.typeCode, Kelp::TYPE_SIZE2_INT32);
    ASSERT_TRUE(gridEncoded.serializer->deserialize(QByteArray::fromHex("0500000007000000"), grid));
    EXPECT_EQ(grid.value(), Fathom::SizeT<int>(5, 7)) << "two signed 32-bit integers: columns, then rows";
}

TEST(TypeRegistry, VectorsOfLongAndColourCarryTheirFixedTypeCodes) {
    Basalt::AttributeVectorContainer<long> ids(nullptr, "ids");
    Basalt::AttributeVectorContainer<Cobalt::ColorPMA> presets(nullptr, "presets");
    EXPECT_EQ(serializerFor(ids).typeCode, 0x100000bu);
    EXPECT_EQ(serializerFor(presets).typeCode, 0x1000030u);
    EXPECT_EQ(serializerFor(presets).valueSize, 16u) << "the size output is that of one element";
}

TEST(TypeRegistry, VectorContainersEncodeTheirValuesBackToBack) {
    Basalt::AttributeVectorContainer<Sienna::BezierNode> points(nullptr, "points");
    Sienna::BezierNode node;
    node.ctrlIn = {1, 2, 3};
    node.point = {4, 5, 6};
    node.ctrlOut = {7, 8, 9};
    points.setValues({node, node});
    Encoded const encoded = serializerFor(points);
    ASSERT_TRUE(encoded.serializer);
    QByteArray const bytes = encoded.serializer->serialize(points);
    EXPECT_EQ(bytes.left(36), littleEndianFloats({1, 2, 3, 4, 5, 6, 7, 8, 9}))
        << "a node is nine singles in order";
    EXPECT_EQ(bytes.size(), 72);

    Basalt::AttributeVectorContainer<Sienna::BezierNode> copy(nullptr, "points");
    ASSERT_TRUE(encoded.serializer->deserialize(bytes, copy));
    EXPECT_EQ(copy.values(), points.values());
}

TEST(TypeRegistry, BytesOfTheWrongLengthAreRefusedAndChangeNothing) {
    Basalt::AttributeT<float> width(nullptr, "width", 7.0f);
    Encoded const encoded = serializerFor(width);
    EXPECT_FALSE(encoded.serializer->deserialize(QByteArray::fromHex("000080"), width));
    EXPECT_FALSE(encoded.serializer->deserialize(QByteArray::fromHex("0000803f00"), width));
    EXPECT_EQ(width.value(), 7.0f);
    EXPECT_FALSE(width.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER));

    Basalt::AttributeVectorContainer<float> shares(nullptr, "shares");
    EXPECT_FALSE(serializerFor(shares).serializer->deserialize(QByteArray(6, '\0'), shares))
        << "six bytes are no whole number of floats";
    EXPECT_TRUE(shares.values().empty());
}

TEST(TypeRegistry, AnUnlistedEnumNumberIsRefusedOnTheWayIn) {
    Basalt::AttributeT<Shape> shape(nullptr, "shape", Shape::Circle, shapeNames);
    Encoded const encoded = serializerFor(shape);
    EXPECT_FALSE(encoded.serializer->deserialize(QByteArray::fromHex("09000000"), shape));
    EXPECT_EQ(shape.value(), Shape::Circle);
}

TEST(TypeRegistry, ASerializerRefusesAnAttributeOfAnotherType) {
    Basalt::AttributeT<float> width(nullptr, "width", 1.0f);
    Basalt::AttributeT<int> count(nullptr, "count", 3);
    auto const floatSerializer = serializerFor(width).serializer;
    EXPECT_TRUE(floatSerializer->serialize(count).isEmpty());
    EXPECT_FALSE(floatSerializer->deserialize(QByteArray::fromHex("0000803f"), count));
    EXPECT_EQ(count.value(), 3);
}

TEST(TypeRegistry, UnknownTypesAndNullAttributesGiveNoSerializer) {
    Basalt::Node node;
    unsigned typeCode = 99;
    unsigned valueSize = 99;
    EXPECT_FALSE(registry().createSerializer(&node, typeCode, valueSize));
    EXPECT_FALSE(registry().createSerializer(nullptr, typeCode, valueSize));
    EXPECT_EQ(typeCode, 99u) << "outputs stay untouched when there is no serializer";
    EXPECT_EQ(valueSize, 99u);
}

TEST(TypeRegistry, AFamilyServesEveryNameThatStartsWithIt) {
    ASSERT_NE(registry().find("enum:Anything::AtAll"), nullptr);
    EXPECT_EQ(registry().find("enum:Anything::AtAll")->typeCode, Kelp::TYPE_ENUM);
    EXPECT_EQ(registry().find("vector:unknown"), nullptr) << "only names registered as a family end in ':'";
}

TEST(TypeRegistry, EveryTypeCodeIsRegisteredOnce) {
    QList<QByteArray> const names = registry().typeNames();
    QSet<unsigned> codes;
    for (QByteArray const& name : names) {
        unsigned const code = registry().find(name)->typeCode;
        EXPECT_FALSE(codes.contains(code))
            << "type code " << code << " of " << name.constData() << " is taken twice";
        codes.insert(code);
        EXPECT_EQ(registry().findByCode(code)->name, name);
    }
}

TEST(TypeRegistry, EveryTypeButTheEnumFamilyMakesADetachedAttributeOfItsOwnType) {
    for (QByteArray const& name : registry().typeNames()) {
        std::unique_ptr<Basalt::Attribute> const made = registry().createAttribute(name);
        if (name == "enum:") {
            EXPECT_FALSE(made) << "an enumeration needs its name table, so the family makes none";
            continue;
        }
        ASSERT_TRUE(made) << name.constData();
        EXPECT_EQ(made->type(), name);
        EXPECT_EQ(made->host(), nullptr);
        EXPECT_TRUE(made->name().isEmpty());
    }
    EXPECT_FALSE(registry().createAttribute("no-such-type"));
}

TEST(TypeRegistry, AnotherClassCanStandForARegisteredType) {
    class Hash : public Basalt::AttributeAsset {};
    Kelp::TypeRegistry own;
    Basalt::registerAttributeTypes(own);
    EXPECT_TRUE(own.setAttributeMaker("asset", [] { return new Hash(); }));
    std::unique_ptr<Basalt::Attribute> const made = own.createAttribute("asset");
    EXPECT_TRUE(dynamic_cast<Hash*>(made.get()));
    EXPECT_FALSE(own.setAttributeMaker("no-such-type", [] { return new Hash(); }));
}

// Found by fuzzing: an integer pair once passed through float on its way into the tuple.
TEST(TypeRegistry, IntegerSizesBeyondFloatPrecisionRoundTripExactly) {
    Basalt::Node host;
    Basalt::AttributeT<Fathom::SizeT<int>> grid(&host, "grid-size", Fathom::SizeT<int>(1, 1));
    auto const serializer = serializerFor(grid).serializer;
    QByteArray const bytes = QByteArray::fromHex("6025306025305a06"); // 1613768032, 106573861
    ASSERT_TRUE(serializer->deserialize(bytes, grid));
    EXPECT_EQ(grid.value(), Fathom::SizeT<int>(1613768032, 106573861));
    EXPECT_EQ(serializer->serialize(grid), bytes);
}
