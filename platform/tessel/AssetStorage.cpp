#include "platform/tessel/AssetStorage.hpp"

#include "platform/tessel/WorkerThread.hpp"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryFile>

#include <future>
#include <stdexcept>

namespace Tessel {

namespace {

// Temporary files of imports; a name that no hash can take.
constexpr char temporaryPattern[] = "import-XXXXXX.part";
constexpr qint64 chunkSize = 1 << 20;

[[noreturn]] void fail(QString const& text) {
    throw std::runtime_error(text.toStdString());
}

/// Refuses to write where the permission bits forbid it for everyone, which a superuser's writes would
/// ignore: a store marked read-only stays unchanged.
void requireWritable(QString const& directory) {
    QFileInfo const info(directory);
    QFileDevice::Permissions const anyWrite =
        QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
    if (!info.isDir()) {
        fail(QStringLiteral("Can't write in '%1': it is not a directory").arg(directory));
    }
    if (!(info.permissions() & anyWrite)) {
        fail(QStringLiteral("Can't write in '%1': the directory is read-only").arg(directory));
    }
}

/// A new, empty temporary file in `directory` that stays when closed.
std::unique_ptr<QTemporaryFile> temporaryFileIn(QString const& directory) {
    requireWritable(directory);
    auto file =
        std::make_unique<QTemporaryFile>(QDir(directory).filePath(QString::fromLatin1(temporaryPattern)));
    file->setAutoRemove(false);
    if (!file->open()) {
        fail(QStringLiteral("Can't write in '%1': %2").arg(directory, file->errorString()));
    }
    return file;
}

/// A free temporary name in `directory`, for a file that another call makes.
QString temporaryNameIn(QString const& directory) {
    std::unique_ptr<QTemporaryFile> const reserved = temporaryFileIn(directory);
    QString const name = reserved->fileName();
    reserved->remove();
    return name;
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

void refuseEmpty(qint64 size, QString const& what) {
    if (size == 0) {
        fail(QStringLiteral("Nothing to import: '%1' is empty").arg(what));
    }
}

/// SHA-256 of the whole file at `path`.
QByteArray hashOfFile(QString const& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("Can't read '%1': %2").arg(path, file.errorString()));
    }
    QCryptographicHash hash(QCryptographicHash::Sha256);
    readChunks(file, [&](QByteArray const& chunk) { hash.addData(chunk); });
    return hash.result();
}

/// Copies the file at `path` to `target`, which must not exist; the reason when it fails, else null.
QString copyFile(QString const& path, QString const& target) {
    QFile source(path);
    return source.copy(target) ? QString() : source.errorString();
}

/// Where the content of `publicHash` lies in `directory`.
QString storedPath(QString const& directory, QByteArray const& publicHash) {
    return QDir(directory).filePath(QString::fromLatin1(publicHash.toHex()));
}

} // namespace

void AssetStorage::Sizes::add(qint64 size) {
    std::lock_guard<std::mutex> const lock(m_mutex);
    m_sizes.insert(size);
}

void AssetStorage::Sizes::remove(qint64 size) {
    std::lock_guard<std::mutex> const lock(m_mutex);
    auto const found = m_sizes.find(size);
    if (found != m_sizes.end()) {
        m_sizes.erase(found);
    }
}

bool AssetStorage::Sizes::contains(qint64 size) const {
    std::lock_guard<std::mutex> const lock(m_mutex);
    return m_sizes.count(size) > 0;
}

AssetStorage::Written AssetStorage::copyInto(QString const& path, QString const& directory,
                                             Sizes const& stored) {
    QFileInfo const before(path);
    refuseEmpty(before.exists() ? before.size() : -1, path);
    Written written;
    std::future<QString> copied;
    if (!stored.contains(before.size())) {
        // No stored content has this size, so this one is new: the copy runs beside the hash.
        written.temporaryPath = temporaryNameIn(directory);
        copied = std::async(std::launch::async, copyFile, path, written.temporaryPath);
    }
    try {
        written.publicHash = hashOfFile(path);
    } catch (...) {
        if (copied.valid()) {
            copied.wait();
            QFile::remove(written.temporaryPath);
        }
        throw;
    }
    QString copyError;
    if (copied.valid()) {
        copyError = copied.get();
    } else if (QFile::exists(storedPath(directory, written.publicHash))) {
        return written;
    } else {
        written.temporaryPath = temporaryNameIn(directory);
        copyError = copyFile(path, written.temporaryPath);
    }
    if (!copyError.isNull()) {
        QFile::remove(written.temporaryPath);
        fail(QStringLiteral("Can't write in '%1': %2").arg(directory, copyError));
    }
    // The file was read twice, to hash and to copy; a file written in between would be stored under a hash
    // that isn't its content's.
    QFileInfo const after(path);
    if (after.size() != before.size() || after.lastModified() != before.lastModified() ||
        QFileInfo(written.temporaryPath).size() != before.size()) {
        QFile::remove(written.temporaryPath);
        fail(QStringLiteral("'%1' changed while it was imported").arg(path));
    }
    return written;
}

AssetStorage::Written AssetStorage::moveInto(QString const& path, QString const& directory) {
    refuseEmpty(QFileInfo::exists(path) ? QFileInfo(path).size() : -1, path);
    QString const target = temporaryNameIn(directory);
    if (!QFile::rename(path, target)) {
        return Written();
    }
    return Written{target, hashOfFile(target)};
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
      m_worker(std::make_unique<WorkerThread>()), m_sizes(std::make_shared<Sizes>()) {
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
            insertItem(std::make_shared<Item>(hash, directory.filePath(name), name));
        }
    }
}

folly::Future<std::shared_ptr<AssetStorage::Item>> AssetStorage::importData(QByteArray const& data,
                                                                            QString const& name) {
    QString const directory = m_directory;
    return import(
        [data, directory, name] {
            refuseEmpty(data.size(), name);
            Written written{QString(), QCryptographicHash::hash(data, QCryptographicHash::Sha256)};
            if (QFile::exists(storedPath(directory, written.publicHash))) {
                return written;
            }
            std::unique_ptr<QTemporaryFile> const file = temporaryFileIn(directory);
            if (file->write(data) != data.size() || !file->flush()) {
                QString const reason = file->errorString();
                file->remove();
                fail(QStringLiteral("Can't write in '%1': %2").arg(directory, reason));
            }
            written.temporaryPath = file->fileName();
            return written;
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
    std::shared_ptr<Sizes const> const sizes = m_sizes;
    return import(
        [path, directory, temporary, sizes] {
            // A temporary file on the storage's disk is moved, not copied.
            Written written = temporary ? moveInto(path, directory) : Written();
            if (written.publicHash.isEmpty()) {
                written = copyInto(path, directory, *sizes);
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
    auto const dropTemporary = [&written] {
        if (!written.temporaryPath.isEmpty()) {
            QFile::remove(written.temporaryPath);
        }
    };
    if (std::shared_ptr<Item> const existing = m_items.value(written.publicHash)) {
        dropTemporary();
        return existing;
    }
    QString const path = storedPath(m_directory, written.publicHash);
    // A file of that name holds that content: the name is its hash.
    if (QFile::exists(path)) {
        dropTemporary();
    } else if (written.temporaryPath.isEmpty() || !QFile::rename(written.temporaryPath, path)) {
        dropTemporary();
        fail(QStringLiteral("Can't store '%1' in '%2'").arg(name, m_directory));
    }
    auto const item = std::make_shared<Item>(written.publicHash, path, name);
    insertItem(item);
    itemAdded.raise(item);
    return item;
}

std::unique_ptr<QTemporaryFile> AssetStorage::createTemporaryFile() const {
    return temporaryFileIn(m_directory);
}

std::shared_ptr<AssetStorage::Item> AssetStorage::adopt(QString const& temporaryPath,
                                                        QByteArray const& publicHash, QString const& name) {
    return keep(Written{temporaryPath, publicHash}, name);
}

void AssetStorage::insertItem(std::shared_ptr<Item> const& item) {
    m_items.insert(item->publicHash(), item);
    m_sizes->add(QFileInfo(item->localPath()).size());
}

bool AssetStorage::removeItem(QByteArray const& publicHash) {
    std::shared_ptr<Item> const item = m_items.take(publicHash);
    if (!item) {
        return false;
    }
    m_sizes->remove(QFileInfo(item->localPath()).size());
    QFile::remove(item->localPath());
    item->m_complete = false;
    item->changed.raise();
    return true;
}

} // namespace Tessel
