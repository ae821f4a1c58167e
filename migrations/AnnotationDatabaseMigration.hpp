#pragma once

#include "platform/tessel/DBMigration.hpp"

namespace Datamodel {

/// Step 13 of the data model's database chain: the strokes in "tavola_annotations" change their "points"
/// from the old path of plain points, drawn with one "line_width", to an array of "bezier_node" whose z
/// carries half the width, converted by `Sienna::convertSplineManagerPath2D`. A stroke whose path can't be
/// converted is deleted from "nodes". Everything runs in one transaction: a failure leaves the table and its
/// column "points" as they were.
class VaryingWidthAnnotationPSQLMigration : public Tessel::DBMigration {
public:
    VaryingWidthAnnotationPSQLMigration(QString const& moduleName, int version)
        : DBMigration(moduleName, version) {}

    bool migrate(Tessel::SqlConnection& connection) override;
};

} // namespace Datamodel
