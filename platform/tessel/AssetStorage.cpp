#include "platform/tessel/AssetStorage.hpp"

#include "platform/tessel/WorkerThread.hpp"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryFile>

#include <stdexcept>

namespace Tessel {

namespace {

// Temporary files of imports; a name that no hash can take.
constexpr char temporaryPattern[] = "import-XXXXXX.part";
constexpr qint64 chunkSize = 1 << 20;

[[noreturn]] void fail(QString const& text) {
    throw std::runtime_error(text.toStdString());
}

/// A new, empty temporary file in `directory` that stays when closed.
std::unique_ptr<QTemporaryFile> temporaryFileIn(QString const& directory) {
    auto file =
        std::make_unique<QTemporaryFile>(QDir(directory).filePath(QString::fromLatin1(temporaryPattern)));
    file->setAutoRemove(false);
    if (!file->open()) {
        fail(QStringLiteral("Can't write in '%1': %2").arg(directory, file->errorString()));
    }
    return file;
}

/// Reads `file` to its end in chunks, giving each to `take`.
template <typename Take>
void readChunks(QFile& file, Take&& take) {
    while (!file.atEnd()) {
        QByteArray const chunk = file.read(chunkSize);
        if (chunk.isEmpty() && file.error() != QFileDevice::NoError) {
            fail(QStringLiteral("Can't read '%1': %2").arg(file.fileName(), file.errorString()));
        }
        take(chunk);
    }
}

} // namespace

AssetStorage::Written AssetStorage::copyInto(QString const& path, QString const& directory) {
    QFile source(path);
    if (!source.open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("Can't read '%1': %2").arg(path, source.errorString()));
    }
    std::unique_ptr<QTemporaryFile> const copy = temporaryFileIn(directory);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    try {
        readChunks(source, [&](QByteArray const& chunk) {
            hash.addData(chunk);
            if (copy->write(chunk) != chunk.size()) {
                fail(QStringLiteral("Can't write in '%1': %2").arg(directory, copy->errorString()));
            }
        });
    } catch (...) {
        copy->remove();
        throw;
    }
    copy->close();
    return Written{copy->fileName(), hash.result()};
}

AssetStorage::Written AssetStorage::moveInto(QString const& path, QString const& directory) {
    QString target;
    {
        std::unique_ptr<QTemporaryFile> const reserved = temporaryFileIn(directory);
        target = reserved->fileName();
        reserved->remove();
    }
    if (!QFile::rename(path, target)) {
        return Written();
    }
    QFile moved(target);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!moved.open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("Can't read '%1': %2").arg(target, moved.errorString()));
    }
    readChunks(moved, [&](QByteArray const& chunk) { hash.addData(chunk); });
    return Written{target, hash.result()};
}

AssetStorage::Item::Item(QByteArray publicHash, QString localPath, QString fileName)
    : m_publicHash(std::move(publicHash)), m_localPath(std::move(localPath)),
      m_fileName(std::move(fileName)) {}

std::shared_ptr<AssetStorage> AssetStorage::create(QString const& directory,
                                                   folly::Executor::KeepAlive<> executor) {
    std::shared_ptr<AssetStorage> storage(new AssetStorage(directory, std::move(executor)));
    storage->adoptStoredFiles();
    return storage;
}

AssetStorage::AssetStorage(QString directory, folly::Executor::KeepAlive<> executor)
    : m_directory(std::move(directory)), m_executor(std::move(executor)),
      m_worker(std::make_unique<WorkerThread>()) {
    QDir().mkpath(m_directory);
}

// The worker's destructor waits for imports under way; what they hand to the owner's thread finds no
// storage and drops its file.
AssetStorage::~AssetStorage() = default;

void AssetStorage::adoptStoredFiles() {
    QDir const directory(m_directory);
    for (QString const& leftover : directory.entryList({QStringLiteral("import-*.part")}, QDir::Files)) {
        QFile::remove(directory.filePath(leftover));
    }
    QRegularExpression const hashName(QStringLiteral("^[0-9a-f]{64}$"));
    for (QString const& name : directory.entryList(QDir::Files)) {
        if (hashName.match(name).hasMatch()) {
            QByteArray const hash = QByteArray::fromHex(name.toLatin1());
            m_items.insert(hash, std::make_shared<Item>(hash, directory.filePath(name), name));
        }
    }
}

folly::Future<std::shared_ptr<AssetStorage::Item>> AssetStorage::importData(QByteArray const& data,
                                                                            QString const& name) {
    QString const directory = m_directory;
    return import(
        [data, directory] {
            std::unique_ptr<QTemporaryFile> const file = temporaryFileIn(directory);
            if (file->write(data) != data.size() || !file->flush()) {
                QString const reason = file->errorString();
                file->remove();
                fail(QStringLiteral("Can't write in '%1': %2").arg(directory, reason));
            }
            return Written{file->fileName(), QCryptographicHash::hash(data, QCryptographicHash::Sha256)};
        },
        name);
}

folly::Future<std::shared_ptr<AssetStorage::Item>> AssetStorage::importFile(QString const& path, QString name,
                                                                            ImportFlags flags) {
    if (name.isEmpty()) {
        name = QFileInfo(path).fileName();
    }
    QString const directory = m_directory;
    bool const temporary = (flags & IMPORT_TEMPORARY) != 0;
    return import(
        [path, directory, temporary] {
            // A temporary file on the storage's disk is moved, not copied.
            Written written = temporary ? moveInto(path, directory) : Written();
            if (written.temporaryPath.isEmpty()) {
                written = copyInto(path, directory);
                if (temporary) {
                    QFile::remove(path);
                }
            }
            return written;
        },
        name);
}

folly::Future<std::shared_ptr<AssetStorage::Item>> AssetStorage::item(QByteArray const& publicHash) {
    return folly::makeFuture(m_items.value(publicHash));
}

folly::Future<std::shared_ptr<AssetStorage::Item>> AssetStorage::import(std::function<Written()> write,
                                                                        QString name) {
    std::weak_ptr<AssetStorage> const weak = weak_from_this();
    return folly::via(m_worker.get())
        .thenValue([write = std::move(write)](folly::Unit) { return write(); })
        .via(m_executor)
        .thenValue([weak, name](Written written) {
            std::shared_ptr<AssetStorage> const storage = weak.lock();
            if (!storage) {
                QFile::remove(written.temporaryPath);
                fail(QStringLiteral("The asset storage is gone"));
            }
            return storage->keep(written, name);
        });
}

std::shared_ptr<AssetStorage::Item> AssetStorage::keep(Written const& written, QString const& name) {
    if (std::shared_ptr<Item> const existing = m_items.value(written.publicHash)) {
        QFile::remove(written.temporaryPath);
        return existing;
    }
    QString const path = QDir(m_directory).filePath(QString::fromLatin1(written.publicHash.toHex()));
    // A file of that name holds that content: the name is its hash.
    if (QFile::exists(path)) {
        QFile::remove(written.temporaryPath);
    } else if (!QFile::rename(written.temporaryPath, path)) {
        QFile::remove(written.temporaryPath);
        fail(QStringLiteral("Can't store '%1' in '%2'").arg(name, m_directory));
    }
    auto const item = std::make_shared<Item>(written.publicHash, path, name);
    m_items.insert(written.publicHash, item);
    itemAdded.raise(item);
    return item;
}

} // namespace Tessel
