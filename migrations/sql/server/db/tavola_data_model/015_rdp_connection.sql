-- Remote desktop items. content_id is the guid of the asset, a child of the item, that carries the stream.

CREATE TABLE tavola_rdp_connections (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    connection_name TEXT,
    host_site TEXT,
    content_id TEXT
);
