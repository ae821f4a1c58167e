#include "media/AssetFile.hpp"

#include "attributes/AttributeTypes.hpp"
#include "framework/RegisterTypes.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/Uuid.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Basalt::Attribute;

} // namespace

TEST(AssetFile, WithAHostItJoinsTheHostUnderItsKey) {
    Basalt::Node host;
    Datamodel::AssetFile file(host, "source");
    EXPECT_EQ(host.attribute("source"), &file);
    EXPECT_EQ(file.host(), &host);
    EXPECT_EQ(file.name(), QByteArray("source"));
}

TEST(AssetFile, WithoutAHostItKeepsItsKeyAndStaysDetached) {
    Datamodel::AssetFile file(QByteArray("companions-source"));
    EXPECT_EQ(file.host(), nullptr);
    EXPECT_EQ(file.name(), QByteArray("companions-source"));
}

TEST(AssetFile, StartsWithAnEmptyHashOnTheDefaultLayer) {
    Datamodel::AssetFile file(QByteArray("source"));
    EXPECT_TRUE(file.value().isEmpty());
    EXPECT_FALSE(file.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_TRUE(file.publicHashBin().isEmpty());
    EXPECT_TRUE(file.publicHashHex().isEmpty());
}

TEST(AssetFile, HasTheTypeOfAnAssetAttribute) {
    Datamodel::AssetFile file(QByteArray("source"));
    EXPECT_EQ(file.type(), QByteArray("asset"));
}

TEST(AssetFile, TheHexHashIsTheValueAsItStands) {
    Datamodel::AssetFile file(QByteArray("source"));
    file = QStringLiteral("00FFab10");
    EXPECT_EQ(file.publicHashHex(), QStringLiteral("00FFab10"));
    EXPECT_TRUE(file.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(AssetFile, TheBinaryHashIsTheHexValueDecoded) {
    Datamodel::AssetFile file(QByteArray("source"));
    file = QStringLiteral("00ffab10");
    EXPECT_EQ(file.publicHashBin(), QByteArray("\x00\xff\xab\x10", 4));
}

TEST(AssetFile, TheShortHashIsTheShortDigestOfTheBinaryHash) {
    Datamodel::AssetFile file(QByteArray("source"));
    file = QStringLiteral("0123456789abcdef0123456789abcdef");
    QString const expected =
        QString::fromLatin1(Tessel::shortHexHash(QByteArray::fromHex("0123456789abcdef0123456789abcdef")));
    EXPECT_EQ(file.publicHashHexShort(), expected);
    EXPECT_EQ(file.publicHashHexShort().size(), 16);
    // The digest is of the bytes, not of the text, so another spelling of the same bytes agrees.
    Datamodel::AssetFile upper(QByteArray("source"));
    upper = QStringLiteral("0123456789ABCDEF0123456789ABCDEF");
    EXPECT_EQ(upper.publicHashHexShort(), expected);
}

TEST(AssetFile, RegisteredTypeMakesAnAssetFileForTheAssetTypeName) {
    Kelp::TypeRegistry registry;
    Basalt::registerAttributeTypes(registry);
    auto const before = registry.createAttribute("asset");
    ASSERT_NE(before, nullptr);
    EXPECT_EQ(dynamic_cast<Datamodel::AssetFile*>(before.get()), nullptr)
        << "before registration the registry must still build the plain asset attribute";

    Datamodel::AssetFile::registerType(registry);

    auto const after = registry.createAttribute("asset");
    auto const* file = dynamic_cast<Datamodel::AssetFile*>(after.get());
    ASSERT_NE(file, nullptr) << "an asset attribute built from storage must be an AssetFile";
    EXPECT_EQ(file->host(), nullptr);
    EXPECT_TRUE(file->name().isEmpty());
}

TEST(AssetFile, RegisteringKeepsTheTypeCodeAndSerializerOfTheAssetType) {
    Kelp::TypeRegistry registry;
    Basalt::registerAttributeTypes(registry);
    Kelp::TypeRegistry::TypeInfo const before = *registry.find("asset");
    Datamodel::AssetFile::registerType(registry);
    Kelp::TypeRegistry::TypeInfo const* after = registry.find("asset");
    ASSERT_NE(after, nullptr);
    EXPECT_EQ(after->typeCode, before.typeCode);
    EXPECT_EQ(after->valueSize, before.valueSize);
    EXPECT_EQ(after->serializer, before.serializer);

    Datamodel::AssetFile file(QByteArray("source"));
    file = QStringLiteral("abcd");
    unsigned typeCode = 0;
    unsigned valueSize = 0;
    auto const serializer = registry.createSerializer(&file, typeCode, valueSize);
    ASSERT_NE(serializer, nullptr);
    EXPECT_EQ(typeCode, unsigned(Kelp::TYPE_ASSET));
    EXPECT_EQ(serializer->serialize(file), QByteArray("abcd"));
}

TEST(AssetFile, RegisteringIntoARegistryWithoutTheAssetTypeAddsNothing) {
    Kelp::TypeRegistry registry;
    Datamodel::AssetFile::registerType(registry);
    EXPECT_EQ(registry.find("asset"), nullptr);
    EXPECT_EQ(registry.createAttribute("asset"), nullptr);
}

TEST(RegisterTypes, MakesTheAssetTypeAnAssetFile) {
    Kelp::TypeRegistry registry;
    Basalt::registerAttributeTypes(registry);
    QList<QByteArray> const namesBefore = registry.typeNames();
    Datamodel::registerTypes(registry);
    auto const made = registry.createAttribute("asset");
    EXPECT_NE(dynamic_cast<Datamodel::AssetFile*>(made.get()), nullptr);
    QList<QByteArray> namesAfter = registry.typeNames();
    EXPECT_EQ(namesAfter.size(), namesBefore.size())
        << "registering the library's types must add no type name";
}
