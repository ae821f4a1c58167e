#include "media/PDFAsset.hpp"

#include "media/ImageAsset.hpp"
#include "tests/media/AttributeTable.hpp"

#include <gtest/gtest.h>

using Basalt::Attribute;
using MediaTest::holds;

TEST(PDFAsset, AttributesAreDeclaredInOrderWithTheirTypesAndDefaults) {
    Datamodel::PDFAsset pdf;
    std::size_t const inherited = Datamodel::Asset().attributes().size();
    std::vector<MediaTest::AttributeRow> const rows = {
        {"index", "float", holds<Basalt::AttributeT<float>>(0.0f), Attribute::LAYER_DEFAULT},
    };
    MediaTest::expectAttributeTable(pdf, rows, inherited);
}

TEST(PDFAsset, CopyValuesCopiesTheIndexAfterTheAssetValues) {
    Datamodel::PDFAsset source;
    source.index = 7.0f;
    source.title = QStringLiteral("Minutes");
    Datamodel::PDFAsset copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.index.value(), 7.0f);
    EXPECT_EQ(copy.title.value(), QStringLiteral("Minutes"));
}

TEST(PDFAsset, CopyValuesLeavesAnIndexThatWasOnlyADefault) {
    Datamodel::PDFAsset source;
    Datamodel::PDFAsset copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_FALSE(copy.index.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(PDFAsset, CopyValuesFromAnImageReturnsFalseAndCopiesNothing) {
    Datamodel::ImageAsset image;
    image.title = QStringLiteral("Photo");
    Datamodel::PDFAsset pdf;
    EXPECT_FALSE(pdf.copyValues(image));
    EXPECT_FALSE(pdf.title.isValueDefinedOnLayer(Attribute::LAYER_USER));
}
