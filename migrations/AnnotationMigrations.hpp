#pragma once

#include "platform/tessel/JSONMigration.hpp"

#include <QJsonArray>
#include <QJsonObject>

namespace Datamodel {

/// Step 6 of the canvas chain: strokes no longer hang under a container node. Each stroke moves to where its
/// container hung (one level: a container inside a container leaves the stroke under the outer one), the
/// containers go, and the strokes lose the attributes nobody reads any more.
class AnnotationJSONMigration : public Tessel::JSONMigration {
public:
    AnnotationJSONMigration() : JSONMigration(6) {}
    bool migrate(QJsonObject& context, QJsonObject& document) override;
    /// Removes "finished", "line-depth" and "line-points-minimum-distance" from the node's attributes.
    static void removeUnusedAttributes(QJsonObject& node);
};

/// Step 8 of the canvas chain: every list stored as an array of one Base64 string per value becomes one
/// Base64 string of all values, with their count in "size". A list stored so already is left alone.
class VectorContainerJSONMigration : public Tessel::JSONMigration {
public:
    VectorContainerJSONMigration() : JSONMigration(8) {}
    bool migrate(QJsonObject& context, QJsonObject& document) override;
};

/// Step 9 of the canvas chain: a stroke's "points", plain two-float points of a path drawn with one
/// "line-width", become Bezier nodes whose z carries half the width (`Sienna::convertSplineManagerPath2D`).
/// A path that can't be converted leaves an empty stroke. A value too short to read throws out of
/// `migrate`.
class VaryingWidthAnnotationJSONMigration : public Tessel::JSONMigration {
public:
    VaryingWidthAnnotationJSONMigration() : JSONMigration(9) {}
    bool migrate(QJsonObject& context, QJsonObject& document) override;
};

/// A list attribute whose "values" is an array of one Base64 string per value, with "values" made one Base64
/// string of all their bytes and "size" their count.
QJsonObject migrateArray(QJsonObject attribute);

/// The "points" attribute `points` of a stroke whose attributes are `attributes`, its path converted to
/// Bezier nodes. Throws `std::out_of_range` when "line-width" or the points are too short to read.
QJsonObject migrateAnnotation(QJsonArray const& attributes, QJsonObject points);

} // namespace Datamodel
