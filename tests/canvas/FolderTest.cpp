#include "canvas/Folder.hpp"

#include "framework/CanvasItem.hpp"
#include "platform/tessel/DocumentConnection.hpp"

#include "tests/support/AssetSites.hpp"
#include "tests/support/CardElement.hpp"
#include "tests/support/DeclaredAttributes.hpp"
#include "tests/support/LiveSites.hpp"

#include <QCryptographicHash>

#include <gtest/gtest.h>

#include <memory>

namespace {

using LocalDocument = TestSupport::LocalAssetDocument;

using Basalt::Attribute;
using Datamodel::Folder;
using Datamodel::FolderItem;

using TestSupport::Card;
using TestSupport::Unknown;

std::shared_ptr<Tessel::ElementFactory> cardFactory() {
    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<Card>("card");
    return factory;
}

QString hexHashOf(QByteArray const& content) {
    return QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
}

std::vector<Tessel::Element*> childElements(Tessel::Element const& element) {
    std::vector<Tessel::Element*> children;
    for (auto const& entry : element.attributes()) {
        if (auto* child = dynamic_cast<Tessel::Element*>(entry.second)) {
            children.push_back(child);
        }
    }
    return children;
}

} // namespace

TEST(Folder, FolderAttributesAreDeclaredInOrderWithTheirDefaults) {
    Folder folder;
    std::vector<TestSupport::DeclaredAttribute> const rows = {
        {"folder-name", "string", "", Attribute::LAYER_DEFAULT},
        {"order", "float", "0", Attribute::LAYER_DEFAULT},
    };
    TestSupport::expectDeclaredAttributes(folder, rows);
    EXPECT_TRUE(folder.hasEventOut("folder-deleted"));
    EXPECT_EQ(folder.flags().bits(), 0u);
}

TEST(Folder, ItemAttributesAreDeclaredInOrderWithTheirDefaults) {
    FolderItem item;
    std::vector<TestSupport::DeclaredAttribute> const rows = {
        {"folder-item-name", "string", "", Attribute::LAYER_DEFAULT},
        {"order", "float", "0", Attribute::LAYER_DEFAULT},
        {"preview", "asset", "", Attribute::LAYER_DEFAULT},
    };
    TestSupport::expectDeclaredAttributes(item, rows);
    EXPECT_EQ(item.flags().bits(), 0u);
}

TEST(Folder, ANewFolderHasAnEmptyNameAndOrderZero) {
    Folder folder;
    EXPECT_TRUE(folder.folderName.value().isEmpty());
    EXPECT_EQ(folder.order.value(), 0.0f);
}

TEST(Folder, DestroyingAFolderRaisesFolderDeletedOnce) {
    int raised = 0;
    QString nameSeen;
    auto folder = std::make_unique<Folder>();
    folder->folderName = QStringLiteral("Uploads");
    Folder* const raw = folder.get();
    folder->eventAddListenerBd("folder-deleted", nullptr, [&](Cobalt::BinaryData&) {
        ++raised;
        nameSeen = raw->folderName.value(); // the folder is still whole when it tells
    });
    EXPECT_EQ(raised, 0);
    folder.reset();
    EXPECT_EQ(raised, 1);
    EXPECT_EQ(nameSeen, QStringLiteral("Uploads"));
}

TEST(Folder, AnEntryWithoutContentHasNoContent) {
    FolderItem item;
    EXPECT_EQ(item.content(), nullptr);
    auto* elsewhere = new Card();
    elsewhere->initName();
    item.addAttribute(elsewhere);
    EXPECT_EQ(item.content(), nullptr) << "only the child named \"content\" counts";
}

TEST(Folder, ContentIsTheCanvasElementNamedContent) {
    FolderItem item;
    auto* card = new Card();
    card->initName();
    item.addAttribute("content", card);
    EXPECT_EQ(item.content(), card);
}

TEST(Folder, ContentOfAnotherKindIsNoContent) {
    FolderItem item;
    auto* plain = new Tessel::Element();
    item.addAttribute("content", plain);
    EXPECT_EQ(item.content(), nullptr);
}

TEST(Folder, ACloneOfAnEntryHasANewGuidItsNameAndItsElementUnderContent) {
    FolderItem item;
    item.initName();
    item.folderItemName = QStringLiteral("Sketch");
    item.order = 4.0f;
    auto* card = new Card();
    card->initName();
    card->title = QStringLiteral("Plan");
    item.addAttribute("content", card);

    std::unique_ptr<Tessel::Element> clone(item.cloneElement(cardFactory()));
    auto* copy = dynamic_cast<FolderItem*>(clone.get());
    ASSERT_TRUE(copy);
    EXPECT_FALSE(copy->guid().isEmpty());
    EXPECT_NE(copy->guid(), item.guid());
    EXPECT_EQ(copy->folderItemName.value(), QStringLiteral("Sketch"));
    EXPECT_EQ(copy->order.value(), 4.0f);
    auto* content = dynamic_cast<Card*>(copy->content());
    ASSERT_TRUE(content) << "the cloned element must sit under the child name \"content\"";
    EXPECT_NE(content, card);
    EXPECT_NE(content->guid(), card->guid());
    EXPECT_EQ(content->title.value(), QStringLiteral("Plan"));
    EXPECT_EQ(childElements(*copy).size(), 1u);
}

TEST(Folder, ACloneNeedsNoFactoryEntryForTheEntryItself) {
    FolderItem item;
    item.folderItemName = QStringLiteral("Loose");
    auto const emptyFactory = std::make_shared<Tessel::ElementFactory>();
    std::unique_ptr<Tessel::Element> clone(item.cloneElement(emptyFactory));
    auto* copy = dynamic_cast<FolderItem*>(clone.get());
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->folderItemName.value(), QStringLiteral("Loose"));
}

TEST(Folder, ACloneKeepsOtherChildrenUnderTheirOwnNamesAndDropsUnknownOnes) {
    FolderItem item;
    auto* content = new Card();
    content->initName();
    item.addAttribute("content", content);
    auto* unknown = new Unknown();
    unknown->initName();
    item.addAttribute(unknown);
    auto* extra = new Card();
    extra->initName();
    item.addAttribute(extra);

    std::unique_ptr<Tessel::Element> clone(item.cloneElement(cardFactory()));
    ASSERT_TRUE(clone);
    std::vector<Tessel::Element*> const children = childElements(*clone);
    ASSERT_EQ(children.size(), 2u) << "an unknown class is left out";
    EXPECT_EQ(children[0]->name(), QByteArray("content"));
    EXPECT_EQ(children[1]->name(), children[1]->guid()) << "another child goes under the clone's own name";
    EXPECT_NE(children[1]->guid(), extra->guid());
}

TEST(Folder, FolderCopyFromAnEntryIsRefused) {
    FolderItem item;
    item.order = 2.0f;
    Folder folder;
    EXPECT_FALSE(folder.copyValues(item));
    EXPECT_FALSE(folder.order.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Folder, FolderCopyTakesUserValuesAndLeavesChildrenAlone) {
    Folder source;
    source.folderName = QStringLiteral("Moodboard");
    auto* entry = new FolderItem();
    entry->initName();
    source.addAttribute(entry);
    Folder target;
    EXPECT_TRUE(target.copyValues(source));
    EXPECT_EQ(target.folderName.value(), QStringLiteral("Moodboard"));
    EXPECT_FALSE(target.order.isValueDefinedOnLayer(Attribute::LAYER_USER)) << "a default isn't copied";
    EXPECT_TRUE(childElements(target).empty());
}

TEST(Folder, EntryCopyTakesUserValuesAndRefusesAnotherClass) {
    FolderItem source;
    source.folderItemName = QStringLiteral("Sketch");
    FolderItem target;
    EXPECT_TRUE(target.copyValues(source));
    EXPECT_EQ(target.folderItemName.value(), QStringLiteral("Sketch"));
    EXPECT_FALSE(target.order.isValueDefinedOnLayer(Attribute::LAYER_USER));

    Folder folder;
    FolderItem untouched;
    EXPECT_FALSE(untouched.copyValues(folder));
}

TEST(Folder, AnEntryHandsItsConnectionToThePreview) {
    LocalDocument local;
    FolderItem item;
    auto const result = item.preview.setAssetFromBuffer("thumbnail", QStringLiteral("thumb.png"));
    EXPECT_FALSE(result.done.isReady()) << "before initialize the preview can't reach the storage";
    item.initialize(*local.document);
    local.waitFor(result);
    EXPECT_TRUE(result.done.hasValue());
    EXPECT_EQ(item.preview.publicHashHex(), hexHashOf("thumbnail"));
}

TEST(Folder, EntryCopyGivesThePreviewTheOthersStoredItemLater) {
    LocalDocument local;
    FolderItem source;
    source.initialize(*local.document);
    local.waitFor(source.preview.setAssetFromBuffer("thumbnail", QStringLiteral("thumb.png")));
    int const items = local.site->storage->itemCount();

    FolderItem target;
    target.initialize(*local.document);
    EXPECT_TRUE(target.copyValues(source));
    EXPECT_TRUE(target.preview.publicHashHex().isEmpty()) << "the copy returns before the preview arrives";
    local.sites.deliverUntil([&] { return !target.preview.publicHashHex().isEmpty(); },
                             "the preview never arrived");
    EXPECT_EQ(target.preview.publicHashHex(), source.preview.publicHashHex());
    EXPECT_EQ(target.preview.item(), source.preview.item());
    EXPECT_EQ(local.site->storage->itemCount(), items) << "the copy imports nothing";
}

TEST(Folder, EntryCopyFromAnEntryWithoutALocalPreviewClearsThePreview) {
    LocalDocument local;
    FolderItem source;
    source.preview = hexHashOf("only on the server"); // no local item for it
    source.initialize(*local.document);
    ASSERT_EQ(source.preview.item(), nullptr);

    FolderItem target;
    target.initialize(*local.document);
    local.waitFor(target.preview.setAssetFromBuffer("old thumbnail", QStringLiteral("old.png")));
    ASSERT_FALSE(target.preview.publicHashHex().isEmpty());
    EXPECT_TRUE(target.copyValues(source));
    local.sites.deliverUntil([&] { return target.preview.publicHashHex().isEmpty(); },
                             "a copy from an entry without a local preview must clear the preview");
}
