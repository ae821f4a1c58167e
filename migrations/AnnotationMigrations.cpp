#include "migrations/AnnotationMigrations.hpp"

#include "migrations/StoredForm.hpp"
#include "platform/sienna/SplineManagerPath.hpp"

#include <QHash>
#include <QSet>

namespace Datamodel {

namespace {

// The stored keys and type keys these steps know, as they were when the steps were written.
constexpr char kAnnotation[] = "tavola_annotation";
constexpr char kAnnotationContainer[] = "tavola_annotation_container";

QString idOf(QJsonObject const& node) {
    return node.value(QStringLiteral("id")).toString();
}

QString nameOf(QJsonValue const& attribute) {
    return attribute.toObject().value(QStringLiteral("name")).toString();
}

/// Hands each attribute of the node to `change`, which returns the attribute it should be, or a null object
/// to leave it; writes the attributes back when any changed. Returns whether any changed.
bool rewriteAttributes(QJsonObject& node, std::function<QJsonObject(QJsonObject const&)> const& change) {
    QJsonArray attributes = attributesOf(node);
    bool changed = false;
    for (int i = 0; i < attributes.size(); ++i) {
        QJsonObject const replacement = change(attributes.at(i).toObject());
        if (!replacement.isEmpty()) {
            attributes.replace(i, replacement);
            changed = true;
        }
    }
    if (changed) {
        node.insert(QStringLiteral("attributes"), attributes);
    }
    return changed;
}

float lineWidth(QJsonArray const& attributes) {
    for (QJsonValue const& attribute : attributes) {
        if (nameOf(attribute) == QLatin1String("line-width")) {
            return BundleReader(storedBytes(attribute.toObject().value(QStringLiteral("value"))))
                .read<float>();
        }
    }
    return 1.0f;
}

QByteArray nodesBytes(std::vector<Sienna::BezierNode> const& nodes) {
    QByteArray bytes;
    for (Sienna::BezierNode const& node : nodes) {
        for (Fathom::Vector3T<float> const& position : {node.ctrlIn, node.point, node.ctrlOut}) {
            bytes += singlesBytes({position.x, position.y, position.z});
        }
    }
    return bytes;
}

} // namespace

bool AnnotationJSONMigration::migrate(QJsonObject&, QJsonObject& document) {
    QJsonArray nodes = document.value(QStringLiteral("nodes")).toArray();
    QHash<QString, QString> containerParents;
    for (QJsonValue const& value : nodes) {
        QJsonObject const node = value.toObject();
        if (node.value(QStringLiteral("type")).toString() == QLatin1String(kAnnotationContainer)) {
            containerParents.insert(idOf(node), node.value(QStringLiteral("parentId")).toString());
        }
    }
    bool changed = false;
    for (int i = 0; i < nodes.size();) {
        QJsonObject node = nodes.at(i).toObject();
        QString const type = node.value(QStringLiteral("type")).toString();
        if (type == QLatin1String(kAnnotationContainer)) {
            nodes.removeAt(i);
            changed = true;
            continue;
        }
        if (type == QLatin1String(kAnnotation)) {
            removeUnusedAttributes(node);
            QString const parent = node.value(QStringLiteral("parentId")).toString();
            if (containerParents.contains(parent)) {
                node.insert(QStringLiteral("parentId"), containerParents.value(parent));
            }
            nodes.replace(i, node);
            changed = true;
        }
        ++i;
    }
    // A document without nodes stays without them.
    if (changed) {
        document.insert(QStringLiteral("nodes"), nodes);
    }
    return true;
}

void AnnotationJSONMigration::removeUnusedAttributes(QJsonObject& node) {
    static QSet<QString> const unused{QStringLiteral("finished"), QStringLiteral("line-depth"),
                                      QStringLiteral("line-points-minimum-distance")};
    QJsonArray attributes = attributesOf(node);
    for (int i = 0; i < attributes.size();) {
        if (unused.contains(nameOf(attributes.at(i)))) {
            attributes.removeAt(i);
        } else {
            ++i;
        }
    }
    node.insert(QStringLiteral("attributes"), attributes);
}

bool VectorContainerJSONMigration::migrate(QJsonObject&, QJsonObject& document) {
    rewriteNodes(document, QString(), [](QJsonObject& node) {
        return rewriteAttributes(node, [](QJsonObject const& attribute) {
            return attribute.value(QStringLiteral("values")).isArray() ? migrateArray(attribute)
                                                                       : QJsonObject();
        });
    });
    return true;
}

bool VaryingWidthAnnotationJSONMigration::migrate(QJsonObject&, QJsonObject& document) {
    rewriteNodes(document, QString(), [](QJsonObject& node) {
        QJsonArray const attributes = attributesOf(node);
        return rewriteAttributes(node, [&](QJsonObject const& attribute) {
            return nameOf(attribute) == QLatin1String("points") ? migrateAnnotation(attributes, attribute)
                                                                : QJsonObject();
        });
    });
    return true;
}

QJsonObject migrateArray(QJsonObject attribute) {
    QJsonArray const values = attribute.value(QStringLiteral("values")).toArray();
    QByteArray bytes;
    for (QJsonValue const& value : values) {
        bytes += storedBytes(value);
    }
    attribute.insert(QStringLiteral("size"), values.size());
    attribute.insert(QStringLiteral("values"), QString::fromLatin1(bytes.toBase64()));
    return attribute;
}

QJsonObject migrateAnnotation(QJsonArray const& attributes, QJsonObject points) {
    float const width = lineWidth(attributes);
    BundleReader reader(storedBytes(points.value(QStringLiteral("values"))));
    int const size = points.value(QStringLiteral("size")).toInt(0);
    QList<Fathom::Vector2T<float>> path;
    for (int i = 0; i < size; ++i) {
        float const x = reader.read<float>();
        float const y = reader.read<float>();
        path.append(Fathom::Vector2T<float>(x, y));
    }
    std::optional<std::vector<Sienna::BezierNode>> const nodes =
        Sienna::convertSplineManagerPath2D(path, width, true);
    bool const converted = nodes && !nodes->empty();
    // A path that can't be converted leaves the stroke in the document, empty.
    points.insert(QStringLiteral("values"),
                  converted ? QString::fromLatin1(nodesBytes(*nodes).toBase64()) : QStringLiteral(""));
    points.insert(QStringLiteral("size"), converted ? static_cast<int>(nodes->size()) : 0);
    return points;
}

} // namespace Datamodel
