-- Links to other canvases, placed on a canvas like any item.

CREATE TABLE tavola_canvas_links (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    title TEXT
);
