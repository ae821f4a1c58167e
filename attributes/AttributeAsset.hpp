#pragma once

#include "attributes/AttributeString.hpp"

namespace Basalt {

/// A text attribute that holds the public hash of a stored file, in hexadecimal. It differs from a plain
/// text only by its type, so that the platform knows to resolve the hash to an asset.
class AttributeAsset : public AttributeT<QString> {
public:
    AttributeAsset(Node* host, QByteArray const& name, QString const& defaultValue = QString())
        : AttributeT<QString>(host, name, defaultValue) {}
    AttributeAsset() = default;

    AttributeAsset& operator=(QString const& hash) {
        AttributeT<QString>::operator=(hash);
        return *this;
    }
    QByteArray type() const override { return QByteArrayLiteral("asset"); }
};

} // namespace Basalt
