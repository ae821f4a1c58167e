#include "media/Asset.hpp"

#include "media/ImageAsset.hpp"
#include "media/PDFAsset.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "tests/media/AttributeTable.hpp"
#include "tests/support/AssetSites.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/TestExecutors.hpp"

#include <QCryptographicHash>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using LocalDocument = TestSupport::LocalAssetDocument;

using Basalt::Attribute;
using MediaTest::holds;

/// A document linked to a server of the given version; the executors outlive it.
class ServerAt {
public:
    explicit ServerAt(char const* version) {
        Tessel::ClientToServerConnection::Announcement announcement;
        announcement.serverVersion = Cobalt::VersionString(QString::fromLatin1(version));
        announcement.userId = 1;
        announcement.connectionId = 1;
        document = Tessel::DocumentConnection::create(
            nullptr, nullptr, &main, std::make_shared<Tessel::ClientToServerConnection>(announcement, &idle));
    }
    TestSupport::ManualExecutor main;
    TestSupport::ManualExecutor idle;
    std::shared_ptr<Tessel::DocumentConnection> document;
};

bool isAttached(Tessel::Element const& element, char const* key) {
    return element.attribute(key) != nullptr;
}

QString hexHashOf(QByteArray const& content) {
    return QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
}

char const* const kGatedKeys[] = {"backdrop-color", "model-yaw", "model-pitch", "camera-fov", "model-roll"};

std::vector<MediaTest::AttributeRow> assetRows() {
    using Float = Basalt::AttributeT<float>;
    using Text = Basalt::AttributeT<QString>;
    return {
        {"original-filename", "string", holds<Text>(QString()), Attribute::LAYER_DEFAULT},
        {"title", "string", holds<Text>(QString()), Attribute::LAYER_DEFAULT},
        {"source", "asset", holds<Datamodel::AssetFile>(QString()), Attribute::LAYER_DEFAULT},
        {"backdrop-color", "color",
         holds<Basalt::AttributeT<Cobalt::ColorPMA>>(Cobalt::ColorPMA(0.0f, 0.0f, 0.0f, 1.0f)),
         Attribute::LAYER_DEFAULT},
        {"model-yaw", "float", holds<Float>(0.0f), Attribute::LAYER_DEFAULT},
        {"model-pitch", "float", holds<Float>(0.43633232f), Attribute::LAYER_DEFAULT},
        {"camera-fov", "float", holds<Float>(45.0f), Attribute::LAYER_DEFAULT},
        {"model-roll", "float", holds<Float>(0.0f), Attribute::LAYER_DEFAULT},
        {"companions-source", "asset", holds<Datamodel::AssetFile>(QString()), Attribute::LAYER_DEFAULT},
    };
}

} // namespace

// The pose attributes are not in the node before initialize, so the walk goes over the members; their
// addresses give the order of declaration.
TEST(Asset, AttributesAreDeclaredInOrderWithTheirTypesAndDefaults) {
    Datamodel::Asset asset;
    Attribute const* const members[] = {&asset.originalFilename, &asset.title,     &asset.source,
                                        &asset.backdropColor,    &asset.modelYaw,  &asset.modelPitch,
                                        &asset.cameraFov,        &asset.modelRoll, &asset.companionsSource};
    std::vector<MediaTest::AttributeRow> const rows = assetRows();
    ASSERT_EQ(rows.size(), std::size(members));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        MediaTest::expectRow(*members[i], rows[i]);
        if (i > 0) {
            EXPECT_LT(static_cast<void const*>(members[i - 1]), static_cast<void const*>(members[i]))
                << rows[i].key << " must be declared after " << rows[i - 1].key;
        }
    }
}

TEST(Asset, OnlyTheUngatedAttributesJoinTheNodeAtConstruction) {
    Datamodel::Asset asset;
    std::size_t const inherited = Datamodel::CanvasItem().attributes().size();
    char const* const attached[] = {"original-filename", "title", "source", "companions-source"};
    ASSERT_EQ(asset.attributes().size(), inherited + std::size(attached));
    for (std::size_t i = 0; i < std::size(attached); ++i) {
        EXPECT_EQ(asset.attributes()[inherited + i].first, QByteArray(attached[i])) << "attribute " << i;
        EXPECT_EQ(asset.attributes()[inherited + i].second->host(), &asset);
    }
    for (char const* key : kGatedKeys) {
        EXPECT_FALSE(isAttached(asset, key)) << key << " must wait for the server's version";
    }
}

TEST(Asset, SourceAndCompanionsSourceAreAssetFiles) {
    Datamodel::Asset asset;
    EXPECT_NE(dynamic_cast<Datamodel::AssetFile*>(asset.attribute("source")), nullptr);
    EXPECT_NE(dynamic_cast<Datamodel::AssetFile*>(asset.attribute("companions-source")), nullptr);
}

TEST(Asset, ServerAt26073AttachesThePoseButNotTheLaterAttributes) {
    ServerAt server("26.07.3");
    Datamodel::Asset asset;
    asset.initialize(*server.document);
    EXPECT_TRUE(isAttached(asset, "backdrop-color"));
    EXPECT_TRUE(isAttached(asset, "model-yaw"));
    EXPECT_TRUE(isAttached(asset, "model-pitch"));
    EXPECT_FALSE(isAttached(asset, "camera-fov")) << "camera-fov came with 26.07.4";
    EXPECT_FALSE(isAttached(asset, "model-roll")) << "model-roll came with 26.07.5";
    EXPECT_EQ(asset.cameraFov.value(), 45.0f) << "a detached attribute still reads its default";
    EXPECT_EQ(asset.modelRoll.value(), 0.0f) << "a detached attribute still reads its default";
}

TEST(Asset, ServerBelow26073AttachesNoneOfTheGatedAttributes) {
    ServerAt server("26.07.2");
    Datamodel::Asset asset;
    asset.initialize(*server.document);
    for (char const* key : kGatedKeys) {
        EXPECT_FALSE(isAttached(asset, key)) << key << " must not reach an older server";
    }
    EXPECT_TRUE(isAttached(asset, "companions-source")) << "companions-source isn't gated";
}

// Each row: a server version, and how many of the gated attributes (in their order) it gets.
TEST(Asset, EachServerReleaseAttachesTheAttributesItKnowsInOrder) {
    struct Row {
        char const* version;
        std::size_t attached;
    } const rows[] = {
        {"25.0", 0},    {"26.07", 0},   {"26.07.2.9", 0}, {"26.07.3", 3}, {"26.07.3.1", 3},
        {"26.07.4", 4}, {"26.07.5", 5}, {"26.08", 5},     {"27", 5},
    };
    for (Row const& row : rows) {
        ServerAt server(row.version);
        Datamodel::Asset asset;
        std::size_t const before = asset.attributes().size();
        asset.initialize(*server.document);
        ASSERT_EQ(asset.attributes().size(), before + row.attached) << "server " << row.version;
        for (std::size_t i = 0; i < row.attached; ++i) {
            EXPECT_EQ(asset.attributes()[before + i].first, QByteArray(kGatedKeys[i]))
                << "server " << row.version << ", gated attribute " << i;
        }
    }
}

TEST(Asset, InitializeAgainKeepsTheAttachedAttributesOnceAndInOrder) {
    ServerAt server("26.07.5");
    Datamodel::Asset asset;
    asset.initialize(*server.document);
    auto const first = asset.attributes();
    asset.initialize(*server.document);
    EXPECT_EQ(asset.attributes(), first);
}

TEST(Asset, InitializeWithoutAServerLinkLogsAndAttachesNothing) {
    TestSupport::ManualExecutor main;
    auto document = Tessel::DocumentConnection::create(nullptr, nullptr, &main, nullptr);
    Datamodel::Asset asset;
    std::size_t const before = asset.attributes().size();
    TestSupport::CapturedLog log;
    asset.initialize(*document);
    EXPECT_EQ(asset.attributes().size(), before);
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_EQ(log.entries()[0].first, Cobalt::Trace::LEVEL_ERROR);
    EXPECT_EQ(log.entries()[0].second, "Asset::initialize # No connection to determine version");
}

TEST(Asset, InitializeWithAServerLinkLogsNothing) {
    ServerAt server("26.07.5");
    Datamodel::Asset asset;
    TestSupport::CapturedLog log;
    asset.initialize(*server.document);
    EXPECT_TRUE(log.entries().empty());
}

TEST(Asset, AnAttachedPoseAttributeIsFoundAndWritableThroughTheNode) {
    ServerAt server("26.07.3");
    Datamodel::Asset asset;
    asset.initialize(*server.document);
    Attribute* yaw = asset.attribute("model-yaw");
    ASSERT_EQ(yaw, &asset.modelYaw);
    EXPECT_TRUE(yaw->set(1.5f));
    EXPECT_EQ(asset.modelYaw.value(), 1.5f);
}

TEST(Asset, CopyValuesCopiesUserLayerValuesAndLeavesDefaults) {
    Datamodel::Asset source;
    source.originalFilename = QStringLiteral("teapot.glb");
    source.title = QStringLiteral("Teapot");
    source.backdropColor = Cobalt::ColorPMA(0.25f, 0.5f, 0.125f, 1.0f);
    source.modelYaw = 0.75f;
    source.cameraFov = 30.0f;
    source.size = Fathom::SizeT<float>(320.0f, 240.0f);
    source.pinned = true;

    Datamodel::Asset copy;
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.originalFilename.value(), QStringLiteral("teapot.glb"));
    EXPECT_EQ(copy.title.value(), QStringLiteral("Teapot"));
    EXPECT_EQ(copy.backdropColor.value(), Cobalt::ColorPMA(0.25f, 0.5f, 0.125f, 1.0f));
    EXPECT_EQ(copy.modelYaw.value(), 0.75f);
    EXPECT_EQ(copy.cameraFov.value(), 30.0f);
    EXPECT_EQ(copy.size.value(), Fathom::SizeT<float>(320.0f, 240.0f)) << "the item's values come along";
    EXPECT_FALSE(copy.pinned.value()) << "a copy is never pinned";
    EXPECT_FALSE(copy.modelPitch.isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "a value that was only a default stays a default";
    EXPECT_FALSE(copy.modelRoll.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Asset, CopyValuesFromAnotherItemClassReturnsFalseAndCopiesNothing) {
    Datamodel::CanvasItem item;
    item.size = Fathom::SizeT<float>(10.0f, 10.0f);
    Datamodel::Asset asset;
    EXPECT_FALSE(asset.copyValues(item));
    EXPECT_FALSE(asset.size.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Asset, UiTitleIsTheSimplifiedTitleFirst) {
    Datamodel::Asset asset;
    asset.title = QStringLiteral("  My \t model ");
    asset.originalFilename = QStringLiteral("model.glb");
    EXPECT_EQ(asset.uiTitle(), QStringLiteral("My model"));
}

TEST(Asset, UiTitleOfATitleOfOnlyBlanksFallsThroughToTheFileName) {
    Datamodel::Asset asset;
    asset.title = QStringLiteral("   \t ");
    asset.originalFilename = QStringLiteral("  holiday.jpg ");
    EXPECT_EQ(asset.uiTitle(), QStringLiteral("holiday.jpg"));
}

TEST(Asset, UiTitleWithoutTitleOrFileNameIsTheDefault) {
    Datamodel::ImageAsset image;
    image.originalFilename = QStringLiteral(" ");
    EXPECT_EQ(image.uiTitle(), image.uiTitleDefault());
}

TEST(Asset, UiTitleDefaultIsTheClassNameWithoutItsEndingAsset) {
    Datamodel::Asset asset;
    EXPECT_EQ(asset.uiTitleDefault(), QStringLiteral("Datamodel::"));
    Datamodel::PDFAsset pdf;
    EXPECT_EQ(pdf.uiTitleDefault(), QStringLiteral("Datamodel::PDF"));
}

// Each row: a class of this family and the flag bits it hands to the platform.
TEST(Asset, EachClassHandsFlagsZeroToTheElement) {
    Datamodel::Asset asset;
    Datamodel::ImageAsset image;
    Datamodel::PDFAsset pdf;
    struct Row {
        Tessel::Element const* element;
        unsigned flags;
    } const rows[] = {{&asset, 0}, {&image, 0}, {&pdf, 0}};
    for (Row const& row : rows) {
        EXPECT_EQ(row.element->flags().bits(), row.flags) << typeid(*row.element).name();
    }
}

// The files of an asset.

TEST(Asset, InitializeTiesBothFilesToTheDocumentEvenForAServerThatGetsNoPose) {
    LocalDocument local("26.07.2");
    Datamodel::Asset asset;
    auto const source = asset.source.setAssetFromBuffer("model", QStringLiteral("model.glb"));
    auto const companions = asset.companionsSource.setAssetFromBuffer("extras", QStringLiteral("model.bin"));
    asset.initialize(*local.document);
    local.waitFor(source);
    local.waitFor(companions);
    EXPECT_TRUE(source.done.hasValue());
    EXPECT_TRUE(companions.done.hasValue());
    EXPECT_EQ(asset.source.publicHashHex(), hexHashOf("model"));
    EXPECT_EQ(asset.companionsSource.publicHashHex(), hexHashOf("extras"));
    EXPECT_FALSE(isAttached(asset, "backdrop-color")) << "the files don't change what the version gates";
}

TEST(Asset, CopyValuesMakesTheSourceReferToTheSameStoredItemWithoutImporting) {
    LocalDocument local;
    Datamodel::Asset original;
    original.initialize(*local.document);
    local.waitFor(original.source.setAssetFromBuffer("model", QStringLiteral("model.glb")));
    int const items = local.site->storage->itemCount();

    Datamodel::Asset copy;
    copy.initialize(*local.document);
    EXPECT_TRUE(copy.copyValues(original));
    local.sites.deliverUntil([&] { return !copy.source.publicHashHex().isEmpty(); },
                             "the copy got no content");
    EXPECT_EQ(copy.source.publicHashHex(), original.source.publicHashHex());
    EXPECT_EQ(copy.source.item(), original.source.item());
    EXPECT_EQ(local.site->storage->itemCount(), items) << "a copy imports nothing";
}

TEST(Asset, CopyValuesFromAnAssetWhoseItemIsGoneLeavesTheCopyWithoutContent) {
    LocalDocument local;
    Datamodel::Asset original;
    original.source = hexHashOf("not stored here"); // a hash without a local item
    original.initialize(*local.document);
    ASSERT_EQ(original.source.item(), nullptr);

    Datamodel::Asset copy;
    copy.initialize(*local.document);
    local.waitFor(copy.source.setAssetFromBuffer("former", QStringLiteral("former.glb")));
    ASSERT_FALSE(copy.source.publicHashHex().isEmpty());
    EXPECT_TRUE(copy.copyValues(original));
    local.sites.deliverUntil([&] { return copy.source.publicHashHex().isEmpty(); },
                             "the copy kept its former content");
}

TEST(Asset, CopyValuesKeepsTheCompanionsSourceWhenTheOthersItemIsGone) {
    LocalDocument local;
    Datamodel::Asset original;
    original.initialize(*local.document);

    Datamodel::Asset copy;
    copy.initialize(*local.document);
    local.waitFor(copy.source.setAssetFromBuffer("former", QStringLiteral("former.glb")));
    local.waitFor(copy.companionsSource.setAssetFromBuffer("extras", QStringLiteral("extras.bin")));
    EXPECT_TRUE(copy.copyValues(original));
    // The content is cleared on the document's thread; by then the companion data would have gone too.
    local.sites.deliverUntil([&] { return copy.source.publicHashHex().isEmpty(); },
                             "the copy kept its former content");
    local.sites.deliver();
    EXPECT_EQ(copy.companionsSource.publicHashHex(), hexHashOf("extras"))
        << "companion data that the other lacks must stay as it was";
}

TEST(Asset, CopyValuesTakesTheCompanionsSourceWhenTheOthersItemLives) {
    LocalDocument local;
    Datamodel::Asset original;
    original.initialize(*local.document);
    local.waitFor(original.companionsSource.setAssetFromBuffer("extras", QStringLiteral("extras.bin")));

    Datamodel::Asset copy;
    copy.initialize(*local.document);
    EXPECT_TRUE(copy.copyValues(original));
    local.sites.deliverUntil([&] { return !copy.companionsSource.publicHashHex().isEmpty(); },
                             "the copy got no companion data");
    EXPECT_EQ(copy.companionsSource.publicHashHex(), hexHashOf("extras"));
    EXPECT_EQ(copy.companionsSource.item(), original.companionsSource.item());
}

TEST(Asset, FindOriginalFilenameIsTheStoredFilenameFirst) {
    LocalDocument local;
    Datamodel::Asset asset;
    asset.initialize(*local.document);
    local.waitFor(asset.source.setAssetFromBuffer("model", QStringLiteral("imported.glb")));
    asset.originalFilename = QStringLiteral("chosen.glb");
    EXPECT_EQ(asset.findOriginalFilename(), QStringLiteral("chosen.glb"));
}

TEST(Asset, FindOriginalFilenameFallsBackToTheNameOfTheStoredItem) {
    LocalDocument local;
    Datamodel::Asset asset;
    asset.initialize(*local.document);
    local.waitFor(asset.source.setAssetFromBuffer("model", QStringLiteral("imported.glb")));
    ASSERT_EQ(asset.source.assetNode(), nullptr) << "a document of the client's own has no asset nodes";
    EXPECT_EQ(asset.findOriginalFilename(), QStringLiteral("imported.glb"));
}

TEST(Asset, FindOriginalFilenameWithNoNameAnywhereIsANullString) {
    Datamodel::Asset asset;
    asset.source = hexHashOf("nowhere");
    EXPECT_TRUE(asset.findOriginalFilename().isNull());
}

TEST(Asset, FindOriginalFilenamePrefersTheNameTheAssetNodeKnowsToTheItemsName) {
    TestSupport::LiveSites sites;
    sites.keepAssets(true);
    auto& a = sites.join(QStringLiteral("a"));
    auto* image = new Datamodel::ImageAsset();
    Tessel::NodeTransaction transaction(*a.document);
    transaction.addNode(*image, a.canvas());
    auto committed = transaction.commit();
    sites.deliver();
    ASSERT_TRUE(committed.isReady() && committed.hasValue());

    auto const result = image->source.setAssetFromBuffer("pixels", QStringLiteral("imported.png"));
    sites.deliverUntil([&] { return result.done.isReady(); }, "the image was never published");
    sites.deliver();
    Tessel::AssetNode* const node = image->source.assetNode();
    ASSERT_NE(node, nullptr);
    node->setOriginalFileName(QStringLiteral("published.png"));
    EXPECT_EQ(image->findOriginalFilename(), QStringLiteral("published.png"));
    node->setOriginalFileName(QString());
    EXPECT_EQ(image->findOriginalFilename(), QStringLiteral("imported.png"))
        << "a node without a name leaves the item's name";
}
