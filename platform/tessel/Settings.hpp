#pragma once

#include <QString>

namespace Tessel {

/// Where a server or client keeps its data. The library reads no file and no environment: everything comes
/// in through these settings.
class Settings {
public:
    /// Whether documents and tables live in PostgreSQL (true) or in JSON files and SQLite under the
    /// directories below (false, the default).
    bool isSqlEnabled() const { return m_sqlEnabled; }
    void setSqlEnabled(bool enabled) { m_sqlEnabled = enabled; }

    /// The directory of the stored documents, one JSON file each, when SQL is off.
    QString jsonStorageRootDir() const { return m_jsonStorageRootDir; }
    void setJsonStorageRootDir(QString directory) { m_jsonStorageRootDir = std::move(directory); }

    /// The directory of the asset files, each named by its public hash.
    QString assetDir() const { return m_assetDir; }
    void setAssetDir(QString directory) { m_assetDir = std::move(directory); }

private:
    bool m_sqlEnabled = false;
    QString m_jsonStorageRootDir;
    QString m_assetDir;
};

} // namespace Tessel
