#include "platform/tessel/StoredDocument.hpp"

#include "platform/cobalt/Trace.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"

#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

#include <algorithm>

#include <deque>
#include <vector>

namespace Tessel {

namespace {

QString text(char const* key) {
    return QString::fromLatin1(key);
}

/// A key of the stored form (an id, a name, a type): the text up to a NUL character, where written keys
/// end, so that what is read is what would be written again.
QString keyText(QJsonValue const& value) {
    QString const text = value.toString();
    int const end = text.indexOf(QChar(0));
    return end < 0 ? text : text.left(end);
}

QJsonValue base64(QByteArray const& bytes) {
    return QString::fromLatin1(bytes.toBase64());
}

QByteArray fromBase64(QJsonValue const& value) {
    return QByteArray::fromBase64(value.toString().toLatin1());
}

QJsonObject storedAttribute(std::shared_ptr<ServerAttribute> const& attribute) {
    QJsonObject stored{{text(StoredKey::name), QString::fromUtf8(attribute->name())},
                       {text(StoredKey::typeCode), static_cast<qint64>(attribute->typeCode())}};
    if (ServerAttributeVectorContainer const* const vector = attribute->vectorContainer()) {
        stored.insert(text(StoredKey::values), base64(vector->values()));
        stored.insert(text(StoredKey::size), static_cast<qint64>(vector->count()));
    } else {
        stored.insert(text(StoredKey::value), base64(attribute->encodedValue().bytes));
    }
    return stored;
}

QJsonObject storedNode(ServerNode const& node) {
    QJsonObject stored{{text(StoredKey::id), QString::fromUtf8(node.guid())},
                       {text(StoredKey::type), QString::fromUtf8(node.typeKey())},
                       {text(StoredKey::name), QString::fromUtf8(node.name())}};
    if (std::shared_ptr<ServerNode> const parent = node.parent()) {
        stored.insert(text(StoredKey::parentId), QString::fromUtf8(parent->guid()));
    }
    QJsonArray attributes;
    for (auto const& attribute : node.childAttributes()) {
        attributes.append(storedAttribute(attribute));
    }
    stored.insert(text(StoredKey::attributes), attributes);
    return stored;
}

/// Reads the values of a vector: one Base64 string of them all, or, in old documents, an array of one
/// string per value.
QByteArray vectorBytes(QJsonValue const& values) {
    if (!values.isArray()) {
        return fromBase64(values);
    }
    QByteArray bytes;
    for (QJsonValue const& value : values.toArray()) {
        bytes += fromBase64(value);
    }
    return bytes;
}

/// Builds the nodes of a stored form and hangs them from the document's root.
class Restorer {
public:
    Restorer(ServerDocument& document) : m_document(document) {}

    bool restore(QJsonArray const& nodes, QString& error) {
        QJsonObject const* root = nullptr;
        std::vector<QJsonObject> objects;
        for (QJsonValue const& value : nodes) {
            objects.push_back(value.toObject());
        }
        QHash<QString, std::vector<QJsonObject const*>> children;
        QHash<QString, int> seen;
        for (QJsonObject const& object : objects) {
            QString const id = keyText(object.value(text(StoredKey::id)));
            if (id.isEmpty() || seen[id]++ > 0) {
                Cobalt::Trace::warning("StoredDocument::restore # Left out a node with %s id '%s'",
                                       id.isEmpty() ? "no" : "a repeated", qPrintable(id));
                continue;
            }
            QString const parent = keyText(object.value(text(StoredKey::parentId)));
            if (parent.isEmpty() && !root) {
                root = &object;
            } else {
                children[parent].push_back(&object);
            }
        }
        if (!root) {
            error = QStringLiteral("the stored document has no root node");
            return false;
        }
        m_document.adoptRootGuid(keyText(root->value(text(StoredKey::id))).toUtf8());
        addAttributes(*root, *m_document.rootNode());
        int const hung = hangChildren(children);
        if (hung + 1 < seen.size()) {
            Cobalt::Trace::warning(
                "StoredDocument::restore # Left out %d nodes that hang from no node of the tree",
                static_cast<int>(seen.size()) - hung - 1);
        }
        return true;
    }

private:
    /// Adds the children of every node reached from the root, breadth first; returns how many were added.
    int hangChildren(QHash<QString, std::vector<QJsonObject const*>> const& children) {
        int hung = 0;
        std::deque<std::shared_ptr<ServerNode>> pending{m_document.rootNode()};
        while (!pending.empty()) {
            std::shared_ptr<ServerNode> const parent = pending.front();
            pending.pop_front();
            for (QJsonObject const* object : children.value(QString::fromUtf8(parent->guid()))) {
                std::shared_ptr<ServerNode> const node = makeNode(*object);
                if (parent->childNode(node->name())) {
                    Cobalt::Trace::warning(
                        "StoredDocument::restore # Left out node '%s': its name '%s' is taken",
                        node->guid().constData(), node->name().constData());
                    continue;
                }
                parent->addChildNode(node, false);
                pending.push_back(node);
                ++hung;
            }
        }
        return hung;
    }

    std::shared_ptr<ServerNode> makeNode(QJsonObject const& object) {
        auto node = std::make_shared<ServerNode>(&m_document);
        node->setGuid(keyText(object.value(text(StoredKey::id))).toUtf8());
        QString const name = keyText(object.value(text(StoredKey::name)));
        node->setName(name.isEmpty() ? node->guid() : name.toUtf8());
        node->setTypeKey(keyText(object.value(text(StoredKey::type))).toUtf8());
        addAttributes(object, *node);
        return node;
    }

    void addAttributes(QJsonObject const& object, ServerNode& node) {
        for (QJsonValue const& value : object.value(text(StoredKey::attributes)).toArray()) {
            if (std::shared_ptr<ServerAttribute> const attribute = makeAttribute(value.toObject(), node)) {
                node.addChildAttribute(attribute, false);
            }
        }
    }

    /// The attribute a stored object describes; null, with a warning, when its type or value is unknown.
    std::shared_ptr<ServerAttribute> makeAttribute(QJsonObject const& stored, ServerNode const& node) {
        QByteArray const name = keyText(stored.value(text(StoredKey::name))).toUtf8();
        unsigned const typeCode = typeCodeOf(stored, node.typeKey(), name);
        bool const vector = (typeCode & Kelp::TYPE_VECTOR_FLAG) != 0;
        if (name.isEmpty() || typeCode == 0 ||
            !stored.contains(text(vector ? StoredKey::values : StoredKey::value))) {
            Cobalt::Trace::warning(
                "StoredDocument::restore # Left out attribute '%s' of node '%s': no type or value",
                name.constData(), node.guid().constData());
            return nullptr;
        }
        if (!vector) {
            return std::make_shared<ServerAttributeSimple>(&m_document, name, typeCode,
                                                           fromBase64(stored.value(text(StoredKey::value))));
        }
        QByteArray const values = vectorBytes(stored.value(text(StoredKey::values)));
        Kelp::TypeRegistry::TypeInfo const* const type = m_document.typeRegistry().findByCode(typeCode);
        unsigned const valueSize = type ? type->valueSize : 0;
        unsigned const count = stored.contains(text(StoredKey::size))
                                   ? static_cast<unsigned>(stored.value(text(StoredKey::size)).toInt())
                               : valueSize ? static_cast<unsigned>(values.size()) / valueSize
                                           : 0;
        if (valueSize != 0 && static_cast<qint64>(count) * valueSize != values.size()) {
            Cobalt::Trace::warning(
                "StoredDocument::restore # Left out attribute '%s' of node '%s': %d bytes for %u "
                "values",
                name.constData(), node.guid().constData(), static_cast<int>(values.size()), count);
            return nullptr;
        }
        return std::make_shared<ServerAttributeVectorContainer>(&m_document, name, values, count, typeCode);
    }

    /// The stored type code, or, for an attribute written without one (by a migration), the one its node's
    /// type declares; 0 when neither says.
    unsigned typeCodeOf(QJsonObject const& stored, QByteArray const& typeKey, QByteArray const& name) const {
        if (stored.contains(text(StoredKey::typeCode))) {
            return static_cast<unsigned>(stored.value(text(StoredKey::typeCode)).toDouble());
        }
        ServerNodeTypeDefinition const* const type = m_document.nodeTypes().type(typeKey);
        auto const* const definition = type ? type->attributeDefinition(name) : nullptr;
        return definition ? definition->typeCode : 0;
    }

    ServerDocument& m_document;
};

} // namespace

QJsonObject StoredDocument::fromDocument(ServerDocument const& document) {
    QJsonArray nodes;
    std::deque<ServerNode const*> pending{document.rootNode().get()};
    while (!pending.empty()) {
        ServerNode const* const node = pending.front();
        pending.pop_front();
        nodes.append(storedNode(*node));
        for (auto const& child : node->childNodes()) {
            pending.push_back(child.second.get());
        }
    }
    QJsonObject stored{{text(StoredKey::nodes), nodes},
                       {text(StoredKey::documentType), QString::fromUtf8(document.documentType())}};
    JSONMigrations::instance().markCurrent(document.documentType(), stored);
    return stored;
}

bool StoredDocument::restore(QJsonObject const& stored, ServerDocument& document, QString& error) {
    return Restorer(document).restore(stored.value(text(StoredKey::nodes)).toArray(), error);
}

bool StoredDocument::write(QString const& path, QJsonObject const& stored, QString& error,
                           ChunkWritten const& chunkWritten) {
    QByteArray const bytes = QJsonDocument(stored).toJson(QJsonDocument::Compact);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        error = QStringLiteral("Can't write '%1': %2").arg(path, file.errorString());
        return false;
    }
    for (qint64 written = 0; written < bytes.size();) {
        qint64 const chunk = std::min<qint64>(writeChunkSize, bytes.size() - written);
        if (file.write(bytes.constData() + written, chunk) != chunk) {
            error = QStringLiteral("Can't write '%1': %2").arg(path, file.errorString());
            return false;
        }
        written += chunk;
        if (chunkWritten && !chunkWritten(written)) {
            // The file under `path` is only ever replaced by the rename in commit(), which is never reached.
            file.cancelWriting();
            error = QStringLiteral("Writing '%1' was interrupted after %2 bytes").arg(path).arg(written);
            return false;
        }
    }
    if (!file.commit()) {
        error = QStringLiteral("Can't write '%1': %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

bool StoredDocument::read(QString const& path, QJsonObject& stored, QString& error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("Can't read '%1': %2").arg(path, file.errorString());
        return false;
    }
    QJsonParseError parsing;
    QJsonDocument const json = QJsonDocument::fromJson(file.readAll(), &parsing);
    if (!json.isObject()) {
        error = QStringLiteral("'%1' holds no stored document: %2").arg(path, parsing.errorString());
        return false;
    }
    stored = json.object();
    return true;
}

} // namespace Tessel
