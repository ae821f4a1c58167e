#pragma once

#include "attributes/Event.hpp"

#include "folly/Executor.h"
#include "folly/futures/Future.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <memory>
#include <mutex>
#include <set>

class QTemporaryFile;

namespace Tessel {

class WorkerThread;

/// A client's store of files, addressed by content: each file lies under the storage's directory, named by
/// its public hash (SHA-256 of the content, in hexadecimal), so that the same bytes are stored once
/// however often they are imported.
///
/// Imports hash and copy on a thread of the storage's own and complete on the owner's executor, where
/// items are handed out and events raised. A content is hashed before it is copied, so a content that the
/// storage holds already costs one hash and no copy. An import writes to a temporary name in the directory
/// and renames the file to its hash at the end: a crash never leaves part of a file under a hash name, and
/// the temporary files it may leave are removed when a storage opens the directory again. Empty contents
/// are refused, and so is a directory that nobody may write (its permission bits are honoured even for a
/// superuser). Made with `create`, held by a shared pointer; used from the owner's thread.
class AssetStorage : public std::enable_shared_from_this<AssetStorage> {
public:
    enum ImportFlag : unsigned {
        /// The file is a temporary one of the caller's: it is moved into the storage, not copied.
        IMPORT_TEMPORARY = 1,
    };
    using ImportFlags = unsigned;

    /// One stored content.
    class Item {
    public:
        Item(QByteArray publicHash, QString localPath, QString fileName);

        /// SHA-256 of the content, 32 bytes.
        QByteArray const& publicHash() const { return m_publicHash; }
        QByteArray publicHashHex() const { return m_publicHash.toHex(); }
        /// Where the content lies.
        QString const& localPath() const { return m_localPath; }
        /// The name the content was imported under (a file's own name by default).
        QString const& fileName() const { return m_fileName; }
        /// Whether the whole content is here: true from the moment the storage hands the item out, until
        /// the storage lets the content go (`removeItem`).
        bool isComplete() const { return m_complete; }

        /// Raised when the item changes.
        Basalt::Event<> changed;

    private:
        friend class AssetStorage;

        QByteArray m_publicHash;
        QString m_localPath;
        QString m_fileName;
        bool m_complete = true;
    };

    /// A storage over `directory`, made if missing, knowing the contents already there. Items are handed
    /// out and events raised on `executor`, the owner's thread, which must outlive the storage's work.
    static std::shared_ptr<AssetStorage> create(QString const& directory,
                                                folly::Executor::KeepAlive<> executor);
    ~AssetStorage();
    AssetStorage(AssetStorage const&) = delete;
    AssetStorage& operator=(AssetStorage const&) = delete;

    QString const& directory() const { return m_directory; }

    /// Stores `data` under `name`. The item of the same content when there is one already.
    folly::Future<std::shared_ptr<Item>> importData(QByteArray const& data, QString const& name);
    /// Stores the file at `path` under `name` (its own file name when empty): a copy, or the file itself
    /// with `IMPORT_TEMPORARY`. Fails with "Can't read '<path>': <reason>" when the file can't be read, and
    /// with "'<path>' changed while it was imported" when it changed between hashing and copying.
    folly::Future<std::shared_ptr<Item>> importFile(QString const& path, QString name, ImportFlags flags);
    /// The item of a public hash (32 bytes), ready at once; null when the storage has none.
    folly::Future<std::shared_ptr<Item>> item(QByteArray const& publicHash);
    /// The same, at once.
    std::shared_ptr<Item> findItem(QByteArray const& publicHash) const { return m_items.value(publicHash); }
    /// The number of items.
    int itemCount() const { return m_items.size(); }
    /// Lets a content go: its file is removed, its item is no longer complete (and says so through
    /// `changed`) and leaves the storage. False when the storage has no such item.
    bool removeItem(QByteArray const& publicHash);

    // For contents that arrive in pieces (from a server or a client): they are written to a temporary file of
    // the storage, hashed as they come, and adopted whole.

    /// A new, empty temporary file in the directory, kept when closed. Throws `std::runtime_error` with
    /// "Can't write in '<directory>': <reason>" when none can be made.
    std::unique_ptr<QTemporaryFile> createTemporaryFile() const;
    /// Makes the whole file at `temporaryPath` (in the directory), whose content hashes to `publicHash`, the
    /// item of that hash, or removes it when the storage has the content already. Throws
    /// `std::runtime_error` when it can't be stored.
    std::shared_ptr<Item> adopt(QString const& temporaryPath, QByteArray const& publicHash,
                                QString const& name);

    /// Raised on the owner's thread with each item that a storage gains.
    Basalt::Event<std::shared_ptr<Item>> itemAdded;

private:
    /// What the worker made of an import: the hash of the content and, unless the directory holds that
    /// content already, a temporary file in the directory with it.
    struct Written {
        QString temporaryPath;
        QByteArray publicHash;
    };

    AssetStorage(QString directory, folly::Executor::KeepAlive<> executor);
    /// The sizes of the stored contents, shared with the worker: a file whose size no stored content has is
    /// new, and is copied while it is hashed.
    class Sizes {
    public:
        void add(qint64 size);
        void remove(qint64 size);
        bool contains(qint64 size) const;

    private:
        mutable std::mutex m_mutex;
        std::multiset<qint64> m_sizes;
    };

    /// On the worker: hashes the file at `path` and, unless `directory` holds its content, copies it into a
    /// temporary file there.
    static Written copyInto(QString const& path, QString const& directory, Sizes const& stored);
    /// Adds an item to the storage's index.
    void insertItem(std::shared_ptr<Item> const& item);
    /// On the worker: moves the file at `path` to a temporary name in `directory` and hashes it; an empty
    /// result when it can't be moved there (another disk).
    static Written moveInto(QString const& path, QString const& directory);
    void adoptStoredFiles();
    folly::Future<std::shared_ptr<Item>> import(std::function<Written()> write, QString name);
    /// On the owner's thread: the written file becomes the item of its hash, or goes when there is one.
    std::shared_ptr<Item> keep(Written const& written, QString const& name);

    QString m_directory;
    folly::Executor::KeepAlive<> m_executor;
    std::unique_ptr<WorkerThread> m_worker;
    QHash<QByteArray, std::shared_ptr<Item>> m_items;
    std::shared_ptr<Sizes> m_sizes;
};

/// The services a client shares among its links to servers: today its asset storage.
class ConnectionManager {
public:
    /// A manager with `assetStorage`, which may be null for a client that keeps no files.
    explicit ConnectionManager(std::shared_ptr<AssetStorage> assetStorage = nullptr)
        : m_assetStorage(std::move(assetStorage)) {}

    /// The local asset storage; null when the client keeps none.
    std::shared_ptr<AssetStorage> assetStorage() const { return m_assetStorage; }

private:
    std::shared_ptr<AssetStorage> m_assetStorage;
};

} // namespace Tessel
