#include "media/ImageAsset.hpp"

#include "media/PDFAsset.hpp"
#include "tests/media/AttributeTable.hpp"

#include <gtest/gtest.h>

using Basalt::Attribute;

// Its table is empty: every attribute is Asset's, in Asset's order and with Asset's types.
TEST(ImageAsset, DeclaresNoAttributesOfItsOwn) {
    Datamodel::ImageAsset image;
    Datamodel::Asset asset;
    MediaTest::expectAttributeTable(image, {}, asset.attributes().size());
    ASSERT_EQ(image.attributes().size(), asset.attributes().size());
    for (std::size_t i = 0; i < image.attributes().size(); ++i) {
        EXPECT_EQ(image.attributes()[i].first, asset.attributes()[i].first) << "attribute " << i;
        EXPECT_EQ(image.attributes()[i].second->type(), asset.attributes()[i].second->type());
        EXPECT_FALSE(image.attributes()[i].second->isValueDefinedOnLayer(Attribute::LAYER_USER));
    }
}

TEST(ImageAsset, UiTitleDefaultIsItsTypesFullNameLessTheEndingAsset) {
    Datamodel::ImageAsset image;
    EXPECT_EQ(image.uiTitleDefault(), QStringLiteral("Datamodel::Image"));
}

TEST(ImageAsset, CopyValuesFromAPDFAssetReturnsFalseAndCopiesNothing) {
    Datamodel::PDFAsset pdf;
    pdf.title = QStringLiteral("Report");
    pdf.originalFilename = QStringLiteral("report.pdf");
    pdf.location = Fathom::Vector2T<float>(5.0f, 6.0f);
    pdf.modelYaw = 1.0f;
    Datamodel::ImageAsset image;
    EXPECT_FALSE(image.copyValues(pdf));
    for (auto const& entry : image.attributes()) {
        EXPECT_FALSE(entry.second->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << entry.first.constData() << " must not be copied from another class";
    }
    EXPECT_FALSE(image.modelYaw.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(ImageAsset, CopyValuesFromAnImageCopiesTheAssetValues) {
    Datamodel::ImageAsset source;
    source.title = QStringLiteral("Sunset");
    source.modelPitch = 0.1f;
    Datamodel::ImageAsset copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.title.value(), QStringLiteral("Sunset"));
    EXPECT_EQ(copy.modelPitch.value(), 0.1f);
}

TEST(ImageAsset, CopyValuesFromAPlainAssetReturnsFalse) {
    Datamodel::Asset asset;
    asset.title = QStringLiteral("Plain");
    Datamodel::ImageAsset image;
    EXPECT_FALSE(image.copyValues(asset));
    EXPECT_FALSE(image.title.isValueDefinedOnLayer(Attribute::LAYER_USER));
}
