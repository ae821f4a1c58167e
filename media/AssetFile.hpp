#pragma once

#include "attributes/AttributeAsset.hpp"

#include <QByteArray>
#include <QString>

namespace Kelp {
class TypeRegistry;
}

namespace Datamodel {

/// The attribute through which an element refers to a stored file. Its value is the file's public hash
/// as hexadecimal text, so elements with the same content share one stored item.
///
/// Belongs to the thread of its document, like every attribute.
class AssetFile : public Basalt::AttributeAsset {
public:
    /// An empty hash, added to `host` under `key`.
    AssetFile(Basalt::Node& host, QByteArray const& key);
    /// An empty hash without a host: for an attribute that joins its node later, or a detached one that the
    /// type registry makes.
    explicit AssetFile(QByteArray const& key);
    ~AssetFile() override;

    /// Writes `hash` (hexadecimal) on the user layer.
    AssetFile& operator=(QString const& hash) {
        Basalt::AttributeAsset::operator=(hash);
        return *this;
    }

    /// The hash as raw bytes; empty when there is no hash. Characters that aren't hex digits are skipped,
    /// as `QByteArray::fromHex` does.
    QByteArray publicHashBin() const;
    /// The hash as it stands, in hexadecimal.
    QString publicHashHex() const;
    /// A short digest of the hash (sixteen hex digits), short enough to show a user.
    QString publicHashHexShort() const;

    /// Makes `registry` build an `AssetFile` wherever it builds an attribute of the asset type, so that an
    /// asset hash read from storage gets this class. The asset type must be registered already
    /// (`Basalt::registerAttributeTypes`); otherwise nothing changes.
    static void registerType(Kelp::TypeRegistry& registry);
};

} // namespace Datamodel
