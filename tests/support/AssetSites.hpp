#pragma once

// What the tests of asset files share: waiting for a setting operation, whose import runs on the storage's
// worker thread, and a client with a real storage and connection that holds a document of its own.
//
// Usage:
//     TestSupport::LocalAssetDocument local;
//     file.initialize(*local.document);
//     local.waitFor(file.setAssetFromBuffer("bytes", "b.bin"));

#include "LiveSites.hpp"

#include "media/AssetFile.hpp"

namespace TestSupport {

/// Delivers until both futures of a setting operation are ready; throws `std::runtime_error` when they
/// aren't after ten seconds.
inline void waitForSetting(LiveSites& sites, Datamodel::AssetFile::SetResult const& result) {
    sites.deliverUntil([&] { return result.item.isReady() && result.done.isReady(); },
                       "the setting operation didn't end");
}

/// A client with an asset storage on a server of `version`, holding a document of its own that it doesn't
/// share: the storage and the connection are real, and hashes are written at once.
struct LocalAssetDocument {
    explicit LocalAssetDocument(char const* version = "26.07.5") : sites(QString::fromLatin1(version)) {
        sites.keepAssets(true);
        site = &sites.connect(QStringLiteral("a"));
        document = Tessel::DocumentConnection::create(nullptr, nullptr, &site->executor, site->connection);
    }
    Tessel::AssetStorage& storage() const { return *site->storage; }
    void waitFor(Datamodel::AssetFile::SetResult const& result) { waitForSetting(sites, result); }

    LiveSites sites;
    LiveSites::Site* site = nullptr;
    std::shared_ptr<Tessel::DocumentConnection> document;
};

} // namespace TestSupport
