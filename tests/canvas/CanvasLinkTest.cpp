#include "canvas/CanvasLink.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Basalt::Attribute;
using Datamodel::CanvasLink;

std::shared_ptr<Tessel::ElementFactory> linkFactory() {
    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<CanvasLink>("tavola_canvas_link");
    return factory;
}

class Other : public Datamodel::CanvasItem {};

} // namespace

TEST(CanvasLink, AttributesAreDeclaredInOrderAndTheSizeStartsOnTheUserLayer) {
    CanvasLink link;
    std::vector<TestSupport::DeclaredAttribute> const rows = {
        {"location", "location2:float", "0 0", Attribute::LAYER_DEFAULT},
        {"location-x", "float", "0", Attribute::LAYER_DEFAULT},
        {"location-y", "float", "0", Attribute::LAYER_DEFAULT},
        {"depth", "float", "0", Attribute::LAYER_DEFAULT},
        {"size", "size2:float", "225 331", Attribute::LAYER_USER},
        {"width", "float", "225", Attribute::LAYER_USER},
        {"height", "float", "331", Attribute::LAYER_USER},
        {"scale", "float", "1", Attribute::LAYER_DEFAULT},
        {"pinned", "bool", "false", Attribute::LAYER_DEFAULT},
        {"title", "string", "", Attribute::LAYER_DEFAULT},
    };
    TestSupport::expectDeclaredAttributes(link, rows);
    EXPECT_EQ(link.flags().bits(), 0u);
}

TEST(CanvasLink, TitleFallsBackToLinkToCanvas) {
    CanvasLink link;
    EXPECT_EQ(link.uiTitleDefault(), QStringLiteral("Link to canvas"));
    EXPECT_EQ(link.uiTitle(), QStringLiteral("Link to canvas"));
    link.title = QStringLiteral("Roadmap");
    EXPECT_EQ(link.uiTitle(), QStringLiteral("Roadmap"));
}

TEST(CanvasLink, ANewLinkIsSizedByTheUserAndItsCloneKeepsThatSize) {
    CanvasLink source;
    source.initName();
    ASSERT_TRUE(source.size.isValueDefinedOnLayer(Attribute::LAYER_USER));
    ASSERT_EQ(source.size.value(), Fathom::SizeT<float>(225.0f, 331.0f));

    std::unique_ptr<Tessel::Element> clone(source.cloneElement(linkFactory()));
    auto* link = dynamic_cast<CanvasLink*>(clone.get());
    ASSERT_TRUE(link);
    EXPECT_TRUE(link->size.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(link->size.value(), Fathom::SizeT<float>(225.0f, 331.0f));
}

TEST(CanvasLink, AResizedLinksCloneTakesTheNewSizeAndTitle) {
    CanvasLink source;
    source.size = Fathom::SizeT<float>(400.0f, 500.0f);
    source.title = QStringLiteral("Roadmap");
    std::unique_ptr<Tessel::Element> clone(source.cloneElement(linkFactory()));
    auto* link = dynamic_cast<CanvasLink*>(clone.get());
    ASSERT_TRUE(link);
    EXPECT_EQ(link->size.value(), Fathom::SizeT<float>(400.0f, 500.0f));
    EXPECT_EQ(link->title.value(), QStringLiteral("Roadmap"));
}

TEST(CanvasLink, CopyFromAnotherClassChangesNothing) {
    Other other;
    other.size = Fathom::SizeT<float>(10.0f, 10.0f);
    CanvasLink target;
    EXPECT_FALSE(target.copyValues(other));
    EXPECT_EQ(target.size.value(), Fathom::SizeT<float>(225.0f, 331.0f));
}
