#include "canvas/CanvasBackground.hpp"

#include "platform/tessel/DocumentConnection.hpp"
#include "tests/media/AttributeTable.hpp"
#include "tests/support/AssetSites.hpp"

#include <QCryptographicHash>

#include <gtest/gtest.h>

using Basalt::Attribute;
using Datamodel::CanvasBackground;
using MediaTest::holds;

namespace {

using Color = Basalt::AttributeT<Cobalt::ColorPMA>;
using Float = Basalt::AttributeT<float>;

Cobalt::ColorPMA pma(char const* text) {
    return Cobalt::toPMA(Cobalt::Color(text));
}

} // namespace

TEST(CanvasBackground, AttributesAreDeclaredInOrderWithTheirTypesAndDefaults) {
    CanvasBackground background;
    std::vector<MediaTest::AttributeRow> const rows = {
        {"background-type", "enum:Datamodel::CanvasBackground::Type",
         holds<Basalt::AttributeT<CanvasBackground::Type>>(CanvasBackground::TYPE_SOLID),
         Attribute::LAYER_DEFAULT},
        {"background-color", "color", holds<Color>(pma("#25242d")), Attribute::LAYER_DEFAULT},
        {"background-image", "asset", holds<Datamodel::AssetFile>(QString()), Attribute::LAYER_DEFAULT},
        {"background-image-size", "enum:Datamodel::CanvasBackground::FitType",
         holds<Basalt::AttributeT<CanvasBackground::FitType>>(CanvasBackground::FIT_FIT),
         Attribute::LAYER_DEFAULT},
        {"grid-visible", "bool", holds<Basalt::AttributeT<bool>>(true), Attribute::LAYER_DEFAULT},
        {"grid-color", "color", holds<Color>(pma("#525160")), Attribute::LAYER_DEFAULT},
        {"effect01-color1", "color", holds<Color>(pma("#000000")), Attribute::LAYER_DEFAULT},
        {"effect01-color2", "color", holds<Color>(pma("#165ad0")), Attribute::LAYER_DEFAULT},
        {"effect01-speed", "float", holds<Float>(0.5f), Attribute::LAYER_DEFAULT},
        {"effect01-scale", "float", holds<Float>(8.0f), Attribute::LAYER_DEFAULT},
    };
    MediaTest::expectAttributeTable(background, rows, 0);
}

TEST(CanvasBackground, ColoursArePremultipliedFromTheirText) {
    CanvasBackground background;
    Cobalt::ColorPMA const color = background.backgroundColor.value();
    EXPECT_FLOAT_EQ(color.red, 0x25 / 255.0f);
    EXPECT_FLOAT_EQ(color.green, 0x24 / 255.0f);
    EXPECT_FLOAT_EQ(color.blue, 0x2d / 255.0f);
    EXPECT_FLOAT_EQ(color.alpha, 1.0f);
}

TEST(CanvasBackground, HandsFlagBitOneToTheElement) {
    CanvasBackground background;
    EXPECT_EQ(background.flags().bits(), 1u);
}

// Each row: a name table and the names and numbers it must hold.
TEST(CanvasBackground, NameTablesListTheTypesAndFits) {
    struct Row {
        Basalt::EnumNames const* names;
        char const* name;
        int value;
    } const rows[] = {
        {&Datamodel::s_backgroundTypes, "solid", 0},
        {&Datamodel::s_backgroundTypes, "image", 1},
        {&Datamodel::s_backgroundTypes, "effect01", 2},
        {&Datamodel::s_backgroundImageFitTypes, "fill", 0},
        {&Datamodel::s_backgroundImageFitTypes, "fit", 1},
        {&Datamodel::s_backgroundImageFitTypes, "stretch", 2},
        {&Datamodel::s_backgroundImageFitTypes, "tile", 3},
    };
    for (Row const& row : rows) {
        int value = -1;
        EXPECT_TRUE(row.names->find(row.name, value)) << row.name;
        EXPECT_EQ(value, row.value) << row.name;
    }
    EXPECT_EQ(Datamodel::s_backgroundTypes.size(), 3);
    EXPECT_EQ(Datamodel::s_backgroundImageFitTypes.size(), 4);
}

TEST(CanvasBackground, ANewBackgroundIsSolidFittedWithTheGridOnAndNoImage) {
    CanvasBackground background;
    EXPECT_EQ(background.backgroundType.value(), CanvasBackground::TYPE_SOLID);
    EXPECT_EQ(background.backgroundType.asString(), QStringLiteral("solid"));
    EXPECT_EQ(background.backgroundImageSize.value(), CanvasBackground::FIT_FIT);
    EXPECT_EQ(background.backgroundImageSize.asString(), QStringLiteral("fit"));
    EXPECT_TRUE(background.gridVisible.value());
    EXPECT_TRUE(background.backgroundImage.publicHashHex().isEmpty());
    EXPECT_TRUE(background.backgroundImage.publicHashBin().isEmpty());
}

TEST(CanvasBackground, AnUnlistedNameForTheTypeLeavesItAsItWas) {
    CanvasBackground background;
    background.backgroundType = CanvasBackground::TYPE_EFFECT01;
    EXPECT_FALSE(background.backgroundType.set(QStringLiteral("gradient")));
    EXPECT_EQ(background.backgroundType.value(), CanvasBackground::TYPE_EFFECT01);
}

TEST(CanvasBackground, TheNumberThreeForTheTypeLeavesItAsItWas) {
    CanvasBackground background;
    background.backgroundType = CanvasBackground::TYPE_IMAGE;
    EXPECT_FALSE(background.backgroundType.set(3));
    EXPECT_EQ(background.backgroundType.value(), CanvasBackground::TYPE_IMAGE);
}

TEST(CanvasBackground, TypeNamesInCapitalsAreTaken) {
    CanvasBackground background;
    EXPECT_TRUE(background.backgroundType.set(QStringLiteral("IMAGE")));
    EXPECT_EQ(background.backgroundType.value(), CanvasBackground::TYPE_IMAGE);
}

TEST(CanvasBackground, TileInCapitalsSetsThreeAndReadsBackAsTile) {
    CanvasBackground background;
    EXPECT_TRUE(background.backgroundImageSize.set(QStringLiteral("TILE")));
    EXPECT_EQ(background.backgroundImageSize.asInt(), 3);
    EXPECT_EQ(background.backgroundImageSize.asString(), QStringLiteral("tile"));
}

TEST(CanvasBackground, CopyValuesFromAnotherBackgroundLeavesEveryAttributeUnchanged) {
    CanvasBackground source;
    source.backgroundType = CanvasBackground::TYPE_EFFECT01;
    source.backgroundColor = pma("#ff0000");
    source.backgroundImage = QStringLiteral("00ff");
    source.backgroundImageSize = CanvasBackground::FIT_TILE;
    source.gridVisible = false;
    source.gridColor = pma("#00ff00");
    source.effect01Color1 = pma("#0000ff");
    source.effect01Color2 = pma("#ffffff");
    source.effect01Speed = 2.0f;
    source.effect01Scale = 1.0f;

    CanvasBackground target;
    EXPECT_TRUE(target.copyValues(source)) << "the base's copy reports success";
    for (auto const& entry : target.attributes()) {
        EXPECT_FALSE(entry.second->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << entry.first.constData() << " must not be copied";
    }
    EXPECT_EQ(target.backgroundType.value(), CanvasBackground::TYPE_SOLID);
    EXPECT_TRUE(target.gridVisible.value());
}

TEST(CanvasBackground, InitializeHandsTheConnectionToTheImage) {
    TestSupport::LocalAssetDocument local;
    CanvasBackground background;
    auto const result = background.backgroundImage.setAssetFromBuffer("sky", QStringLiteral("sky.jpg"));
    EXPECT_FALSE(result.done.isReady()) << "before initialize the image can't reach the storage";
    background.initialize(*local.document);
    local.waitFor(result);
    EXPECT_TRUE(result.done.hasValue());
    EXPECT_EQ(background.backgroundImage.publicHashHex(),
              QString::fromLatin1(QCryptographicHash::hash("sky", QCryptographicHash::Sha256).toHex()));
    ASSERT_TRUE(background.backgroundImage.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(background.backgroundImage.localPath().value(), result.item.value()->localPath());
}
