#pragma once

#include "platform/cobalt/LittleEndian.hpp"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

#include <functional>
#include <initializer_list>
#include <stdexcept>

namespace Datamodel {

/// Reads the plain little-endian values of a stored attribute's bytes, one after the other, with a bounds
/// check: a read past the end throws `std::out_of_range` with "BundleReader::read # tried to read past the
/// end".
class BundleReader {
public:
    explicit BundleReader(QByteArray bytes) : m_bytes(std::move(bytes)) {}

    template <typename Scalar>
    Scalar read() {
        if (m_position + static_cast<int>(sizeof(Scalar)) > m_bytes.size()) {
            throw std::out_of_range("BundleReader::read # tried to read past the end");
        }
        Scalar const value = Cobalt::readLittleEndian<Scalar>(m_bytes.constData() + m_position);
        m_position += static_cast<int>(sizeof(Scalar));
        return value;
    }

private:
    QByteArray m_bytes;
    int m_position = 0;
};

/// The bytes a stored "value" or "values" string holds: its Latin-1 text, Base64-decoded.
inline QByteArray storedBytes(QJsonValue const& value) {
    return QByteArray::fromBase64(value.toString().toLatin1());
}

/// The string that stores `bytes` under "value" or "values": their Base64 text (a null array gives a null
/// string).
inline QJsonValue storedText(QByteArray const& bytes) {
    return bytes.isNull() ? QString() : QString::fromLatin1(bytes.toBase64());
}

/// The bytes of singles, little-endian, back to back.
inline QByteArray singlesBytes(std::initializer_list<float> values) {
    QByteArray bytes;
    for (float value : values) {
        Cobalt::appendLittleEndian(bytes, value);
    }
    return bytes;
}

/// Walks the stored document's "nodes" by index and hands each node of `type` (every node when `type` is
/// empty) to `change`, which returns whether it changed the node. Changed nodes are written back, and
/// "nodes" is assigned back when any changed. Returns whether any changed.
inline bool rewriteNodes(QJsonObject& document, QString const& type,
                         std::function<bool(QJsonObject& node)> const& change) {
    QJsonArray nodes = document.value(QStringLiteral("nodes")).toArray();
    bool anyChanged = false;
    for (int i = 0; i < nodes.size(); ++i) {
        QJsonObject node = nodes.at(i).toObject();
        if (!type.isEmpty() && node.value(QStringLiteral("type")).toString() != type) {
            continue;
        }
        if (change(node)) {
            nodes.replace(i, node);
            anyChanged = true;
        }
    }
    if (anyChanged) {
        document.insert(QStringLiteral("nodes"), nodes);
    }
    return anyChanged;
}

/// The node's "attributes"; an empty array when it has none.
inline QJsonArray attributesOf(QJsonObject const& node) {
    return node.value(QStringLiteral("attributes")).toArray();
}

} // namespace Datamodel
