// Contents travelling between sites: a client publishes what its storage holds, the server keeps it once,
// checked against its hash, and the other clients fetch it in pieces, their asset nodes telling how far.

#include "tests/support/ExceptionMessage.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/RawClient.hpp"

#include "media/ImageAsset.hpp"
#include "platform/tessel/AssetNode.hpp"
#include "platform/tessel/AssetTransfer.hpp"
#include "platform/tessel/ClientAssets.hpp"
#include "platform/tessel/NodeTransaction.hpp"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <random>
#include <vector>

using Datamodel::ImageAsset;
using Tessel::AssetNode;
using TestSupport::LiveSites;
using ItemPtr = std::shared_ptr<Tessel::AssetStorage::Item>;

namespace {

QByteArray randomBytes(int size, unsigned seed) {
    std::mt19937 random(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

QByteArray contentOf(QString const& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void overwrite(QString const& path, QByteArray const& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

/// Sites that keep files, with an image on the canvas shared by the first client.
class AssetTransferTest : public ::testing::Test {
protected:
    AssetTransferTest() { sites.keepAssets(true); }

    ItemPtr import(LiveSites::Site& site, QByteArray const& bytes,
                   QString const& name = QStringLiteral("a.png")) {
        auto imported = site.storage->importData(bytes, name);
        sites.deliverUntil([&] { return imported.isReady(); }, "the import didn't end");
        return std::move(imported).get();
    }

    /// Publishes `item` into the image's source at `site`; the future of the platform's promise.
    folly::Future<folly::Unit> publish(LiveSites::Site& site, ImageAsset& image, ItemPtr const& item) {
        auto done = std::make_shared<folly::Promise<folly::Unit>>();
        folly::Future<folly::Unit> future = done->getFuture();
        site.document->setAsset(image.source, item, done);
        return future;
    }

    static ImageAsset* imageAt(LiveSites::Site& site, ImageAsset const& image) {
        return dynamic_cast<ImageAsset*>(site.document->findSharedElement(image.guid()));
    }

    QStringList serverFiles() const {
        return QDir(sites.server()->assetStorage().directory()).entryList(QDir::Files);
    }

    static std::string errorOf(folly::Future<folly::Unit>& future) {
        if (!future.isReady() || !future.hasException()) {
            return "no error";
        }
        return TestSupport::messageOf<std::exception>([&] { future.result().exception().throw_exception(); });
    }

    LiveSites sites;
};

} // namespace

TEST_F(AssetTransferTest, APublishedContentReachesTheServerAndAnotherClientWithItsBytes) {
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    QByteArray const bytes = randomBytes(3 * (1 << 20) + 123, 1);
    ItemPtr const item = import(a, bytes);
    auto done = publish(a, image, item);
    sites.deliverUntil([&] { return done.isReady(); }, "the publication didn't end");
    ASSERT_TRUE(done.hasValue()) << errorOf(done);
    EXPECT_EQ(image.source.value(), QString::fromLatin1(item->publicHashHex()));
    EXPECT_EQ(contentOf(sites.server()->assetStorage().findItem(item->publicHash())->localPath()), bytes);

    ImageAsset* const atB = imageAt(b, image);
    ASSERT_NE(atB, nullptr);
    EXPECT_EQ(atB->source.value(), image.source.value());
    ItemPtr const fetched = b.storage->findItem(item->publicHash());
    ASSERT_NE(fetched, nullptr) << "b fetched the content";
    EXPECT_TRUE(fetched->isComplete());
    EXPECT_EQ(contentOf(fetched->localPath()), bytes);
    AssetNode* const node = b.document->assetNode(item->publicHash());
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->clientState(), AssetNode::STATE_READY);
    EXPECT_EQ(node->progress(), AssetNode::Progress(bytes.size(), bytes.size()));
}

TEST_F(AssetTransferTest, AFetchingClientsNodeMovesThroughDownloadingWithGrowingProgressToReady) {
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    QByteArray const bytes = randomBytes(5 * (1 << 20), 2);
    ItemPtr const item = import(a, bytes);
    std::vector<std::pair<int, unsigned long>> seen;
    b.document->assetNodeAdded.addListener([&](AssetNode* node) {
        seen.emplace_back(node->clientState(), node->progress().first);
        node->stateChanged.addListener([&](AssetNode::ClientState state, AssetNode::Progress progress,
                                           QString) { seen.emplace_back(state, progress.first); });
    });
    auto done = publish(a, image, item);
    sites.deliverUntil([&] { return done.isReady() && b.storage->findItem(item->publicHash()); },
                       "b didn't fetch the content");
    ASSERT_GE(seen.size(), 3u);
    EXPECT_EQ(seen.front().first, AssetNode::STATE_DOWNLOADING);
    EXPECT_EQ(seen.back(),
              std::make_pair(int(AssetNode::STATE_READY), static_cast<unsigned long>(bytes.size())));
    for (std::size_t i = 1; i + 1 < seen.size(); ++i) {
        EXPECT_EQ(seen[i].first, AssetNode::STATE_DOWNLOADING);
        EXPECT_GE(seen[i].second, seen[i - 1].second) << "progress never goes back";
    }
}

TEST_F(AssetTransferTest, TheUploadingClientsNodeFollowsTheUploadBeforeTheHashIsWritten) {
    auto& a = sites.join("a");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    ItemPtr const item = import(a, randomBytes(2 * (1 << 20), 3));
    auto done = publish(a, image, item);
    AssetNode* const node = a.document->assetNode(item->publicHash());
    ASSERT_NE(node, nullptr) << "the node exists from the start of the upload";
    EXPECT_EQ(node->clientState(), AssetNode::STATE_UPLOADING);
    EXPECT_TRUE(image.source.value().isEmpty());
    sites.deliverUntil([&] { return done.isReady(); }, "the publication didn't end");
    ASSERT_EQ(a.document->assetNode(item->publicHash()), node) << "the attribute holds it now";
    EXPECT_EQ(node->clientState(), AssetNode::STATE_READY);
}

TEST_F(AssetTransferTest, ContentTheServerHoldsIsNotSentAgain) {
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    ImageAsset& first = sites.addToCanvas<ImageAsset>(a);
    ImageAsset& second = sites.addToCanvas<ImageAsset>(b);
    QByteArray const bytes = randomBytes(3 * (1 << 20), 4);
    auto done = publish(a, first, import(a, bytes));
    sites.deliverUntil([&] { return done.isReady(); }, "the first publication didn't end");
    ItemPtr const again = import(b, bytes);
    int uploadSteps = 0;
    b.connection->assets().transferChanged.addListener([&](QByteArray const&) { ++uploadSteps; });
    auto secondDone = publish(b, *imageAt(b, second), again);
    sites.deliverUntil([&] { return secondDone.isReady(); }, "the second publication didn't end");
    ASSERT_TRUE(secondDone.hasValue()) << errorOf(secondDone);
    EXPECT_EQ(uploadSteps, 2) << "offered, then stored, with no piece pulled";
    EXPECT_EQ(serverFiles().size(), 1);
}

TEST_F(AssetTransferTest, AClientThatJoinsAfterThePublicationFetchesTheContent) {
    auto& a = sites.join("a");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    QByteArray const bytes = randomBytes(100000, 5);
    auto done = publish(a, image, import(a, bytes));
    sites.deliverUntil([&] { return done.isReady(); }, "the publication didn't end");
    auto& late = sites.join("late");
    QByteArray const hash = QByteArray::fromHex(image.source.value().toLatin1());
    sites.deliverUntil([&] { return late.storage->findItem(hash) != nullptr; },
                       "the late client didn't fetch");
    EXPECT_EQ(contentOf(late.storage->findItem(hash)->localPath()), bytes);
    EXPECT_EQ(late.document->assetNode(hash)->clientState(), AssetNode::STATE_READY);
}

TEST_F(AssetTransferTest, AClientWithoutStorageSeesTheContentAsRemote) {
    auto& a = sites.join("a");
    sites.keepAssets(false);
    auto& b = sites.join("b");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    auto done = publish(a, image, import(a, randomBytes(1000, 6)));
    sites.deliverUntil([&] { return done.isReady(); }, "the publication didn't end");
    AssetNode* const node = b.document->assetNode(QByteArray::fromHex(image.source.value().toLatin1()));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->clientState(), AssetNode::STATE_REMOTE);
}

TEST_F(AssetTransferTest, ContentThatArrivesAtTheServerWithTheWrongHashIsRefusedAndNotStored) {
    auto& a = sites.join("a");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    ItemPtr const item = import(a, randomBytes(2 * (1 << 20), 7));
    overwrite(item->localPath(), randomBytes(2 * (1 << 20), 8)); // the file changed under the storage
    auto done = publish(a, image, item);
    sites.deliverUntil([&] { return done.isReady(); }, "the publication didn't end");
    EXPECT_NE(errorOf(done).find("arrived with other content than its hash names"), std::string::npos)
        << errorOf(done);
    EXPECT_TRUE(image.source.value().isEmpty()) << "the hash isn't written";
    EXPECT_TRUE(serverFiles().isEmpty()) << serverFiles().join(QLatin1Char(' ')).toStdString();
    EXPECT_EQ(a.document->assetNode(item->publicHash()), nullptr) << "nothing holds the hash";
}

TEST_F(AssetTransferTest, ContentThatArrivesAtAClientWithTheWrongHashIsRefusedAndNotStored) {
    auto& a = sites.join("a");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    ItemPtr const item = import(a, randomBytes(300000, 9));
    auto done = publish(a, image, item);
    sites.deliverUntil([&] { return done.isReady(); }, "the publication didn't end");
    overwrite(sites.server()->assetStorage().findItem(item->publicHash())->localPath(),
              randomBytes(300000, 10));
    auto& b = sites.join("b");
    AssetNode* const node = b.document->assetNode(item->publicHash());
    ASSERT_NE(node, nullptr);
    sites.deliverUntil([&] { return node->clientState() == AssetNode::STATE_FAILED; },
                       "the fetch didn't fail");
    EXPECT_TRUE(node->errorText().contains(QStringLiteral("arrived with other content")))
        << node->errorText().toStdString();
    EXPECT_EQ(b.storage->findItem(item->publicHash()), nullptr);
    EXPECT_TRUE(QDir(b.storage->directory()).entryList(QDir::Files).isEmpty());
}

TEST_F(AssetTransferTest, AHashThatNamesNoContentFailsTheFetchWithAClearReason) {
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    QByteArray const unknown = QCryptographicHash::hash("never published", QCryptographicHash::Sha256);
    image.source = QString::fromLatin1(unknown.toHex());
    sites.deliver();
    for (auto* site : {&a, &b}) {
        AssetNode* const node = site->document->assetNode(unknown);
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(node->clientState(), AssetNode::STATE_FAILED);
        EXPECT_EQ(node->errorText(), QStringLiteral("The server holds no content for asset %1")
                                         .arg(Tessel::AssetTransfer::shortName(unknown)));
    }
}

TEST_F(AssetTransferTest, PublishingAnItemWhoseFileIsGoneFailsAndChangesNothing) {
    auto& a = sites.join("a");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    ItemPtr const item = import(a, randomBytes(1000, 11));
    QFile::remove(item->localPath());
    auto done = publish(a, image, item);
    sites.deliver();
    EXPECT_EQ(errorOf(done).rfind("Can't read asset ", 0), 0u) << errorOf(done);
    EXPECT_TRUE(image.source.value().isEmpty());
    EXPECT_TRUE(serverFiles().isEmpty());
}

TEST_F(AssetTransferTest, AnAttributeDeletedDuringThePublicationFailsItWithAssetWasDeleted) {
    auto& a = sites.join("a");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    ItemPtr const item = import(a, randomBytes(1000, 12));
    auto done = publish(a, image, item);
    delete &image;
    sites.deliverUntil([&] { return done.isReady(); }, "the publication didn't end");
    EXPECT_EQ(errorOf(done), "Asset was deleted");
    EXPECT_EQ(sites.server()->assetStorage().itemCount(), 1) << "the server kept what it received";
}

TEST_F(AssetTransferTest, ALostConnectionFailsAPublicationUnderWay) {
    auto& a = sites.join("a");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    auto done = publish(a, image, import(a, randomBytes(3 * (1 << 20), 13)));
    a.connection->disconnect();
    sites.deliver();
    EXPECT_EQ(errorOf(done), "Connection lost");
}

TEST_F(AssetTransferTest, AnUploadWhoseClientLeavesIsTakenFromAnotherClientThatOfferedIt) {
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    ImageAsset& atA = sites.addToCanvas<ImageAsset>(a);
    ImageAsset& atBOwn = sites.addToCanvas<ImageAsset>(b);
    QByteArray const bytes = randomBytes(3 * (1 << 20), 14);
    auto first = publish(a, atA, import(a, bytes));
    auto second = publish(b, *imageAt(b, atBOwn), import(b, bytes));
    sites.serverExecutor().drain(); // the server has both offers and pulls from a
    a.connection->disconnect();
    sites.deliverUntil([&] { return second.isReady(); }, "b's publication didn't end");
    EXPECT_TRUE(second.hasValue()) << errorOf(second);
    EXPECT_EQ(contentOf(sites.server()
                            ->assetStorage()
                            .findItem(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256))
                            ->localPath()),
              bytes);
}

TEST_F(AssetTransferTest, ANodeGoesWhenNoAttributeHoldsItsHashAndIsMadeOncePerHash) {
    auto& a = sites.join("a");
    ImageAsset& first = sites.addToCanvas<ImageAsset>(a);
    ImageAsset& second = sites.addToCanvas<ImageAsset>(a);
    ItemPtr const item = import(a, randomBytes(1000, 15));
    int added = 0;
    a.document->assetNodeAdded.addListener([&](AssetNode*) { ++added; });
    auto one = publish(a, first, item);
    auto two = publish(a, second, item);
    sites.deliverUntil([&] { return one.isReady() && two.isReady(); }, "the publications didn't end");
    EXPECT_EQ(added, 1);
    AssetNode* const node = a.document->assetNode(item->publicHash());
    ASSERT_NE(node, nullptr);
    int deleted = 0;
    node->addListener([&] { ++deleted; }, Basalt::Attribute::ROLE_DELETE);
    first.source = QString();
    EXPECT_EQ(deleted, 0) << "the second image still holds it";
    delete &second;
    EXPECT_EQ(deleted, 1);
    EXPECT_EQ(a.document->assetNode(item->publicHash()), nullptr);
}

TEST_F(AssetTransferTest, ANullItemClearsTheAttributeAtEverySite) {
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    auto done = publish(a, image, import(a, randomBytes(1000, 16)));
    sites.deliverUntil([&] { return done.isReady(); }, "the publication didn't end");
    auto cleared = publish(a, image, nullptr);
    sites.deliver();
    ASSERT_TRUE(cleared.isReady() && cleared.hasValue()) << errorOf(cleared);
    EXPECT_TRUE(image.source.value().isEmpty());
    EXPECT_TRUE(imageAt(b, image)->source.value().isEmpty());
}

TEST_F(AssetTransferTest, ADocumentWithoutServerWritesTheHashAtOnce) {
    TestSupport::ManualExecutor executor;
    auto document =
        Tessel::DocumentConnection::create(std::make_unique<ImageAsset>(), nullptr, &executor, nullptr);
    auto& image = static_cast<ImageAsset&>(*document->documentRoot());
    auto& a = sites.join("a");
    ItemPtr const item = import(a, randomBytes(1000, 17));
    auto done = std::make_shared<folly::Promise<folly::Unit>>();
    auto future = done->getFuture();
    document->setAsset(image.source, item, done);
    EXPECT_TRUE(future.isReady() && future.hasValue());
    EXPECT_EQ(image.source.value(), QString::fromLatin1(item->publicHashHex()));
}

TEST_F(AssetTransferTest, MalformedAssetMessagesAreRefusedWhole) {
    sites.join("a");
    TestSupport::RawClient raw(sites);
    Tessel::AssetTransfer::Message pull;
    pull.publicHash = QByteArray(31, 'x'); // one byte short of a hash
    pull.length = 10;
    raw.clearReceived();
    raw.send(Tessel::Wire::MessageKind::AssetPull,
             Tessel::AssetTransfer::write(Tessel::Wire::MessageKind::AssetPull, pull));
    EXPECT_TRUE(raw.received().empty()) << "a malformed pull gets no answer";
    Tessel::AssetTransfer::Message chunk;
    chunk.publicHash = QByteArray(32, 'x');
    chunk.total = 2;
    chunk.bytes = "abc"; // longer than the content it claims to be part of
    raw.send(Tessel::Wire::MessageKind::AssetChunk,
             Tessel::AssetTransfer::write(Tessel::Wire::MessageKind::AssetChunk, chunk));
    EXPECT_TRUE(raw.received().empty());
    EXPECT_TRUE(serverFiles().isEmpty());
}

TEST_F(AssetTransferTest, AnOfferWhoseBytesDontMatchIsRefusedToTheOfferingClient) {
    sites.join("a");
    TestSupport::RawClient raw(sites);
    QByteArray const claimed = QCryptographicHash::hash("the real content", QCryptographicHash::Sha256);
    Tessel::AssetTransfer::Message offer;
    offer.publicHash = claimed;
    offer.length = 5;
    offer.text = QStringLiteral("fake.png");
    raw.clearReceived();
    raw.send(Tessel::Wire::MessageKind::AssetOffer,
             Tessel::AssetTransfer::write(Tessel::Wire::MessageKind::AssetOffer, offer));
    ASSERT_EQ(raw.received().size(), 1u) << "the server pulls the content";
    Tessel::AssetTransfer::Message chunk;
    chunk.publicHash = claimed;
    chunk.total = 5;
    chunk.bytes = "other";
    raw.clearReceived();
    raw.send(Tessel::Wire::MessageKind::AssetChunk,
             Tessel::AssetTransfer::write(Tessel::Wire::MessageKind::AssetChunk, chunk));
    ASSERT_EQ(raw.received().size(), 1u);
    Tessel::Wire::Frame frame;
    QString error;
    ASSERT_TRUE(Tessel::Wire::decodeFrame(raw.received().front(), frame, error));
    EXPECT_EQ(frame.kind, Tessel::Wire::MessageKind::AssetRefused);
    EXPECT_TRUE(serverFiles().isEmpty());
}
