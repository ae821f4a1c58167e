#include "canvas/Table.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <set>
#include <utility>
#include <vector>

namespace {

using Basalt::Attribute;
using Basalt::AttributeEvent;
using Datamodel::Table;
using Datamodel::TableCell;

using Events = std::vector<std::pair<int, unsigned long>>;

// Records every event of a share list as (type, key).
void record(Basalt::AttributeVectorContainer<float>& shares, Events& events) {
    shares.events().addListener(
        Cobalt::FlagsT<AttributeEvent::Type>::fromBits(2 | 8 | 16 | 32),
        [&events](AttributeEvent event) { events.emplace_back(event.type, event.key); });
}

std::vector<TableCell*> cellsOf(Table const& table) {
    std::vector<TableCell*> cells;
    for (auto const& entry : table.attributes()) {
        if (auto* cell = dynamic_cast<TableCell*>(entry.second)) {
            cells.push_back(cell);
        }
    }
    return cells;
}

// The invariants every edit keeps: one cell per grid position and shares that add up to 1.
void expectConsistent(Table const& table) {
    Fathom::SizeT<int> const grid = table.gridSize.value();
    std::set<std::pair<int, int>> seen;
    for (TableCell const* cell : cellsOf(table)) {
        Fathom::Vector2T<int> const index = cell->cellIndex.value();
        EXPECT_TRUE(index.x >= 0 && index.x < grid.width && index.y >= 0 && index.y < grid.height)
            << "cell (" << index.x << ", " << index.y << ") lies outside the grid";
        EXPECT_TRUE(seen.insert({index.x, index.y}).second)
            << "two cells share (" << index.x << ", " << index.y << ")";
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(grid.width * grid.height))
        << "a grid position has no cell";
    ASSERT_EQ(table.columnWidths.size(), static_cast<std::size_t>(grid.width));
    ASSERT_EQ(table.rowHeights.size(), static_cast<std::size_t>(grid.height));
    auto const& widths = table.columnWidths.values();
    auto const& heights = table.rowHeights.values();
    EXPECT_NEAR(std::accumulate(widths.begin(), widths.end(), 0.0), 1.0, 1e-5)
        << "column shares must add up to 1";
    EXPECT_NEAR(std::accumulate(heights.begin(), heights.end(), 0.0), 1.0, 1e-5)
        << "row shares must add up to 1";
}

// A table of `columns` by `rows` with its cells and the given column shares.
std::unique_ptr<Table> tableWithColumns(std::vector<float> shares, int rows = 1) {
    auto table = std::make_unique<Table>(Fathom::SizeT<int>(static_cast<int>(shares.size()), rows));
    table->createCells();
    table->columnWidths.setValues(std::move(shares));
    return table;
}

void expectShares(std::vector<float> const& actual, std::vector<float> const& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_FLOAT_EQ(actual[i], expected[i]) << "share " << i;
    }
}

} // namespace

TEST(Table, AttributesAreDeclaredInOrderWithTheirTypesDefaultsAndLayers) {
    Table table(Fathom::SizeT<int>(1, 1));
    std::vector<TestSupport::MemberRow> const rows = {
        {"grid-size", "size2:int", "1 1", Attribute::LAYER_USER},
        {"column-widths", "vector:float", "", Attribute::LAYER_DEFAULT},
        {"row-heights", "vector:float", "", Attribute::LAYER_DEFAULT},
        {"title", "string", "", Attribute::LAYER_DEFAULT},
    };
    std::vector<Attribute const*> const declared = {&table.gridSize, &table.columnWidths, &table.rowHeights,
                                                    &table.title};
    // The table's own attributes follow the item's, the grid size with its two components.
    std::vector<Attribute const*> last = TestSupport::lastAttributes(table, 6);
    ASSERT_EQ(last.size(), 6u);
    EXPECT_EQ(last[1]->name(), QByteArray("grid-width"));
    EXPECT_EQ(last[2]->name(), QByteArray("grid-height"));
    last.erase(last.begin() + 1, last.begin() + 3);
    TestSupport::expectOwnAttributes(last, declared, rows);
    EXPECT_EQ(table.flags().bits(), 0u);
    EXPECT_EQ(table.uiTitle(), QStringLiteral("Table"));
    EXPECT_TRUE(table.size.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(TableCell, AttributesAreDeclaredInOrderWithTheirTypesDefaultsAndLayers) {
    TableCell cell;
    std::vector<TestSupport::MemberRow> const rows = {
        {"cell-index", "vector2:int", "-1 -1", Attribute::LAYER_DEFAULT},
    };
    TestSupport::expectOwnAttributes(TestSupport::lastAttributes(cell, rows.size()), {&cell.cellIndex}, rows);
    EXPECT_FLOAT_EQ(cell.depth.value(), 0.01f);
    EXPECT_TRUE(cell.depth.isValueDefinedOnLayer(Attribute::LAYER_USER))
        << "a cell sits just above its table";
    EXPECT_EQ(cell.flags().bits(), 0u);
}

TEST(Table, ANewTableHoldsItsGridSizeButNoCellsAndNoShares) {
    Table table(Fathom::SizeT<int>(4, 3));
    EXPECT_EQ(table.gridSize.value(), Fathom::SizeT<int>(4, 3));
    EXPECT_TRUE(table.gridSize.component(0).isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_TRUE(cellsOf(table).empty());
    EXPECT_TRUE(table.columnWidths.values().empty());
    EXPECT_TRUE(table.rowHeights.values().empty());
    EXPECT_EQ(table.size.value(), Fathom::SizeT<float>(900.0f, 600.0f));
}

TEST(Table, CreateCellsOnThreeByTwoGivesSixCellsAndEvenShares) {
    Table table(Fathom::SizeT<int>(3, 2));
    Events columnEvents;
    Events rowEvents;
    record(table.columnWidths, columnEvents);
    record(table.rowHeights, rowEvents);
    table.createCells();

    auto const cells = table.collectCells();
    ASSERT_EQ(cellsOf(table).size(), 6u);
    for (int x = 0; x < 3; ++x) {
        for (int y = 0; y < 2; ++y) {
            EXPECT_TRUE(cells.value(x).value(y)) << "no cell at (" << x << ", " << y << ")";
        }
    }
    expectShares(table.columnWidths.values(), {1.0f / 3.0f, 1.0f / 3.0f, 1.0f / 3.0f});
    expectShares(table.rowHeights.values(), {0.5f, 0.5f});
    EXPECT_EQ(table.size.value(), Fathom::SizeT<float>(900.0f, 600.0f));
    EXPECT_EQ(columnEvents, (Events{{2, 0}})) << "one event for the whole list";
    EXPECT_EQ(rowEvents, (Events{{2, 0}}));
    expectConsistent(table);
}

TEST(Table, CellsAreNamedByFreshIdentifiersNotByPosition) {
    Table table(Fathom::SizeT<int>(2, 2));
    table.createCells();
    std::set<QByteArray> names;
    for (TableCell const* cell : cellsOf(table)) {
        EXPECT_EQ(cell->name().size(), 36) << "a cell's name is a UUID";
        EXPECT_EQ(cell->host(), &table);
        names.insert(cell->name());
    }
    EXPECT_EQ(names.size(), 4u);
}

TEST(Table, ASecondCreateCellsAddsASecondSet) {
    Table table(Fathom::SizeT<int>(2, 1));
    table.createCells();
    table.createCells();
    EXPECT_EQ(cellsOf(table).size(), 4u);
    EXPECT_EQ(table.collectCells().value(0).size(), 1) << "the later of two equal cells wins";
}

TEST(Table, CollectCellsSkipsChildrenThatArentCells) {
    Table table(Fathom::SizeT<int>(1, 1));
    table.createCells();
    table.addAttribute(new Datamodel::CanvasItem());
    auto const cells = table.collectCells();
    ASSERT_EQ(cells.size(), 1);
    EXPECT_EQ(cells.value(0).size(), 1);
}

TEST(Table, AddColumnInFrontTakesTheShareOfTheColumnItDisplaces) {
    auto table = tableWithColumns({0.5f, 0.25f, 0.25f}, 2);
    Events events;
    record(table->columnWidths, events);
    table->addColumn(1);
    // f = 0.25 and s = 0.8: the old entries shrink, the new one sits at 1.
    expectShares(table->columnWidths.values(), {0.4f, 0.2f, 0.2f, 0.2f});
    EXPECT_EQ(events, (Events{{32, 0}, {32, 1}, {32, 2}, {8, 1}}));
    EXPECT_EQ(table->gridSize.value(), Fathom::SizeT<int>(4, 2));
    expectConsistent(*table);
}

TEST(Table, AddColumnAtTheEndTakesAnEvenShareOfTheOldWidth) {
    auto table = tableWithColumns({0.5f, 0.5f});
    table->addColumn(2);
    expectShares(table->columnWidths.values(), {1.0f / 3.0f, 1.0f / 3.0f, 1.0f / 3.0f});
    expectConsistent(*table);
}

TEST(Table, AddColumnMovesTheCellsRightOfItAndKeepsTheOthers) {
    auto table = tableWithColumns({0.5f, 0.25f, 0.25f}, 2);
    auto const before = table->collectCells();
    table->addColumn(1);
    auto const after = table->collectCells();
    for (int y = 0; y < 2; ++y) {
        EXPECT_EQ(after.value(0).value(y), before.value(0).value(y)) << "column 0 stays";
        EXPECT_EQ(after.value(2).value(y), before.value(1).value(y)) << "column 1 moves to 2";
        EXPECT_EQ(after.value(3).value(y), before.value(2).value(y)) << "column 2 moves to 3";
        TableCell const* added = after.value(1).value(y);
        ASSERT_TRUE(added);
        EXPECT_NE(added, before.value(1).value(y));
    }
}

TEST(Table, AddRowInFrontTakesTheShareOfTheRowItDisplaces) {
    Table table(Fathom::SizeT<int>(2, 3));
    table.createCells();
    table.rowHeights.setValues({0.5f, 0.25f, 0.25f});
    auto const before = table.collectCells();
    Events events;
    record(table.rowHeights, events);
    table.addRow(0);
    expectShares(table.rowHeights.values(), {1.0f / 3.0f, 1.0f / 3.0f, 1.0f / 6.0f, 1.0f / 6.0f});
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back(), (std::pair<int, unsigned long>(8, 0)));
    EXPECT_EQ(table.gridSize.value(), Fathom::SizeT<int>(2, 4));
    auto const after = table.collectCells();
    for (int x = 0; x < 2; ++x) {
        for (int y = 0; y < 3; ++y) {
            EXPECT_EQ(after.value(x).value(y + 1), before.value(x).value(y)) << "rows move down by one";
        }
    }
    expectConsistent(table);
}

TEST(Table, AddRowAtTheEndTakesAnEvenShareOfTheOldHeight) {
    Table table(Fathom::SizeT<int>(1, 2));
    table.createCells();
    table.addRow(2);
    expectShares(table.rowHeights.values(), {1.0f / 3.0f, 1.0f / 3.0f, 1.0f / 3.0f});
    expectConsistent(table);
}

TEST(Table, RemoveColumnScalesTheRestBackToOne) {
    auto table = tableWithColumns({0.5f, 0.25f, 0.25f}, 2);
    auto const before = table->collectCells();
    Events events;
    record(table->columnWidths, events);
    table->removeColumn(0);
    // s = 1 / (1 - 0.5) = 2.
    expectShares(table->columnWidths.values(), {0.5f, 0.5f});
    EXPECT_EQ(events, (Events{{16, 0}, {32, 0}, {32, 1}}));
    EXPECT_EQ(table->gridSize.value(), Fathom::SizeT<int>(2, 2));
    auto const after = table->collectCells();
    EXPECT_EQ(after.value(0).value(1), before.value(1).value(1));
    EXPECT_EQ(after.value(1).value(0), before.value(2).value(0));
    expectConsistent(*table);
}

TEST(Table, RemovalsOutOfRangeOrOfTheLastColumnChangeNothing) {
    struct Row {
        char const* what;
        Fathom::SizeT<int> grid;
        bool column;
        int index;
    };
    Row const rows[] = {
        {"the only column", Fathom::SizeT<int>(1, 2), true, 0},
        {"row 5 of three", Fathom::SizeT<int>(2, 3), false, 5},
        {"the only row", Fathom::SizeT<int>(2, 1), false, 0},
        {"column -1", Fathom::SizeT<int>(3, 1), true, -1},
        {"column 3 of three", Fathom::SizeT<int>(3, 1), true, 3},
        {"row -1", Fathom::SizeT<int>(1, 3), false, -1},
    };
    for (Row const& row : rows) {
        Table table(row.grid);
        table.createCells();
        std::vector<float> const widths = table.columnWidths.values();
        std::vector<float> const heights = table.rowHeights.values();
        Events events;
        record(table.columnWidths, events);
        record(table.rowHeights, events);
        if (row.column) {
            table.removeColumn(row.index);
        } else {
            table.removeRow(row.index);
        }
        EXPECT_EQ(table.gridSize.value(), row.grid) << row.what;
        EXPECT_EQ(cellsOf(table).size(), static_cast<std::size_t>(row.grid.width * row.grid.height))
            << row.what;
        EXPECT_EQ(table.columnWidths.values(), widths) << row.what;
        EXPECT_EQ(table.rowHeights.values(), heights) << row.what;
        EXPECT_TRUE(events.empty()) << row.what << " must send no event";
    }
}

TEST(Table, ScalingByExactlyOneSendsNoValueEvents) {
    // Removing a column of share 0 scales by 1.
    auto removing = tableWithColumns({1.0f, 0.0f});
    Events removed;
    record(removing->columnWidths, removed);
    removing->removeColumn(1);
    EXPECT_EQ(removed, (Events{{16, 1}}));

    // Displacing a column of share 0 scales by 1 too.
    auto adding = tableWithColumns({1.0f, 0.0f});
    Events added;
    record(adding->columnWidths, added);
    adding->addColumn(1);
    EXPECT_EQ(added, (Events{{8, 1}}));
    expectShares(adding->columnWidths.values(), {1.0f, 0.0f, 0.0f});
}

TEST(Table, RemoveRowMovesTheRowsBelowUp) {
    Table table(Fathom::SizeT<int>(2, 3));
    table.createCells();
    auto const before = table.collectCells();
    table.removeRow(1);
    EXPECT_EQ(table.gridSize.component(1).value(), 2) << "grid-height";
    for (int x = 0; x < 2; ++x) {
        TableCell const* formerLast = before.value(x).value(2);
        EXPECT_EQ(formerLast->cellIndex.value(), Fathom::Vector2T<int>(x, 1));
        EXPECT_EQ(before.value(x).value(0)->cellIndex.value(), Fathom::Vector2T<int>(x, 0));
    }
    expectShares(table.rowHeights.values(), {0.5f, 0.5f});
    expectConsistent(table);
}

TEST(Table, ASequenceOfEditsKeepsTheGridConsistent) {
    Table table(Fathom::SizeT<int>(2, 2));
    table.createCells();
    table.addColumn(0);
    table.addRow(1);
    table.addColumn(3);
    table.removeRow(0);
    table.addRow(2);
    table.removeColumn(2);
    table.removeColumn(0);
    EXPECT_EQ(table.gridSize.value(), Fathom::SizeT<int>(2, 3));
    expectConsistent(table);
}

TEST(Table, ACellCopiedWithCopyValuesKeepsItsOwnLocationAndSize) {
    TableCell source;
    source.cellIndex = Fathom::Vector2T<int>(2, 3);
    source.location = Fathom::Vector2T<float>(50.0f, 60.0f);
    source.size = Fathom::SizeT<float>(10.0f, 20.0f);
    TableCell copy;
    copy.location = Fathom::Vector2T<float>(1.0f, 2.0f);
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.cellIndex.value(), Fathom::Vector2T<int>(2, 3));
    EXPECT_EQ(copy.location.value(), Fathom::Vector2T<float>(1.0f, 2.0f));
    EXPECT_EQ(copy.size.value(), Fathom::SizeT<float>(100.0f, 100.0f));
    EXPECT_FALSE(copy.size.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Table, CopyValuesFromAnotherClassFails) {
    TableCell cell;
    Table table(Fathom::SizeT<int>(1, 1));
    EXPECT_FALSE(table.copyValues(cell));
    EXPECT_FALSE(cell.copyValues(table));
}

TEST(Table, CopyValuesTakesTitleGridAndSharesButNoCells) {
    Table source(Fathom::SizeT<int>(3, 2));
    source.createCells();
    source.title = QStringLiteral("Plan");
    source.location = Fathom::Vector2T<float>(7.0f, 8.0f);
    Table copy(Fathom::SizeT<int>(1, 1));
    Events events;
    record(copy.columnWidths, events);
    EXPECT_TRUE(copy.copyValues(source));
    EXPECT_EQ(copy.title.value(), QStringLiteral("Plan"));
    EXPECT_EQ(copy.gridSize.value(), Fathom::SizeT<int>(3, 2));
    EXPECT_EQ(copy.location.value(), Fathom::Vector2T<float>(7.0f, 8.0f));
    EXPECT_EQ(copy.columnWidths.values(), source.columnWidths.values());
    EXPECT_EQ(copy.rowHeights.values(), source.rowHeights.values());
    EXPECT_EQ(events, (Events{{2, 0}}));
    EXPECT_TRUE(cellsOf(copy).empty());

    // Empty lists over empty lists are no change.
    Table bare(Fathom::SizeT<int>(1, 1));
    Table other(Fathom::SizeT<int>(1, 1));
    Events none;
    record(other.columnWidths, none);
    record(other.rowHeights, none);
    EXPECT_TRUE(other.copyValues(bare));
    EXPECT_TRUE(none.empty());
}

TEST(Table, ACloneCarriesItsCellsWithFreshGuids) {
    auto factory = std::make_shared<Tessel::ElementFactory>();
    factory->addFactory<Table>("tavola_table", [] { return new Table(Fathom::SizeT<int>(1, 1)); });
    factory->addFactory<TableCell>("tavola_table_cell");
    Table source(Fathom::SizeT<int>(2, 2));
    source.initName();
    source.createCells();
    source.addColumn(1);

    std::unique_ptr<Tessel::Element> clone(source.cloneElement(factory));
    auto* table = dynamic_cast<Table*>(clone.get());
    ASSERT_TRUE(table);
    EXPECT_EQ(table->gridSize.value(), Fathom::SizeT<int>(3, 2));
    EXPECT_EQ(cellsOf(*table).size(), 6u);
    expectConsistent(*table);
}
