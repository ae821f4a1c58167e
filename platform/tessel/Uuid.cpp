#include "platform/tessel/Uuid.hpp"

#include <QCryptographicHash>
#include <QUuid>

namespace Tessel {

QByteArray generateUuid() {
    return QUuid::createUuid().toByteArray(QUuid::WithoutBraces);
}

QByteArray shortHexHash(QByteArray const& data) {
    constexpr int digestBytes = 8;
    return QCryptographicHash::hash(data, QCryptographicHash::Sha256).left(digestBytes).toHex();
}

} // namespace Tessel
