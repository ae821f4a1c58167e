#include "media/AssetFile.hpp"

#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/Uuid.hpp"

namespace Datamodel {

AssetFile::AssetFile(Basalt::Node& host, QByteArray const& key) : Basalt::AttributeAsset(&host, key) {}

AssetFile::AssetFile(QByteArray const& key) : Basalt::AttributeAsset(nullptr, key) {}

AssetFile::~AssetFile() = default;

QByteArray AssetFile::publicHashBin() const {
    return QByteArray::fromHex(value().toUtf8());
}

QString AssetFile::publicHashHex() const {
    return value();
}

QString AssetFile::publicHashHexShort() const {
    return QString::fromLatin1(Tessel::shortHexHash(publicHashBin()));
}

void AssetFile::registerType(Kelp::TypeRegistry& registry) {
    // The class differs from its base only in behaviour, not in what it stores, so it takes over the
    // base's entry rather than adding a type of its own.
    registry.setAttributeMaker(Basalt::AttributeAsset().type(), [] { return new AssetFile(QByteArray()); });
}

} // namespace Datamodel
