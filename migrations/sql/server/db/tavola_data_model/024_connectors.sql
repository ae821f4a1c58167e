-- Connectors: lines between two elements of a canvas, kept in one container under the canvas root.
-- src and dst hold the names of the joined elements. An end either picks its spot by itself or sits at
-- the fixed spot given relative to its element.

CREATE TABLE tavola_connector_containers (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE
);

CREATE TABLE tavola_connectors (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    connector_type BYTEA,
    src TEXT,
    src_rel_location REAL[],
    src_auto_location BOOLEAN,
    src_tip BYTEA,
    dst TEXT,
    dst_rel_location REAL[],
    dst_auto_location BOOLEAN,
    dst_tip BYTEA,
    line_color BYTEA,
    line_width REAL
);
