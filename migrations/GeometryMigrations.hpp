#pragma once

#include "platform/fathom/Vector.hpp"
#include "platform/tessel/JSONMigration.hpp"

#include <QJsonObject>
#include <QString>

namespace Datamodel {

/// Step 7 of the canvas chain: a table stops being a uniform grid and keeps the width of each column and the
/// height of each row, as fractions of its size. Every "tavola_table" gets "column-widths" and "row-heights"
/// that share its size evenly among the columns and rows of its "grid-size" (1 by 1 when that is missing or
/// unreadable). The step runs before tables could hold either, so it neither looks for nor replaces them.
class TableCellSizeMigration : public Tessel::JSONMigration {
public:
    /// Step 7.
    TableCellSizeMigration();

    /// Rebuilds "nodes" with every table's new attributes; other nodes go through as they are. True.
    bool migrate(QJsonObject& context, QJsonObject& document) override;

    /// The columns and rows of a stored table node: its first "grid-size" value of exactly 8 bytes (two
    /// 32-bit ints, columns then rows); values of another length are passed over. 1 by 1 when there is none.
    Fathom::Vector2T<int> getGridSize(QJsonObject const& node) const;
    /// A stored vector attribute named `name` with `count` copies of the single `value` under "values", and
    /// no other keys; an empty vector when `count` is not positive.
    QJsonObject floatArray(float value, int count, QString const& name) const;
};

/// The step after which a note's box includes its padding (30 on each side): every "tavola_note" moves up
/// and left by the padding and grows by it, in document units, whatever its scale. A note missing
/// "location" or "size" gets the change of the one it has.
///
/// A note whose values can't be read is logged and left as it was; the other notes are migrated all the same.
class NotePaddingJSONMigration : public Tessel::JSONMigration {
public:
    /// The step numbered `version` in its chain.
    explicit NotePaddingJSONMigration(int version) : Tessel::JSONMigration(version) {}

    /// Rewrites the notes of `document`; "nodes" is written back only when one changed. True.
    bool migrate(QJsonObject& context, QJsonObject& document) override;
};

/// The step after which an anchor's "location" is its top left corner instead of its centre: every
/// "tavola_anchor" with a location moves it by half its scaled size towards the top left. An anchor without
/// "scale" counts as scale 1; one without "size" counts, on purpose, as size (-1, -1), and so moves by
/// half its scale towards the bottom right. An anchor without "location" is left alone.
///
/// An anchor whose values can't be read is logged and left as it was; the other anchors are migrated all the
/// same.
class AnchorOriginJSONMigration : public Tessel::JSONMigration {
public:
    /// The step numbered `version` in its chain.
    explicit AnchorOriginJSONMigration(int version) : Tessel::JSONMigration(version) {}

    /// Rewrites the anchors of `document`; "nodes" is written back only when one changed. True.
    bool migrate(QJsonObject& context, QJsonObject& document) override;
};

/// The step after which a table's box no longer includes its border (15 on each side): every "tavola_table"
/// moves down and right by its scaled border and shrinks by the border, on purpose unscaled. A table without
/// "scale" counts as scale 1.
///
/// A table whose values can't be read is logged and left as it was; the other tables are migrated all the
/// same.
class TableBorderJSONMigration : public Tessel::JSONMigration {
public:
    /// The step numbered `version` in its chain.
    explicit TableBorderJSONMigration(int version) : Tessel::JSONMigration(version) {}

    /// Rewrites the tables of `document`; "nodes" is written back only when one changed. True.
    bool migrate(QJsonObject& context, QJsonObject& document) override;
};

/// Repairs notes that an earlier release stored without "size": each such "tavola_note" gets the size
/// 360 by 360 back. Notes with a "size", readable or not, are left alone.
class BrokenNoteSizeJSONMigration : public Tessel::JSONMigration {
public:
    /// The step numbered `version` in its chain.
    explicit BrokenNoteSizeJSONMigration(int version) : Tessel::JSONMigration(version) {}

    /// Rewrites the notes of `document` that lack a size; "nodes" is written back only when one changed.
    /// True.
    bool migrate(QJsonObject& context, QJsonObject& document) override;
};

} // namespace Datamodel
