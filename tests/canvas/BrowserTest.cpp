#include "canvas/Browser.hpp"

#include "tests/support/CountingListener.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Basalt::Attribute;
using Datamodel::Browser;

class Other : public Datamodel::CanvasItem {};

} // namespace

TEST(Browser, AttributesAreDeclaredInOrderWithTheirDefaults) {
    Browser browser;
    std::vector<TestSupport::DeclaredAttribute> const rows = {
        {"location", "location2:float", "0 0", Attribute::LAYER_DEFAULT},
        {"location-x", "float", "0", Attribute::LAYER_DEFAULT},
        {"location-y", "float", "0", Attribute::LAYER_DEFAULT},
        {"depth", "float", "0", Attribute::LAYER_DEFAULT},
        {"size", "size2:float", "100 100", Attribute::LAYER_DEFAULT},
        {"width", "float", "100", Attribute::LAYER_DEFAULT},
        {"height", "float", "100", Attribute::LAYER_DEFAULT},
        {"scale", "float", "1", Attribute::LAYER_DEFAULT},
        {"pinned", "bool", "false", Attribute::LAYER_DEFAULT},
        {"source", "string", "", Attribute::LAYER_DEFAULT},
        {"title", "string", "", Attribute::LAYER_DEFAULT},
        {"transparent-mode", "bool", "false", Attribute::LAYER_DEFAULT},
        {"main-frame-scroll-offset", "vector2:float", "0 0", Attribute::LAYER_DEFAULT},
    };
    TestSupport::expectDeclaredAttributes(browser, rows);
    EXPECT_EQ(browser.flags().bits(), 0u);
}

TEST(Browser, TitleFallsBackToWebBrowser) {
    Browser browser;
    EXPECT_EQ(browser.uiTitleDefault(), QStringLiteral("Web browser"));
    EXPECT_EQ(browser.uiTitle(), QStringLiteral("Web browser"));
    browser.title = QStringLiteral("Docs");
    EXPECT_EQ(browser.uiTitle(), QStringLiteral("Docs"));
}

TEST(Browser, CopyTakesTheItemAndTheUserValuesAndLeavesDefaults) {
    Browser source;
    source.location = Fathom::Vector2T<float>(5.0f, 6.0f);
    source.source = QStringLiteral("https://example.org/");
    source.mainFrameScrollOffset = Fathom::Vector2T<float>(0.0f, 240.0f);

    Browser target;
    TestSupport::CountingListener offsetChanges(target.mainFrameScrollOffset);
    EXPECT_TRUE(target.copyValues(source));
    EXPECT_EQ(target.location.value(), Fathom::Vector2T<float>(5.0f, 6.0f)) << "the item's values come first";
    EXPECT_EQ(target.source.value(), QStringLiteral("https://example.org/"));
    EXPECT_EQ(target.mainFrameScrollOffset.value(), Fathom::Vector2T<float>(0.0f, 240.0f));
    EXPECT_EQ(offsetChanges.count(), 1);
    EXPECT_FALSE(target.title.isValueDefinedOnLayer(Attribute::LAYER_USER)) << "a default isn't copied";
    EXPECT_FALSE(target.transparentMode.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Browser, CopyFromAnotherClassChangesNothing) {
    Other other;
    other.scale = 3.0f;
    Browser target;
    EXPECT_FALSE(target.copyValues(other));
    EXPECT_EQ(target.scale.value(), 1.0f);
}

TEST(Browser, CloneThroughAFactoryKeepsTheUserValues) {
    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<Browser>("tavola_browser");
    Browser source;
    source.initName();
    source.title = QStringLiteral("Docs");
    source.transparentMode = true;
    std::unique_ptr<Tessel::Element> clone(source.cloneElement(factory));
    auto* browser = dynamic_cast<Browser*>(clone.get());
    ASSERT_TRUE(browser);
    EXPECT_NE(browser->guid(), source.guid());
    EXPECT_EQ(browser->title.value(), QStringLiteral("Docs"));
    EXPECT_TRUE(browser->transparentMode.value());
}
