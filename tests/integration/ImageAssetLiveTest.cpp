// An image file on a shared canvas, from the import at one client to its bytes at every other: the story a
// user lives when dropping a picture on a canvas that others have open.

#include "tests/support/AssetSites.hpp"
#include "tests/support/ExceptionMessage.hpp"
#include "tests/support/LiveSites.hpp"

#include "media/ImageAsset.hpp"
#include "platform/tessel/NodeTransaction.hpp"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using Datamodel::AssetFile;
using Datamodel::ImageAsset;
using TestSupport::LiveSites;

namespace {

class ImageAssetLiveTest : public ::testing::Test {
protected:
    ImageAssetLiveTest() { sites.keepAssets(true); }

    /// A picture file outside every storage.
    QString writePicture(QByteArray const& bytes) {
        QString const path = m_files.filePath(QStringLiteral("holiday.png"));
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        return path;
    }

    static bool hasPath(ImageAsset const& image) {
        return image.source.localPath().isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER);
    }

    static QByteArray contentOf(QString const& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static ImageAsset* imageAt(LiveSites::Site& site, ImageAsset const& image) {
        return dynamic_cast<ImageAsset*>(site.document->findSharedElement(image.guid()));
    }

    template <typename T>
    static std::string failureOf(folly::Future<T> const& future) {
        return TestSupport::messageOf<std::exception>([&] { future.result().exception().throw_exception(); });
    }

    QTemporaryDir m_files;
    LiveSites sites;
};

QByteArray picture() {
    QByteArray bytes(300000, Qt::Uninitialized);
    for (int i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>((i * 7919) >> 3);
    }
    return bytes;
}

} // namespace

TEST_F(ImageAssetLiveTest, AnImportedImageReachesTheOtherClientHashFirstThenItsBytes) {
    auto& a = sites.join(QStringLiteral("a"));
    auto& b = sites.join(QStringLiteral("b"));
    ImageAsset& atA = sites.addToCanvas<ImageAsset>(a);
    ImageAsset* const atB = imageAt(b, atA);
    ASSERT_NE(atB, nullptr);
    QByteArray const bytes = picture();
    QString const hash =
        QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    bool hashBeforePath = false;
    atB->source.addListener([&] { hashBeforePath = atB->source.publicHashHex() == hash && !hasPath(*atB); },
                            Basalt::Attribute::ROLE_CHANGE);

    AssetFile::SetResult const result =
        atA.source.setAssetFromFile(writePicture(bytes), QStringLiteral("Holiday"));
    TestSupport::waitForSetting(sites, result);
    ASSERT_TRUE(result.done.hasValue()) << failureOf(result.done);
    sites.deliverUntil([&] { return hasPath(*atB); }, "b never got the bytes");

    EXPECT_TRUE(hashBeforePath) << "b knows the hash before the content is there";
    EXPECT_EQ(atB->source.publicHashHex(), hash);
    EXPECT_EQ(contentOf(atB->source.localPath().value()), bytes);
    EXPECT_EQ(atB->source.state(), Tessel::AssetNode::STATE_READY);
}

TEST_F(ImageAssetLiveTest, ACopyOfTheImageSharesTheStoredItemAndImportsNothing) {
    auto& a = sites.join(QStringLiteral("a"));
    auto& b = sites.join(QStringLiteral("b"));
    ImageAsset& original = sites.addToCanvas<ImageAsset>(a);
    TestSupport::waitForSetting(
        sites, original.source.setAssetFromFile(writePicture(picture()), QStringLiteral("Holiday")));
    int imported = 0;
    a.storage->itemAdded.addListener([&](std::shared_ptr<Tessel::AssetStorage::Item> const&) { ++imported; });
    int const filesBefore = QDir(a.storage->directory()).entryList(QDir::Files).size();

    ImageAsset& copy = sites.addToCanvas<ImageAsset>(a);
    ASSERT_TRUE(copy.copyValues(original));
    sites.deliverUntil([&] { return copy.source.publicHashHex() == original.source.publicHashHex(); },
                       "the copy never took the source's hash");
    sites.deliver();
    EXPECT_EQ(copy.source.item(), original.source.item()) << "one stored item for both";
    EXPECT_EQ(imported, 0) << "nothing was imported again";
    EXPECT_EQ(QDir(a.storage->directory()).entryList(QDir::Files).size(), filesBefore);
    ImageAsset* const copyAtB = imageAt(b, copy);
    ASSERT_NE(copyAtB, nullptr);
    EXPECT_EQ(copyAtB->source.publicHashHex(), original.source.publicHashHex());
}

TEST_F(ImageAssetLiveTest, DeletingTheImageBeforeItsImportEndsFailsBothFutures) {
    auto& a = sites.join(QStringLiteral("a"));
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    AssetFile::SetResult const result = image.source.setAssetFromFile(writePicture(picture()), QString());
    Tessel::NodeTransaction removal(*a.document);
    removal.deleteNode(image);
    removal.commit();
    TestSupport::waitForSetting(sites, result);
    EXPECT_EQ(failureOf(result.item), "Asset was deleted");
    EXPECT_EQ(failureOf(result.done), "Asset was deleted");
}

TEST_F(ImageAssetLiveTest, ImportingAFileThatDoesNotExistFailsBothFuturesAndChangesNothing) {
    auto& a = sites.join(QStringLiteral("a"));
    auto& b = sites.join(QStringLiteral("b"));
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    QString const missing = m_files.filePath(QStringLiteral("gone.png"));
    AssetFile::SetResult const result = image.source.setAssetFromFile(missing, QString());
    TestSupport::waitForSetting(sites, result);
    std::string const reason = "Can't read '" + missing.toStdString() + "': ";
    EXPECT_EQ(failureOf(result.item).rfind(reason, 0), 0u) << failureOf(result.item);
    EXPECT_EQ(failureOf(result.done).rfind(reason, 0), 0u) << failureOf(result.done);
    EXPECT_TRUE(image.source.publicHashHex().isEmpty());
    EXPECT_TRUE(imageAt(b, image)->source.publicHashHex().isEmpty());
    EXPECT_EQ(a.storage->itemCount(), 0);
    EXPECT_EQ(sites.server()->assetStorage().itemCount(), 0);
}

TEST_F(ImageAssetLiveTest, AClientThatJoinsAfterTheImportFetchesTheImage) {
    auto& a = sites.join(QStringLiteral("a"));
    ImageAsset& image = sites.addToCanvas<ImageAsset>(a);
    QByteArray const bytes = picture();
    TestSupport::waitForSetting(sites, image.source.setAssetFromFile(writePicture(bytes), QString()));
    auto& late = sites.join(QStringLiteral("late"));
    ImageAsset* const atLate = imageAt(late, image);
    ASSERT_NE(atLate, nullptr);
    sites.deliverUntil([&] { return hasPath(*atLate); }, "the late client never got the bytes");
    EXPECT_EQ(contentOf(atLate->source.localPath().value()), bytes);
}
