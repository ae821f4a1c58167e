#pragma once

#include "attributes/AttributeT.hpp"
#include "attributes/AttributeVectorContainer.hpp"
#include "framework/CanvasItem.hpp"

#include <QMap>

namespace Datamodel {

/// One grid position of a `Table`: a child element of the table that knows its place only through
/// "cell-index". Its name in the table says nothing about the position.
class TableCell : public CanvasItem {
public:
    /// A cell at (-1, -1), just above its table (depth 0.01 on the user layer).
    TableCell();
    ~TableCell() override;

    /// Copies "cell-index" if the source has it on the user layer, and nothing else: a cell takes no
    /// location, size or other inherited value from another cell. False unless `source` is a `TableCell`.
    bool copyValues(CanvasElement const& source) override;

    /// x is the column, y the row, both from 0.
    Basalt::AttributeT<Fathom::Vector2T<int>> cellIndex;
};

/// A canvas item that divides its rectangle into a grid of `TableCell` children, which it owns.
///
/// Column widths and row heights are shares of the table's size that add up to 1, not lengths: resizing
/// the table touches no cell, and every structural edit ends by scaling the shares back to a total of 1.
/// Once `createCells()` has run (or a stored table was read) the table holds exactly one cell per grid
/// position and one share per column and per row; the edits below keep that.
///
/// The share lists are edited in place and report through their `events()`: 2 for a whole new list, 8 for
/// an insertion, 16 for a removal and 32 for a new value, with the index as key.
class Table : public CanvasItem {
public:
    /// Writes `gridSize` and a size of 900 by 600 on the user layer. No cells, no shares yet.
    explicit Table(Fathom::SizeT<int> gridSize);
    ~Table() override;
    /// A new 1 by 1 table, owned by the caller: what the element factories make for "tavola_table".
    static Tessel::Element* makeDefault();

    /// Fills an empty table from "grid-size": a cell per position and even shares. It doesn't look for
    /// cells already there, so a second call adds a second set.
    void createCells();
    /// The cells under the table now, by column and then by row; a snapshot. Children that aren't cells
    /// are skipped; of two cells with the same index the later child wins.
    QMap<int, QMap<int, TableCell*>> collectCells() const;
    /// Inserts a column before `col`; `col` equal to the width appends. 0 <= col <= width is the caller's
    /// duty. The new column takes the share of the column it displaces (an even share when appended).
    void addColumn(int col);
    /// Inserts a row before `row`, as `addColumn` does for columns.
    void addRow(int row);
    /// Removes a column and deletes its cells; does nothing for an index out of range or the last column.
    void removeColumn(int col);
    /// Removes a row and deletes its cells; does nothing for an index out of range or the last row.
    void removeRow(int row);

    /// After the item's values, copies "title" and "grid-size" if the source has them on the user layer,
    /// and both share lists unconditionally. No cells: cloning children is `cloneElement`'s business.
    /// False, copying nothing, unless `source` is a `Table`.
    bool copyValues(CanvasElement const& source) override;
    /// "Table".
    QString uiTitleDefault() const override;

    /// Number of columns (width, "grid-width") and rows (height, "grid-height").
    Basalt::AttributeT<Fathom::SizeT<int>> gridSize;
    /// Share of the table's width per column.
    Basalt::AttributeVectorContainer<float> columnWidths;
    /// Share of the table's height per row.
    Basalt::AttributeVectorContainer<float> rowHeights;
    /// The table's title.
    Basalt::AttributeT<QString> title;

private:
    void addCell(int x, int y);
};

} // namespace Datamodel
