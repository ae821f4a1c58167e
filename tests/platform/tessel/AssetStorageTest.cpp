// The content-addressed asset store: files named by their hash, imported on a worker thread and handed out
// on the owner's.

#include "tests/support/ExceptionMessage.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/TestExecutors.hpp"

#include "platform/tessel/AssetStorage.hpp"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTemporaryFile>

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <thread>

using Tessel::AssetStorage;

namespace {

using ItemPtr = std::shared_ptr<AssetStorage::Item>;

/// A storage over a fresh directory, its owner's thread being this one (an executor run by the test).
class AssetStorageTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_directory.isValid()); }

    std::shared_ptr<AssetStorage> const& storage() {
        if (!m_storage) {
            m_storage = AssetStorage::create(path(), folly::getKeepAliveToken(&m_owner));
        }
        return m_storage;
    }
    QString path() const { return m_directory.path() + QStringLiteral("/assets"); }
    QStringList filesInStorage() const { return QDir(path()).entryList(QDir::Files); }

    /// Runs the owner's work until `future` is ready; throws `std::runtime_error` after five seconds.
    template <typename T>
    T wait(folly::Future<T>&& future) {
        auto const limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!future.isReady()) {
            if (std::chrono::steady_clock::now() > limit) {
                throw std::runtime_error("the import didn't end");
            }
            m_owner.drain();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return std::move(future).get();
    }

    /// A file outside the storage holding `content`.
    QString writeOutside(QString const& name, QByteArray const& content) const {
        QString const file = m_directory.path() + QLatin1Char('/') + name;
        QFile out(file);
        EXPECT_TRUE(out.open(QIODevice::WriteOnly) && out.write(content) == content.size());
        return file;
    }

    static QByteArray contentOf(QString const& file) {
        QFile in(file);
        return in.open(QIODevice::ReadOnly) ? in.readAll() : QByteArray();
    }

    TestSupport::ManualExecutor m_owner;
    QTemporaryDir m_directory;
    std::shared_ptr<AssetStorage> m_storage;
};

} // namespace

TEST_F(AssetStorageTest, ImportedBytesLieUnderTheirHashAndAreComplete) {
    ItemPtr const item = wait(storage()->importData("hello", QStringLiteral("greeting.txt")));
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->publicHashHex(),
              QByteArray("2cf24dba5fb0a30e26e83b2ac5b9e29e1b161e5c1fa7425e73043362938b9824"))
        << "the public hash is SHA-256 of the content";
    EXPECT_EQ(item->localPath(), QDir(path()).filePath(QString::fromLatin1(item->publicHashHex())));
    EXPECT_EQ(contentOf(item->localPath()), QByteArray("hello"));
    EXPECT_EQ(item->fileName(), QStringLiteral("greeting.txt"));
    EXPECT_TRUE(item->isComplete());
    EXPECT_EQ(filesInStorage(), QStringList{QString::fromLatin1(item->publicHashHex())})
        << "no temporary file is left";
}

TEST_F(AssetStorageTest, TheSameBytesImportedTwiceGiveOneItemAndOneFile) {
    int added = 0;
    storage()->itemAdded.addListener([&](ItemPtr const&) { ++added; });
    // Both are under way before either ends.
    auto first = storage()->importData("same", QStringLiteral("one"));
    auto second = storage()->importData("same", QStringLiteral("two"));
    ItemPtr const one = wait(std::move(first));
    ItemPtr const two = wait(std::move(second));

    EXPECT_EQ(one, two) << "one item for one content";
    EXPECT_EQ(filesInStorage().size(), 1) << "one file for one content";
    EXPECT_EQ(added, 1);
    EXPECT_EQ(storage()->itemCount(), 1);
}

TEST_F(AssetStorageTest, AFileIsCopiedUnderItsOwnNameByDefault) {
    QString const original = writeOutside(QStringLiteral("photo.png"), "pixels");
    ItemPtr const item = wait(storage()->importFile(original, QString(), 0));
    EXPECT_TRUE(QFile::exists(original)) << "the caller's file stays";
    EXPECT_EQ(item->fileName(), QStringLiteral("photo.png"));
    EXPECT_EQ(contentOf(item->localPath()), QByteArray("pixels"));
}

TEST_F(AssetStorageTest, ATemporaryFileIsMovedIntoTheStorage) {
    QString const original = writeOutside(QStringLiteral("upload.tmp"), "uploaded");
    ItemPtr const item =
        wait(storage()->importFile(original, QStringLiteral("report.pdf"), AssetStorage::IMPORT_TEMPORARY));
    EXPECT_FALSE(QFile::exists(original)) << "a temporary file is taken, not copied";
    EXPECT_EQ(contentOf(item->localPath()), QByteArray("uploaded"));
    EXPECT_EQ(item->publicHash(), QCryptographicHash::hash("uploaded", QCryptographicHash::Sha256));
}

TEST_F(AssetStorageTest, ALargeFileIsHashedWhole) {
    QByteArray content(3 * 1024 * 1024 + 17, 'a');
    for (int i = 0; i < content.size(); i += 4093) {
        content[i] = static_cast<char>(i % 251);
    }
    ItemPtr const item =
        wait(storage()->importFile(writeOutside(QStringLiteral("big.bin"), content), QString(), 0));
    EXPECT_EQ(item->publicHash(), QCryptographicHash::hash(content, QCryptographicHash::Sha256));
    EXPECT_EQ(contentOf(item->localPath()), content);
}

TEST_F(AssetStorageTest, AFileThatCantBeReadFailsWithItsPathAndLeavesNothing) {
    QString const missing = m_directory.path() + QStringLiteral("/missing.png");
    auto failed = storage()->importFile(missing, QString(), 0);
    std::string const message = TestSupport::messageOf<std::runtime_error>([&] { wait(std::move(failed)); });
    EXPECT_EQ(message.rfind("Can't read '" + missing.toStdString() + "': ", 0), 0u) << message;
    EXPECT_TRUE(filesInStorage().isEmpty());
    EXPECT_EQ(storage()->itemCount(), 0);
}

TEST_F(AssetStorageTest, ItemFindsStoredContentAndNothingElse) {
    ItemPtr const stored = wait(storage()->importData("kept", QStringLiteral("kept.txt")));
    EXPECT_EQ(wait(storage()->item(stored->publicHash())), stored);
    EXPECT_EQ(wait(storage()->item(QCryptographicHash::hash("other", QCryptographicHash::Sha256))), nullptr);
}

TEST_F(AssetStorageTest, AStorageOpenedAgainKnowsItsFilesAndDropsLeftoverTemporaries) {
    QByteArray hash;
    {
        ItemPtr const stored = wait(storage()->importData("lasting", QStringLiteral("lasting.txt")));
        hash = stored->publicHash();
        m_storage.reset();
    }
    QString const leftover = QDir(path()).filePath(QStringLiteral("import-Ab12Cd.part"));
    QFile partial(leftover);
    ASSERT_TRUE(partial.open(QIODevice::WriteOnly));
    partial.close();

    ItemPtr const found = wait(storage()->item(hash));
    ASSERT_NE(found, nullptr) << "the file stored before is known";
    EXPECT_EQ(contentOf(found->localPath()), QByteArray("lasting"));
    EXPECT_FALSE(QFile::exists(leftover)) << "a crashed import's temporary file is removed";
}

TEST_F(AssetStorageTest, ItemsAreHandedOutAndAnnouncedOnTheOwnersThread) {
    std::thread::id announcedOn;
    storage()->itemAdded.addListener([&](ItemPtr const&) { announcedOn = std::this_thread::get_id(); });
    std::thread::id continuedOn;
    auto future = storage()->importData("threaded", QString()).thenValue([&](ItemPtr item) {
        continuedOn = std::this_thread::get_id();
        return item;
    });
    wait(std::move(future));
    EXPECT_EQ(announcedOn, std::this_thread::get_id());
    EXPECT_EQ(continuedOn, std::this_thread::get_id());
}

TEST_F(AssetStorageTest, AnEmptyBufferOrFileIsRefusedAndLeavesNothing) {
    auto emptyBuffer = storage()->importData(QByteArray(), QStringLiteral("nothing.png"));
    EXPECT_EQ(TestSupport::messageOf<std::runtime_error>([&] { wait(std::move(emptyBuffer)); }),
              "Nothing to import: 'nothing.png' is empty");
    QString const emptyFile = writeOutside(QStringLiteral("empty.png"), QByteArray());
    auto fromFile = storage()->importFile(emptyFile, QString(), 0);
    EXPECT_EQ(TestSupport::messageOf<std::runtime_error>([&] { wait(std::move(fromFile)); }),
              "Nothing to import: '" + emptyFile.toStdString() + "' is empty");
    EXPECT_TRUE(filesInStorage().isEmpty());
    EXPECT_EQ(storage()->itemCount(), 0);
}

TEST_F(AssetStorageTest, ADirectoryWithoutWritePermissionFailsTheImportAndStaysUnchanged) {
    ItemPtr const kept = wait(storage()->importData("before", QStringLiteral("before.txt")));
    QFile::Permissions const writable = QFile(path()).permissions();
    ASSERT_TRUE(
        QFile(path()).setPermissions(QFile::ReadOwner | QFile::ExeOwner | QFile::ReadUser | QFile::ExeUser));
    auto refused = storage()->importData("after", QStringLiteral("after.txt"));
    std::string const message = TestSupport::messageOf<std::runtime_error>([&] { wait(std::move(refused)); });
    QFile(path()).setPermissions(writable);
    EXPECT_EQ(message, "Can't write in '" + path().toStdString() + "': the directory is read-only");
    EXPECT_EQ(filesInStorage(), QStringList{QString::fromLatin1(kept->publicHashHex())});
    EXPECT_EQ(storage()->itemCount(), 1);
}

TEST_F(AssetStorageTest, AFileImportedAgainIsOnlyHashedAndNotCopied) {
    QString const original = writeOutside(QStringLiteral("photo.png"), "pixels");
    ItemPtr const first = wait(storage()->importFile(original, QString(), 0));
    QDateTime const storedAt = QFileInfo(first->localPath()).lastModified();
    int added = 0;
    storage()->itemAdded.addListener([&](ItemPtr const&) { ++added; });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ItemPtr const second = wait(storage()->importFile(original, QString(), 0));
    EXPECT_EQ(second, first);
    EXPECT_EQ(added, 0);
    EXPECT_EQ(QFileInfo(first->localPath()).lastModified(), storedAt)
        << "the stored file wasn't written again";
    EXPECT_EQ(filesInStorage().size(), 1) << "no temporary copy is left either";
}

TEST_F(AssetStorageTest, ANewFileOfTheSameSizeAsAStoredOneIsStoredBesideIt) {
    ItemPtr const first =
        wait(storage()->importFile(writeOutside(QStringLiteral("a.txt"), "aaaa"), QString(), 0));
    ItemPtr const second =
        wait(storage()->importFile(writeOutside(QStringLiteral("b.txt"), "bbbb"), QString(), 0));
    EXPECT_NE(first, second);
    EXPECT_EQ(contentOf(first->localPath()), QByteArray("aaaa"));
    EXPECT_EQ(contentOf(second->localPath()), QByteArray("bbbb"));
    EXPECT_EQ(filesInStorage().size(), 2);
}

TEST_F(AssetStorageTest, ARemovedItemLosesItsContentSaysSoAndLeavesTheStorage) {
    ItemPtr const item = wait(storage()->importData("fleeting", QStringLiteral("fleeting.txt")));
    int changes = 0;
    item->changed.addListener([&] { ++changes; });
    EXPECT_TRUE(storage()->removeItem(item->publicHash()));
    EXPECT_FALSE(item->isComplete());
    EXPECT_EQ(changes, 1);
    EXPECT_FALSE(QFile::exists(item->localPath()));
    EXPECT_EQ(storage()->findItem(item->publicHash()), nullptr);
    EXPECT_FALSE(storage()->removeItem(item->publicHash())) << "nothing is left to remove";
}

TEST_F(AssetStorageTest, AdoptedFileBecomesTheItemOfItsHashOrGoesWhenTheContentIsThere) {
    auto write = [&](QByteArray const& bytes) {
        std::unique_ptr<QTemporaryFile> const file = storage()->createTemporaryFile();
        file->write(bytes);
        file->close();
        return file->fileName();
    };
    QByteArray const hash = QCryptographicHash::hash("arrived", QCryptographicHash::Sha256);
    ItemPtr const item = storage()->adopt(write("arrived"), hash, QStringLiteral("arrived.txt"));
    EXPECT_EQ(contentOf(item->localPath()), QByteArray("arrived"));
    EXPECT_EQ(storage()->adopt(write("arrived"), hash, QStringLiteral("again.txt")), item);
    EXPECT_EQ(filesInStorage(), QStringList{QString::fromLatin1(hash.toHex())});
}

TEST(ConnectionManager, AClientHasTheAssetStorageItJoinedWithOrNone) {
    TestSupport::ManualExecutor owner;
    QTemporaryDir directory;
    auto const storage = AssetStorage::create(directory.path(), folly::getKeepAliveToken(&owner));
    TestSupport::LiveSites sites;
    auto& plain = sites.connect("plain");
    EXPECT_NE(plain.connection->connectionManager(), nullptr);
    EXPECT_EQ(plain.connection->connectionManager()->assetStorage(), nullptr) << "a client may keep no files";

    TestSupport::ManualExecutor clientExecutor;
    auto joined = Tessel::ClientToServerConnection::connect(
        sites.server()->connectInProcess(folly::getKeepAliveToken(&clientExecutor)), {"with", "user", 0},
        folly::getKeepAliveToken(&clientExecutor), sites.registry(),
        std::make_shared<Tessel::ConnectionManager>(storage));
    for (int i = 0; i < 10 && !joined.isReady(); ++i) {
        sites.deliver();
        clientExecutor.drain();
    }
    ASSERT_TRUE(joined.isReady());
    EXPECT_EQ(std::move(joined).get()->connectionManager()->assetStorage(), storage);
}
