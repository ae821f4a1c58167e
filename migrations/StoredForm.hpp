#pragma once

#include "platform/cobalt/LittleEndian.hpp"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

#include <exception>
#include <functional>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

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
/// "nodes" is assigned back when any changed. Returns whether any changed. An exception of `change` leaves
/// the document as it was.
///
/// A big document is read by two threads, each handing its half of the nodes to `change`, which must
/// therefore be safe to call from two threads at once; the changed nodes are written back in order on this
/// thread. What comes out is what one thread would make.
inline bool rewriteNodes(QJsonObject& document, QString const& type,
                         std::function<bool(QJsonObject& node)> const& change) {
    // Below this count a second thread costs more than it saves.
    constexpr int parallelCount = 4096;
    QJsonArray nodes = document.value(QStringLiteral("nodes")).toArray();
    int const count = nodes.size();
    std::vector<std::optional<QJsonObject>> changed(static_cast<std::size_t>(count));
    // Each thread reads through a copy of its own: copies share the nodes, and reading them is safe.
    auto const changeRange = [&](QJsonArray const own, int begin, int end) {
        for (int i = begin; i < end; ++i) {
            QJsonObject node = own.at(i).toObject();
            if (!type.isEmpty() && node.value(QStringLiteral("type")).toString() != type) {
                continue;
            }
            if (change(node)) {
                changed[static_cast<std::size_t>(i)] = std::move(node);
            }
        }
    };
    if (count < parallelCount) {
        changeRange(nodes, 0, count);
    } else {
        std::exception_ptr secondFailure;
        std::thread second([&, own = nodes] {
            try {
                changeRange(own, count / 2, count);
            } catch (...) {
                secondFailure = std::current_exception();
            }
        });
        std::exception_ptr firstFailure;
        try {
            changeRange(nodes, 0, count / 2);
        } catch (...) {
            firstFailure = std::current_exception();
        }
        second.join();
        // The first half's failure is the one a single walk would have met first.
        if (firstFailure || secondFailure) {
            std::rethrow_exception(firstFailure ? firstFailure : secondFailure);
        }
    }
    bool anyChanged = false;
    for (int i = 0; i < count; ++i) {
        if (changed[static_cast<std::size_t>(i)]) {
            nodes.replace(i, *changed[static_cast<std::size_t>(i)]);
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
