#include "migrations/GeometryMigrations.hpp"

#include "migrations/StoredForm.hpp"
#include "platform/cobalt/Trace.hpp"

#include <QJsonArray>

#include <cstdint>
#include <exception>
#include <functional>

namespace Datamodel {

namespace {

/// The four sides of a frame around an element's content.
struct Sides {
    float top;
    float right;
    float bottom;
    float left;
};

} // namespace

// Frozen here as they were when the steps were written: the live element classes may change them later.
static constexpr Sides s_padding{30.0f, 30.0f, 30.0f, 30.0f};
static constexpr Sides s_border{15.0f, 15.0f, 15.0f, 15.0f};

namespace {

// A table has never had that many columns or rows.
constexpr int maximumGridCount = 1 << 16;

bool isNamed(QJsonObject const& attribute, QLatin1String name) {
    return attribute.value(QStringLiteral("name")).toString() == name;
}

BundleReader readerOf(QJsonObject const& attribute) {
    return BundleReader(storedBytes(attribute.value(QStringLiteral("value"))));
}

/// The first two singles of the attribute's value; throws when it holds fewer.
Fathom::Vector2T<float> pairOf(QJsonObject const& attribute) {
    BundleReader reader = readerOf(attribute);
    float const x = reader.read<float>();
    float const y = reader.read<float>();
    return {x, y};
}

void setPair(QJsonObject& attribute, Fathom::Vector2T<float> value) {
    attribute.insert(QStringLiteral("value"), storedText(singlesBytes({value.x, value.y})));
}

/// A new value of a two-single attribute from its present one.
using PairChange = std::function<Fathom::Vector2T<float>(Fathom::Vector2T<float>)>;

/// Gives every "location" the value `location` makes of it and every "size" the value `size` makes of it
/// (a null change leaves them); true when any changed. Throws when one holds fewer than two singles.
bool changePairs(QJsonArray& attributes, PairChange const& location, PairChange const& size) {
    bool changed = false;
    for (int i = 0; i < attributes.size(); ++i) {
        QJsonObject attribute = attributes.at(i).toObject();
        PairChange const& change = isNamed(attribute, QLatin1String("location")) ? location
                                   : isNamed(attribute, QLatin1String("size"))   ? size
                                                                                 : PairChange();
        if (!change) {
            continue;
        }
        setPair(attribute, change(pairOf(attribute)));
        attributes.replace(i, attribute);
        changed = true;
    }
    return changed;
}

/// Changes a copy of the attributes of one node; true when it changed them.
using AttributesChange = std::function<bool(QJsonArray& attributes)>;

/// Hands a copy of the attributes of every node of `type` to `change`, and gives the node the changed
/// attributes. A node whose values can't be read is logged and kept as it was, so that one damaged node
/// neither stops the step nor is left half migrated.
void rewriteAttributes(QJsonObject& document, QString const& type, char const* step,
                       AttributesChange const& change) {
    rewriteNodes(document, type, [&](QJsonObject& node) {
        try {
            QJsonArray attributes = attributesOf(node);
            if (!change(attributes)) {
                return false;
            }
            node.insert(QStringLiteral("attributes"), attributes);
            return true;
        } catch (std::exception const& error) {
            Cobalt::Trace::warning("%s # Failed to migrate node %s: %s", step,
                                   qPrintable(node.value(QStringLiteral("id")).toString()), error.what());
            return false;
        }
    });
}

} // namespace

TableCellSizeMigration::TableCellSizeMigration() : Tessel::JSONMigration(7) {}

bool TableCellSizeMigration::migrate(QJsonObject&, QJsonObject& document) {
    // Every node keeps its place in "nodes"; the tables get their widths and heights.
    rewriteNodes(document, QStringLiteral("tavola_table"), [this](QJsonObject& node) {
        Fathom::Vector2T<int> const grid = getGridSize(node);
        QJsonArray attributes = attributesOf(node);
        attributes.append(
            floatArray(1.0f / static_cast<float>(grid.x), grid.x, QStringLiteral("column-widths")));
        attributes.append(
            floatArray(1.0f / static_cast<float>(grid.y), grid.y, QStringLiteral("row-heights")));
        node.insert(QStringLiteral("attributes"), attributes);
        return true;
    });
    return true;
}

Fathom::Vector2T<int> TableCellSizeMigration::getGridSize(QJsonObject const& node) const {
    for (QJsonValue const& value : attributesOf(node)) {
        QJsonObject const attribute = value.toObject();
        if (!isNamed(attribute, QLatin1String("grid-size"))) {
            continue;
        }
        QByteArray const bytes = storedBytes(attribute.value(QStringLiteral("value")));
        if (bytes.size() != 8) {
            continue;
        }
        BundleReader reader(bytes);
        int const columns = reader.read<std::int32_t>();
        int const rows = reader.read<std::int32_t>();
        // A corrupt count would have the load build a list of billions of widths: it counts as unusable.
        if (columns > maximumGridCount || rows > maximumGridCount) {
            continue;
        }
        return {columns, rows};
    }
    return {1, 1};
}

QJsonObject TableCellSizeMigration::floatArray(float value, int count, QString const& name) const {
    QJsonValue const single = storedText(singlesBytes({value}));
    QJsonArray values;
    for (int i = 0; i < count; ++i) {
        values.append(single);
    }
    return QJsonObject{{QStringLiteral("name"), name}, {QStringLiteral("values"), values}};
}

bool NotePaddingJSONMigration::migrate(QJsonObject&, QJsonObject& document) {
    rewriteAttributes(
        document, QStringLiteral("tavola_note"), "NotePaddingJSONMigration", [](QJsonArray& attributes) {
            return changePairs(
                attributes,
                [](Fathom::Vector2T<float> location) {
                    return Fathom::Vector2T<float>{location.x - s_padding.left, location.y - s_padding.top};
                },
                [](Fathom::Vector2T<float> size) {
                    return Fathom::Vector2T<float>{size.x + s_padding.left + s_padding.right,
                                                   size.y + s_padding.top + s_padding.bottom};
                });
        });
    return true;
}

bool AnchorOriginJSONMigration::migrate(QJsonObject&, QJsonObject& document) {
    rewriteAttributes(document, QStringLiteral("tavola_anchor"), "AnchorOriginJSONMigration",
                      [](QJsonArray& attributes) {
                          float scale = 1.0f;
                          // An anchor without a stored size is moved as one of size -1 by -1, on purpose.
                          Fathom::Vector2T<float> size{-1.0f, -1.0f};
                          for (QJsonValue const& value : attributes) {
                              QJsonObject const attribute = value.toObject();
                              if (isNamed(attribute, QLatin1String("scale"))) {
                                  scale = readerOf(attribute).read<float>();
                              } else if (isNamed(attribute, QLatin1String("size"))) {
                                  size = pairOf(attribute);
                              }
                          }
                          return changePairs(
                              attributes,
                              [&](Fathom::Vector2T<float> centre) {
                                  return Fathom::Vector2T<float>{centre.x - 0.5f * scale * size.x,
                                                                 centre.y - 0.5f * scale * size.y};
                              },
                              PairChange());
                      });
    return true;
}

bool TableBorderJSONMigration::migrate(QJsonObject&, QJsonObject& document) {
    rewriteAttributes(
        document, QStringLiteral("tavola_table"), "TableBorderJSONMigration", [](QJsonArray& attributes) {
            float scale = 1.0f;
            for (QJsonValue const& value : attributes) {
                QJsonObject const attribute = value.toObject();
                if (isNamed(attribute, QLatin1String("scale"))) {
                    scale = readerOf(attribute).read<float>();
                    break;
                }
            }
            return changePairs(
                attributes,
                [&](Fathom::Vector2T<float> location) {
                    return Fathom::Vector2T<float>{location.x + scale * s_border.left,
                                                   location.y + scale * s_border.top};
                },
                // Only the location takes the scale; the size loses the border as it is, on purpose.
                [](Fathom::Vector2T<float> size) {
                    return Fathom::Vector2T<float>{size.x - (s_border.left + s_border.right),
                                                   size.y - (s_border.top + s_border.bottom)};
                });
        });
    return true;
}

bool BrokenNoteSizeJSONMigration::migrate(QJsonObject&, QJsonObject& document) {
    rewriteAttributes(
        document, QStringLiteral("tavola_note"), "BrokenNoteSizeJSONMigration", [](QJsonArray& attributes) {
            for (QJsonValue const& value : attributes) {
                if (isNamed(value.toObject(), QLatin1String("size"))) {
                    return false;
                }
            }
            attributes.append(
                QJsonObject{{QStringLiteral("name"), QStringLiteral("size")},
                            {QStringLiteral("value"), storedText(singlesBytes({360.0f, 360.0f}))}});
            return true;
        });
    return true;
}

} // namespace Datamodel
