-- Bookmarks of a canvas: web addresses and stream sources kept in containers under the canvas root.

CREATE TABLE tavola_bookmark_containers (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE
);

CREATE TABLE tavola_bookmarks (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    url TEXT,
    title TEXT,
    "order" REAL
);
