-- Tables: a grid of equal columns and rows over the table's rectangle, with one cell per grid position.

-- grid_size is the encoded pair of ints: columns, then rows.
CREATE TABLE tavola_tables (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    grid_size BYTEA
);

-- cell_index is the encoded pair of ints: column, then row, from 0.
CREATE TABLE tavola_table_cells (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    cell_index BYTEA
);
