#include "canvas/RdpConnection.hpp"

#include "media/Asset.hpp"
#include "tests/support/CountingListener.hpp"

#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace {

using Basalt::Attribute;
using Datamodel::RdpConnection;

class Other : public Datamodel::CanvasItem {};

template <typename E>
E* addChild(Tessel::Element& parent) {
    auto* child = new E();
    child->initName();
    parent.addAttribute(child);
    return child;
}

} // namespace

TEST(RdpConnection, AttributesAreDeclaredInOrderAndTheSizeIsANewDefault) {
    RdpConnection rdp;
    std::vector<TestSupport::DeclaredAttribute> const rows = {
        {"location", "location2:float", "0 0", Attribute::LAYER_DEFAULT},
        {"location-x", "float", "0", Attribute::LAYER_DEFAULT},
        {"location-y", "float", "0", Attribute::LAYER_DEFAULT},
        {"depth", "float", "0", Attribute::LAYER_DEFAULT},
        {"size", "size2:float", "1920 1080", Attribute::LAYER_DEFAULT},
        {"width", "float", "1920", Attribute::LAYER_DEFAULT},
        {"height", "float", "1080", Attribute::LAYER_DEFAULT},
        {"scale", "float", "1", Attribute::LAYER_DEFAULT},
        {"pinned", "bool", "false", Attribute::LAYER_DEFAULT},
        {"connection-name", "string", "", Attribute::LAYER_DEFAULT},
        {"host-site", "string", "", Attribute::LAYER_DEFAULT},
        {"content-id", "string", "", Attribute::LAYER_DEFAULT},
        {"title", "string", "", Attribute::LAYER_DEFAULT},
    };
    TestSupport::expectDeclaredAttributes(rdp, rows);
    EXPECT_EQ(rdp.flags().bits(), 0u);
}

TEST(RdpConnection, TitleFallsBackToRdpConnection) {
    RdpConnection rdp;
    EXPECT_EQ(rdp.uiTitleDefault(), QStringLiteral("RDP connection"));
    EXPECT_EQ(rdp.uiTitle(), QStringLiteral("RDP connection"));
    rdp.title = QStringLiteral("Control room");
    EXPECT_EQ(rdp.uiTitle(), QStringLiteral("Control room"));
}

TEST(RdpConnection, ANeverResizedCloneTakesTheDefaultSizeFromItsOwnConstructor) {
    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<RdpConnection>("tavola_rdp_connection");
    RdpConnection source;
    source.initName();
    ASSERT_EQ(source.size.value(), Fathom::SizeT<float>(1920.0f, 1080.0f));
    ASSERT_FALSE(source.size.isValueDefinedOnLayer(Attribute::LAYER_USER));

    std::unique_ptr<Tessel::Element> clone(source.cloneElement(factory));
    auto* rdp = dynamic_cast<RdpConnection*>(clone.get());
    ASSERT_TRUE(rdp);
    EXPECT_EQ(rdp->size.value(), Fathom::SizeT<float>(1920.0f, 1080.0f));
    EXPECT_FALSE(rdp->size.isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "nothing was copied onto the user layer";
    EXPECT_EQ(rdp->size.component(0).valueOnLayer(Attribute::LAYER_DEFAULT), 1920.0f);
    EXPECT_EQ(rdp->size.component(1).valueOnLayer(Attribute::LAYER_DEFAULT), 1080.0f);
}

TEST(RdpConnection, AssetIsNullForAnEmptyContentId) {
    RdpConnection rdp;
    rdp.initName();
    addChild<Datamodel::Asset>(rdp);
    EXPECT_EQ(rdp.asset(), nullptr);
}

TEST(RdpConnection, AssetIsNullWhenTheContentIdNamesNoAsset) {
    RdpConnection rdp;
    rdp.initName();
    Other* other = addChild<Other>(rdp);
    rdp.contentId = QString::fromLatin1(other->guid());
    EXPECT_EQ(rdp.asset(), nullptr) << "the element is there but is no asset";
    rdp.contentId = QStringLiteral("no-such-guid");
    EXPECT_EQ(rdp.asset(), nullptr);
}

TEST(RdpConnection, AssetFindsTheChildAssetNamedByContentId) {
    RdpConnection rdp;
    rdp.initName();
    addChild<Datamodel::Asset>(rdp);
    auto* stream = addChild<Datamodel::Asset>(rdp);
    rdp.contentId = QString::fromLatin1(stream->guid());
    EXPECT_EQ(rdp.asset(), stream);
}

TEST(RdpConnection, CopyTakesTheUserValuesInOrderAndLeavesDefaults) {
    RdpConnection source;
    source.connectionName = QStringLiteral("ops");
    source.contentId = QStringLiteral("guid-1");
    source.size = Fathom::SizeT<float>(800.0f, 600.0f);

    RdpConnection target;
    EXPECT_TRUE(target.copyValues(source));
    EXPECT_EQ(target.connectionName.value(), QStringLiteral("ops"));
    EXPECT_EQ(target.contentId.value(), QStringLiteral("guid-1"));
    EXPECT_EQ(target.size.value(), Fathom::SizeT<float>(800.0f, 600.0f));
    EXPECT_FALSE(target.hostSite.isValueDefinedOnLayer(Attribute::LAYER_USER)) << "a default isn't copied";
    EXPECT_FALSE(target.title.isValueDefinedOnLayer(Attribute::LAYER_USER));

    Other other;
    EXPECT_FALSE(target.copyValues(other));
}
