#include "canvas/Table.hpp"

#include "platform/tessel/Uuid.hpp"

#include <vector>

namespace Datamodel {

namespace {

// A list of `count` even shares; empty for no entries.
std::vector<float> evenShares(int count) {
    return count > 0 ? std::vector<float>(static_cast<std::size_t>(count), 1.0f / static_cast<float>(count))
                     : std::vector<float>();
}

// Replaces a list, reporting it unless nothing was there before or after.
void replaceShares(Basalt::AttributeVectorContainer<float>& shares, std::vector<float> values) {
    if (shares.values().empty() && values.empty()) {
        return;
    }
    shares.setValues(std::move(values));
}

// Multiplies every share by `factor`, reporting only those whose value moved.
void scaleShares(Basalt::AttributeVectorContainer<float>& shares, float factor) {
    for (std::size_t i = 0; i < shares.size(); ++i) {
        float const scaled = shares.at(i) * factor;
        if (scaled != shares.at(i)) {
            shares.replace(i, scaled);
        }
    }
}

// Inserts the share of a new column or row at `index` of a list that had `oldCount` entries, scaled so
// that the list adds up to 1 again. It takes the share of the entry it displaces; appended, an even share.
void insertShare(Basalt::AttributeVectorContainer<float>& shares, int index, int oldCount) {
    std::size_t const at = static_cast<std::size_t>(index);
    bool const inFront = index < oldCount && at < shares.size();
    float const share = inFront ? shares.at(at) : 1.0f / static_cast<float>(oldCount);
    float const factor = 1.0f / (share + 1.0f);
    scaleShares(shares, factor);
    shares.insert(at, share * factor);
}

// Removes the share at `index` and scales the rest back up to a total of 1.
void removeShare(Basalt::AttributeVectorContainer<float>& shares, int index) {
    std::size_t const at = static_cast<std::size_t>(index);
    if (at >= shares.size()) {
        return;
    }
    float const factor = 1.0f / (1.0f - shares.at(at));
    shares.removeAt(at);
    scaleShares(shares, factor);
}

} // namespace

TableCell::TableCell()
    : CanvasItem(Tessel::Element::Flags::fromBits(0)),
      cellIndex(this, QByteArrayLiteral("cell-index"), Fathom::Vector2T<int>(-1, -1)) {
    // Just above the table, so that a cell is drawn over the table's own rectangle.
    depth = 0.01f;
}

TableCell::~TableCell() = default;

bool TableCell::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<TableCell const*>(&source);
    if (!other) {
        return false;
    }
    // Deliberately not the item's values: a cell's place and size follow from its table.
    copyAttributeIfDefinedOnUserLayer(cellIndex, other->cellIndex);
    return true;
}

Table::Table(Fathom::SizeT<int> grid)
    : CanvasItem(Tessel::Element::Flags::fromBits(0)),
      gridSize(this, QByteArrayLiteral("grid-size"), Fathom::SizeT<int>(1, 1)),
      columnWidths(this, QByteArrayLiteral("column-widths")),
      rowHeights(this, QByteArrayLiteral("row-heights")), title(this, QByteArrayLiteral("title"), QString()) {
    gridSize.component(0).setName(QByteArrayLiteral("grid-width"));
    gridSize.component(1).setName(QByteArrayLiteral("grid-height"));
    gridSize = grid;
    size = Fathom::SizeT<float>(900.0f, 600.0f);
}

Tessel::Element* Table::makeDefault() {
    return new Table(Fathom::SizeT<int>(1, 1));
}

Table::~Table() = default;

void Table::addCell(int x, int y) {
    auto* cell = new TableCell();
    cell->cellIndex = Fathom::Vector2T<int>(x, y);
    addAttribute(Tessel::generateUuid(), cell);
}

void Table::createCells() {
    Fathom::SizeT<int> const grid = gridSize.value();
    for (int x = 0; x < grid.width; ++x) {
        for (int y = 0; y < grid.height; ++y) {
            addCell(x, y);
        }
    }
    replaceShares(columnWidths, evenShares(grid.width));
    replaceShares(rowHeights, evenShares(grid.height));
}

QMap<int, QMap<int, TableCell*>> Table::collectCells() const {
    QMap<int, QMap<int, TableCell*>> cells;
    for (Entry const& entry : attributes()) {
        if (auto* cell = dynamic_cast<TableCell*>(entry.second)) {
            Fathom::Vector2T<int> const index = cell->cellIndex.value();
            cells[index.x][index.y] = cell;
        }
    }
    return cells;
}

void Table::addColumn(int col) {
    Fathom::SizeT<int> const old = gridSize.value();
    gridSize = Fathom::SizeT<int>(old.width + 1, old.height);
    QMap<int, QMap<int, TableCell*>> const cells = collectCells();
    // Right to left, so that no two cells ever share an index.
    for (int x = cells.size() - 1; x >= col; --x) {
        QMap<int, TableCell*> const column = cells.value(x);
        for (int y = 0; y < column.size(); ++y) {
            if (TableCell* cell = column.value(y)) {
                cell->cellIndex = Fathom::Vector2T<int>(x + 1, y);
            }
        }
    }
    for (int y = 0; y < old.height; ++y) {
        addCell(col, y);
    }
    insertShare(columnWidths, col, old.width);
}

void Table::addRow(int row) {
    Fathom::SizeT<int> const old = gridSize.value();
    gridSize = Fathom::SizeT<int>(old.width, old.height + 1);
    QMap<int, QMap<int, TableCell*>> const cells = collectCells();
    for (auto column = cells.cbegin(); column != cells.cend(); ++column) {
        // Bottom to top, so that no two cells ever share an index.
        for (int y = column.value().size() - 1; y >= row; --y) {
            if (TableCell* cell = column.value().value(y)) {
                cell->cellIndex = Fathom::Vector2T<int>(column.key(), y + 1);
            }
        }
    }
    for (int x = 0; x < old.width; ++x) {
        addCell(x, row);
    }
    insertShare(rowHeights, row, old.height);
}

void Table::removeColumn(int col) {
    Fathom::SizeT<int> const old = gridSize.value();
    // A table always keeps a column.
    if (old.width < 2 || col < 0 || col >= old.width) {
        return;
    }
    QMap<int, QMap<int, TableCell*>> const cells = collectCells();
    for (TableCell* cell : cells.value(col)) {
        cell->removeHost();
        delete cell;
    }
    for (auto column = cells.upperBound(col); column != cells.cend(); ++column) {
        for (auto cell = column.value().cbegin(); cell != column.value().cend(); ++cell) {
            cell.value()->cellIndex = Fathom::Vector2T<int>(column.key() - 1, cell.key());
        }
    }
    gridSize = Fathom::SizeT<int>(old.width - 1, old.height);
    removeShare(columnWidths, col);
}

void Table::removeRow(int row) {
    Fathom::SizeT<int> const old = gridSize.value();
    // A table always keeps a row.
    if (old.height < 2 || row < 0 || row >= old.height) {
        return;
    }
    QMap<int, QMap<int, TableCell*>> const cells = collectCells();
    for (auto column = cells.cbegin(); column != cells.cend(); ++column) {
        if (TableCell* removed = column.value().value(row)) {
            removed->removeHost();
            delete removed;
        }
        for (auto cell = column.value().upperBound(row); cell != column.value().cend(); ++cell) {
            cell.value()->cellIndex = Fathom::Vector2T<int>(column.key(), cell.key() - 1);
        }
    }
    gridSize = Fathom::SizeT<int>(old.width, old.height - 1);
    removeShare(rowHeights, row);
}

bool Table::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<Table const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = CanvasItem::copyValues(source);
    copyAttributeIfDefinedOnUserLayer(title, other->title);
    copyAttributeIfDefinedOnUserLayer(gridSize, other->gridSize);
    // The shares belong to the grid's shape, whatever layer the grid size is on.
    replaceShares(columnWidths, other->columnWidths.values());
    replaceShares(rowHeights, other->rowHeights.values());
    return copied;
}

QString Table::uiTitleDefault() const {
    return QStringLiteral("Table");
}

} // namespace Datamodel
