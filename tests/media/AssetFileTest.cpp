#include "media/AssetFile.hpp"

#include "attributes/AttributeTypes.hpp"
#include "framework/RegisterTypes.hpp"
#include "media/ImageAsset.hpp"
#include "platform/basalt/Node.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/Uuid.hpp"
#include "tests/support/AssetSites.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/TestExecutors.hpp"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace {

using LocalDocument = TestSupport::LocalAssetDocument;

using Basalt::Attribute;
using Datamodel::AssetFile;
using TestSupport::LiveSites;

QString hexHashOf(QByteArray const& content) {
    return QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
}

/// The text of the exception a ready future failed with; a marker when it holds a value or isn't ready.
template <typename T>
std::string failureOf(folly::Future<T> const& future) {
    if (!future.isReady()) {
        return "<not ready>";
    }
    if (!future.hasException()) {
        return "<a value>";
    }
    auto const* error = future.result().exception().template get_exception<std::exception>();
    return error ? error->what() : "<not a std::exception>";
}

/// Opens the queue of an asset file to tests, for operations that no public call can make.
class OpenAssetFile : public AssetFile {
public:
    using AssetFile::AssetFile;
    using AssetFile::queueItem;
};

/// Every value the attribute takes, in order.
std::shared_ptr<std::vector<std::string>> recordHashes(AssetFile& file) {
    auto seen = std::make_shared<std::vector<std::string>>();
    file.addListener([seen, &file] { seen->push_back(file.publicHashHex().toStdString()); },
                     Attribute::ROLE_CHANGE);
    return seen;
}

template <typename E>
E* sameElementAt(LiveSites::Site& site, Tessel::Element const& element) {
    return dynamic_cast<E*>(site.document->findSharedElement(element.guid()));
}

/// A file of `directory` holding `content`.
QString writeFile(QTemporaryDir const& directory, QString const& name, QByteArray const& content) {
    QString const path = directory.filePath(name);
    QFile out(path);
    EXPECT_TRUE(out.open(QIODevice::WriteOnly) && out.write(content) == content.size())
        << "can't write " << path.toStdString();
    return path;
}

QByteArray contentOf(QString const& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

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

TEST(RegisterTypes, MakesTheAssetTypeAnAssetFileAndAddsOnlyThePermissionsType) {
    Kelp::TypeRegistry registry;
    Basalt::registerAttributeTypes(registry);
    QList<QByteArray> const namesBefore = registry.typeNames();
    Datamodel::registerTypes(registry);
    auto const made = registry.createAttribute("asset");
    EXPECT_NE(dynamic_cast<Datamodel::AssetFile*>(made.get()), nullptr);
    QList<QByteArray> namesAfter = registry.typeNames();
    for (QByteArray const& name : namesBefore) {
        namesAfter.removeOne(name);
    }
    EXPECT_EQ(namesAfter, QList<QByteArray>{"resource-permissions"})
        << "the asset type keeps its entry; the index's permissions are the one type the library adds";
}

// Without a storage and a connection.

TEST(AssetFile, ASettingWithoutAConnectionWaitsAndLeavesTheHash) {
    AssetFile file(QByteArray("source"));
    AssetFile::SetResult const result = file.setAssetFromBuffer("bytes", QStringLiteral("b.bin"));
    EXPECT_FALSE(result.item.isReady()) << "nothing can import before initialize";
    EXPECT_FALSE(result.done.isReady());
    EXPECT_TRUE(file.publicHashHex().isEmpty());
    EXPECT_EQ(file.state(), Tessel::AssetNode::STATE_NONE);
    EXPECT_EQ(file.item(), nullptr);
    EXPECT_EQ(file.assetNode(), nullptr);
}

TEST(AssetFile, ANewSettingFailsTheWaitingOneWithOperationInterrupted) {
    AssetFile file(QByteArray("source"));
    AssetFile::SetResult const first =
        file.setAssetFromFile(QStringLiteral("/tmp/a.png"), QStringLiteral("a"));
    AssetFile::SetResult const second =
        file.setAssetFromFile(QStringLiteral("/tmp/b.png"), QStringLiteral("b"));
    EXPECT_EQ(failureOf(first.item), "Operation interrupted");
    EXPECT_EQ(failureOf(first.done), "Operation interrupted");
    ASSERT_TRUE(first.item.result().exception().is_compatible_with<std::runtime_error>());
    EXPECT_FALSE(second.item.isReady()) << "the newer setting must wait in place of the older";
    EXPECT_FALSE(second.done.isReady());
}

TEST(AssetFile, InitializeOnADocumentWithoutAServerLinkLeavesTheSettingWaiting) {
    TestSupport::ManualExecutor main;
    auto document = Tessel::DocumentConnection::create(nullptr, nullptr, &main, nullptr);
    AssetFile file(QByteArray("source"));
    AssetFile::SetResult const result = file.setAssetFromBuffer("bytes", QStringLiteral("b.bin"));
    file.initialize(*document);
    main.drain();
    EXPECT_FALSE(result.item.isReady()) << "without a storage there is nothing to import into";
    EXPECT_FALSE(result.done.isReady());
    EXPECT_FALSE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));
}

// With a storage and a connection, on a document of the client's own.

TEST(AssetFile, SettingFromABufferImportsPublishesTheHashAndGivesTheLocalPath) {
    LocalDocument local;
    AssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    AssetFile::SetResult const result = file.setAssetFromBuffer("hello", QStringLiteral("greeting.txt"));
    local.waitFor(result);
    ASSERT_TRUE(result.item.hasValue()) << failureOf(result.item);
    ASSERT_TRUE(result.done.hasValue()) << failureOf(result.done);
    AssetFile::ItemPtr const item = result.item.value();
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(file.publicHashHex(), hexHashOf("hello"));
    EXPECT_EQ(file.publicHashBin(), item->publicHash());
    EXPECT_EQ(file.item(), item) << "the attribute follows the storage's item of its hash";
    ASSERT_TRUE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(file.localPath().value(), item->localPath());
    EXPECT_EQ(contentOf(file.localPath().value()), QByteArray("hello"));
}

TEST(AssetFile, SettingFromAFileImportsACopyUnderTheGivenName) {
    LocalDocument local;
    QTemporaryDir outside;
    QString const path = writeFile(outside, QStringLiteral("drawing.png"), "drawing");
    AssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    AssetFile::SetResult const result = file.setAssetFromFile(path, QStringLiteral("Drawing"));
    local.waitFor(result);
    ASSERT_TRUE(result.item.hasValue()) << failureOf(result.item);
    EXPECT_EQ(result.item.value()->fileName(), QStringLiteral("Drawing"));
    EXPECT_EQ(file.publicHashHex(), hexHashOf("drawing"));
    EXPECT_TRUE(QFile::exists(path)) << "a file that isn't temporary is copied, not taken";
}

TEST(AssetFile, SettingFromATemporaryFileLetsTheStorageTakeTheFile) {
    LocalDocument local;
    QTemporaryDir outside;
    QString const path = writeFile(outside, QStringLiteral("capture.tmp"), "capture");
    AssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    AssetFile::SetResult const result = file.setAssetFromTemporaryFile(path, QStringLiteral("capture.png"));
    local.waitFor(result);
    ASSERT_TRUE(result.done.hasValue()) << failureOf(result.done);
    EXPECT_EQ(file.publicHashHex(), hexHashOf("capture"));
    EXPECT_FALSE(QFile::exists(path)) << "a temporary file is moved into the storage";
    EXPECT_EQ(contentOf(file.localPath().value()), QByteArray("capture"));
}

TEST(AssetFile, SetAssetWithAStoredItemPublishesItsHashWithoutImporting) {
    LocalDocument local;
    AssetFile first(QByteArray("source"));
    first.initialize(*local.document);
    AssetFile::SetResult const imported = first.setAssetFromBuffer("shared", QStringLiteral("s"));
    local.waitFor(imported);
    ASSERT_TRUE(imported.item.hasValue()) << failureOf(imported.item);
    int const items = local.storage().itemCount();

    AssetFile second(QByteArray("source"));
    second.initialize(*local.document);
    AssetFile::SetResult const result = second.setAsset(imported.item.value());
    local.waitFor(result);
    ASSERT_TRUE(result.done.hasValue()) << failureOf(result.done);
    EXPECT_EQ(result.item.value(), imported.item.value());
    EXPECT_EQ(second.publicHashHex(), first.publicHashHex());
    EXPECT_EQ(local.storage().itemCount(), items) << "handing over a stored item imports nothing";
}

TEST(AssetFile, SetAssetWithANullItemGoesTheWholeWayAndClearsTheHash) {
    LocalDocument local;
    AssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    local.waitFor(file.setAssetFromBuffer("content", QStringLiteral("c")));
    ASSERT_EQ(file.publicHashHex(), hexHashOf("content"));

    AssetFile::SetResult const result = file.setAsset(nullptr);
    EXPECT_EQ(file.publicHashHex(), hexHashOf("content")) << "the hash changes on the document's thread";
    local.waitFor(result);
    ASSERT_TRUE(result.item.hasValue()) << failureOf(result.item);
    EXPECT_EQ(result.item.value(), nullptr);
    EXPECT_TRUE(result.done.hasValue()) << failureOf(result.done);
    EXPECT_TRUE(file.publicHashHex().isEmpty());
    EXPECT_EQ(file.item(), nullptr);
    EXPECT_FALSE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(AssetFile, ResetClearsTheHashThroughTheSamePath) {
    LocalDocument local;
    AssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    local.waitFor(file.setAssetFromBuffer("content", QStringLiteral("c")));
    ASSERT_FALSE(file.publicHashHex().isEmpty());
    file.reset();
    local.sites.deliverUntil([&] { return file.publicHashHex().isEmpty(); }, "reset never cleared the hash");
    EXPECT_FALSE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(AssetFile, InitializeRunsOnlyTheLastOfTwoWaitingFileSettings) {
    LocalDocument local;
    QTemporaryDir outside;
    QString const firstPath = writeFile(outside, QStringLiteral("first.png"), "first");
    QString const secondPath = writeFile(outside, QStringLiteral("second.png"), "second");
    AssetFile file(QByteArray("source"));
    AssetFile::SetResult const first = file.setAssetFromFile(firstPath, QStringLiteral("first.png"));
    AssetFile::SetResult const second = file.setAssetFromFile(secondPath, QStringLiteral("second.png"));
    EXPECT_EQ(failureOf(first.item), "Operation interrupted");
    EXPECT_EQ(failureOf(first.done), "Operation interrupted");
    file.initialize(*local.document);
    local.waitFor(second);
    ASSERT_TRUE(second.done.hasValue()) << failureOf(second.done);
    EXPECT_EQ(file.publicHashHex(), hexHashOf("second"));
    EXPECT_EQ(local.storage().itemCount(), 1) << "the replaced setting must never import";
}

TEST(AssetFile, InitializeOnADocumentWithoutStorageClearsThePath) {
    LocalDocument local;
    AssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    local.waitFor(file.setAssetFromBuffer("content", QStringLiteral("c")));
    ASSERT_TRUE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));

    TestSupport::ManualExecutor main;
    auto const unlinked = Tessel::DocumentConnection::create(nullptr, nullptr, &main, nullptr);
    file.initialize(*unlinked);
    EXPECT_FALSE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "without a storage there is no local content to point at";
    EXPECT_EQ(file.item(), nullptr);
    EXPECT_EQ(file.publicHashHex(), hexHashOf("content")) << "the document's value stays";
}

TEST(AssetFile, AnImportFailureFailsBothFuturesAndKeepsTheHash) {
    LocalDocument local;
    AssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    local.waitFor(file.setAssetFromBuffer("kept", QStringLiteral("k")));
    QString const missing = QStringLiteral("/nonexistent/folder/picture.png");
    AssetFile::SetResult const result = file.setAssetFromFile(missing, QString());
    local.waitFor(result);
    std::string const failure = failureOf(result.item);
    EXPECT_EQ(failure.rfind("Can't read '/nonexistent/folder/picture.png'", 0), 0u) << failure;
    EXPECT_EQ(failureOf(result.done), failure) << "both futures fail with the import's exception";
    EXPECT_EQ(file.publicHashHex(), hexHashOf("kept"));
}

TEST(AssetFile, DeletingTheAttributeBeforeTheImportEndsFailsBothFuturesWithAssetWasDeleted) {
    LocalDocument local;
    auto file = std::make_unique<AssetFile>(QByteArray("source"));
    file->initialize(*local.document);
    AssetFile::SetResult const result = file->setAssetFromBuffer("orphan", QStringLiteral("o"));
    file.reset(); // the import's result reaches the document's thread only when the test delivers
    local.waitFor(result);
    EXPECT_EQ(failureOf(result.item), "Asset was deleted");
    EXPECT_EQ(failureOf(result.done), "Asset was deleted");
}

// Kept on purpose: the promise of a setting that waited stays after it ran, so the next setting trips over
// it.
TEST(AssetFile, AfterAWaitingSettingRanTheNextSettingThrowsPromiseAlreadySatisfiedAndDoesNotStart) {
    LocalDocument local;
    AssetFile file(QByteArray("source"));
    AssetFile::SetResult const queued = file.setAssetFromBuffer("first", QStringLiteral("1"));
    file.initialize(*local.document);
    local.waitFor(queued);
    ASSERT_TRUE(queued.item.hasValue()) << failureOf(queued.item);
    ASSERT_EQ(file.publicHashHex(), hexHashOf("first"));

    try {
        file.setAssetFromBuffer("second", QStringLiteral("2"));
        ADD_FAILURE() << "the satisfied promise must throw to the caller";
    } catch (folly::PromiseAlreadySatisfied const& error) {
        EXPECT_STREQ(error.what(), "Promise already satisfied");
    }
    EXPECT_THROW(file.reset(), folly::PromiseAlreadySatisfied)
        << "the promise stays, so every later setting trips";
    local.sites.deliver();
    EXPECT_EQ(local.storage().itemCount(), 1) << "the new setting must not start";
    EXPECT_EQ(file.publicHashHex(), hexHashOf("first"));
}

TEST(AssetFile, AWaitingSettingReplacedAfterItStartedFailsAndItsImportNeverBecomesTheHash) {
    LocalDocument local;
    AssetFile file(QByteArray("source"));
    auto const hashes = recordHashes(file);
    AssetFile::SetResult const started = file.setAssetFromBuffer("started", QStringLiteral("1"));
    file.initialize(*local.document); // starts the import; its result waits for the test to deliver
    AssetFile::SetResult const newer = file.setAssetFromBuffer("newer", QStringLiteral("2"));
    EXPECT_EQ(failureOf(started.item), "Operation interrupted");
    EXPECT_EQ(failureOf(started.done), "Operation interrupted");
    local.waitFor(newer);
    local.sites.deliverUntil([&] { return local.storage().itemCount() == 2; },
                             "the interrupted import must go on in the storage");
    ASSERT_TRUE(newer.done.hasValue()) << failureOf(newer.done);
    EXPECT_EQ(*hashes, std::vector<std::string>{hexHashOf("newer").toStdString()})
        << "the interrupted import is discarded";
}

TEST(AssetFile, AnEmptyOperationThrowsBadFunctionCallWhenItRunsAtOnce) {
    LocalDocument local;
    OpenAssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    EXPECT_THROW(file.queueItem(nullptr), std::bad_function_call);
}

TEST(AssetFile, AnEmptyOperationThrowsBadFunctionCallFromTheInitializeThatRunsIt) {
    LocalDocument local;
    OpenAssetFile file(QByteArray("source"));
    AssetFile::SetResult const result = file.queueItem(nullptr);
    EXPECT_FALSE(result.item.isReady());
    EXPECT_THROW(file.initialize(*local.document), std::bad_function_call);
}

TEST(AssetFile, ASettingAfterTheConnectionWentWaitsForTheNextInitialize) {
    LocalDocument local;
    AssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    local.document.reset();
    AssetFile::SetResult const result = file.setAssetFromBuffer("later", QStringLiteral("l"));
    local.sites.deliver();
    EXPECT_FALSE(result.done.isReady()) << "with the connection gone the setting must wait";
    EXPECT_EQ(local.storage().itemCount(), 0);

    auto const next =
        Tessel::DocumentConnection::create(nullptr, nullptr, &local.site->executor, local.site->connection);
    file.initialize(*next);
    local.waitFor(result);
    ASSERT_TRUE(result.done.hasValue()) << failureOf(result.done);
    EXPECT_EQ(file.publicHashHex(), hexHashOf("later"));
}

TEST(AssetFile, AHashWithoutALocalItemHasNoPathUntilTheStorageAddsThatItem) {
    LocalDocument local;
    AssetFile file(QByteArray("source"));
    file = hexHashOf("arrives later");
    file.initialize(*local.document);
    EXPECT_FALSE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(file.item(), nullptr);

    auto other = local.storage().importData("something else", QStringLiteral("x"));
    local.sites.deliverUntil([&] { return other.isReady(); }, "the import didn't end");
    EXPECT_FALSE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "an item of another hash is no news for this attribute";

    auto awaited = local.storage().importData("arrives later", QStringLiteral("y"));
    local.sites.deliverUntil([&] { return awaited.isReady(); }, "the import didn't end");
    local.sites.deliver();
    ASSERT_TRUE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(file.localPath().value(), awaited.value()->localPath());
    EXPECT_EQ(file.item(), awaited.value());
}

TEST(AssetFile, AnItemThatLosesItsContentClearsThePathThroughItsChangeEvent) {
    LocalDocument local;
    AssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    AssetFile::SetResult const result = file.setAssetFromBuffer("fleeting", QStringLiteral("f"));
    local.waitFor(result);
    ASSERT_TRUE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));

    ASSERT_TRUE(local.storage().removeItem(file.publicHashBin()));
    local.sites.deliver();
    EXPECT_FALSE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "a path to content that is gone must not be offered";
    EXPECT_TRUE(file.localPath().value().isEmpty());
    EXPECT_EQ(file.publicHashHex(), hexHashOf("fleeting")) << "the document still refers to the content";
}

TEST(AssetFile, AHashGivenAfterAnInitializeWithoutHashFindsItsItem) {
    LocalDocument local;
    auto stored = local.storage().importData("stored", QStringLiteral("s"));
    local.sites.deliverUntil([&] { return stored.isReady(); }, "the import didn't end");
    AssetFile file(QByteArray("source"));
    file.initialize(*local.document);
    EXPECT_FALSE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));
    file = hexHashOf("stored");
    EXPECT_EQ(file.item(), stored.value());
    EXPECT_EQ(file.localPath().value(), stored.value()->localPath());
}

TEST(AssetFile, AnotherHashFollowsTheItemOfThatHash) {
    LocalDocument local;
    auto first = local.storage().importData("first", QStringLiteral("1"));
    auto second = local.storage().importData("second", QStringLiteral("2"));
    local.sites.deliverUntil([&] { return first.isReady() && second.isReady(); }, "the imports didn't end");
    AssetFile file(QByteArray("source"));
    file = hexHashOf("first");
    file.initialize(*local.document);
    EXPECT_EQ(file.localPath().value(), first.value()->localPath());
    file = hexHashOf("second");
    EXPECT_EQ(file.item(), second.value());
    EXPECT_EQ(file.localPath().value(), second.value()->localPath());
    file = QString();
    EXPECT_EQ(file.item(), nullptr);
    EXPECT_FALSE(file.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER));
}

// On a live document shared by two clients.

TEST(AssetFileLive, APublishedHashReachesTheOtherClientWhichFetchesTheContentAndGetsItsPath) {
    LiveSites sites;
    sites.keepAssets(true);
    auto& a = sites.join(QStringLiteral("a"));
    auto& b = sites.join(QStringLiteral("b"));
    Datamodel::ImageAsset& atA = sites.addToCanvas<Datamodel::ImageAsset>(a);
    AssetFile::SetResult const result = atA.source.setAssetFromBuffer("pixels", QStringLiteral("p.png"));
    TestSupport::waitForSetting(sites, result);
    ASSERT_TRUE(result.done.hasValue()) << failureOf(result.done);
    EXPECT_EQ(atA.source.publicHashHex(), hexHashOf("pixels"));

    auto* atB = sameElementAt<Datamodel::ImageAsset>(b, atA);
    ASSERT_NE(atB, nullptr);
    EXPECT_EQ(atB->source.publicHashHex(), hexHashOf("pixels")) << "the hash travels with the document";
    sites.deliverUntil([&] { return atB->source.localPath().isValueDefinedOnLayer(Attribute::LAYER_USER); },
                       "the other client never got the content");
    EXPECT_EQ(contentOf(atB->source.localPath().value()), QByteArray("pixels"));
    ASSERT_NE(atB->source.item(), nullptr);
    EXPECT_TRUE(atB->source.item()->isComplete());
}

TEST(AssetFileLive, TheAssetNodesStateReachesStateAndTheStateEvent) {
    LiveSites sites;
    sites.keepAssets(true);
    auto& a = sites.join(QStringLiteral("a"));
    Datamodel::ImageAsset& image = sites.addToCanvas<Datamodel::ImageAsset>(a);
    std::vector<Tessel::AssetNode::ClientState> states;
    auto const owner = std::make_shared<int>(0);
    image.source.stateEvent().addListener(owner, [&](Tessel::AssetNode::ClientState state,
                                                     std::pair<unsigned long, unsigned long>,
                                                     QString) { states.push_back(state); });
    TestSupport::waitForSetting(sites, image.source.setAssetFromBuffer("pixels", QStringLiteral("p.png")));
    sites.deliver();
    Tessel::AssetNode* const node = image.source.assetNode();
    ASSERT_NE(node, nullptr) << "a published hash has its node on the connection";
    EXPECT_EQ(node->publicHashBin(), image.source.publicHashBin());
    EXPECT_EQ(image.source.state(), node->clientState());
    EXPECT_NE(image.source.state(), Tessel::AssetNode::STATE_NONE);
    ASSERT_FALSE(states.empty()) << "the node's state must reach the attribute's listeners";
    EXPECT_EQ(states.back(), node->clientState());
}

TEST(AssetFileLive, StateIsNoneBeforeANodeIsFoundAndAgainAfterTheNodeIsDeleted) {
    LiveSites sites;
    sites.keepAssets(true);
    auto& a = sites.join(QStringLiteral("a"));
    Datamodel::ImageAsset& image = sites.addToCanvas<Datamodel::ImageAsset>(a);
    EXPECT_EQ(image.source.state(), Tessel::AssetNode::STATE_NONE);
    EXPECT_EQ(image.source.assetNode(), nullptr);
    TestSupport::waitForSetting(sites, image.source.setAssetFromBuffer("pixels", QStringLiteral("p.png")));
    sites.deliver();
    ASSERT_NE(image.source.assetNode(), nullptr);

    using Raised =
        std::tuple<Tessel::AssetNode::ClientState, std::pair<unsigned long, unsigned long>, QString>;
    std::vector<Raised> raised;
    auto const owner = std::make_shared<int>(0);
    image.source.stateEvent().addListener(
        owner, [&](Tessel::AssetNode::ClientState state, std::pair<unsigned long, unsigned long> progress,
                   QString text) { raised.emplace_back(state, progress, text); });
    image.source.reset();
    sites.deliverUntil([&] { return image.source.publicHashHex().isEmpty(); },
                       "reset never cleared the hash");
    sites.deliver();
    EXPECT_EQ(image.source.assetNode(), nullptr) << "no attribute holds the hash, so its node is gone";
    EXPECT_EQ(image.source.state(), Tessel::AssetNode::STATE_NONE);
    ASSERT_FALSE(raised.empty()) << "the loss of the node must be reported";
    EXPECT_EQ(raised.back(), Raised(Tessel::AssetNode::STATE_NONE, {0, 0}, QString()));
}

TEST(AssetFileLive, AHashArrivingAfterAnInitializeWithoutHashFindsItsNode) {
    LiveSites sites;
    sites.keepAssets(true);
    auto& a = sites.join(QStringLiteral("a"));
    Datamodel::ImageAsset& published = sites.addToCanvas<Datamodel::ImageAsset>(a);
    TestSupport::waitForSetting(sites,
                                published.source.setAssetFromBuffer("pixels", QStringLiteral("p.png")));
    sites.deliver();
    ASSERT_NE(published.source.assetNode(), nullptr);

    Datamodel::ImageAsset& later =
        sites.addToCanvas<Datamodel::ImageAsset>(a); // initialized with an empty hash
    EXPECT_EQ(later.source.assetNode(), nullptr);
    later.source = published.source.publicHashHex();
    sites.deliver();
    EXPECT_EQ(later.source.assetNode(), published.source.assetNode())
        << "the first hash after an empty initialize must start the search for its node";
    EXPECT_EQ(later.source.item(), published.source.item());
}
