-- The server index: a tree of folders whose leaves are canvases. permission_overrides holds the encoded
-- entries written on the node itself; what a node inherits is worked out by whoever opens the index, and
-- so is never stored.

-- The root of the index, itself a folder.
CREATE TABLE server_indexs (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    permission_overrides BYTEA,
    folder_name TEXT
);

CREATE TABLE server_index_folders (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    permission_overrides BYTEA,
    folder_name TEXT
);

-- The record of one canvas. Name, state, passwords, size and times (microseconds) are mirrored from the
-- canvas's own document; new_resolution is a width and a height.
CREATE TABLE canvas_documents (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    permission_overrides BYTEA,
    canvas_name TEXT,
    demo_canvas BOOLEAN,
    has_main_password BOOLEAN,
    has_access_password BOOLEAN,
    size BIGINT,
    created BIGINT,
    modified BIGINT,
    initial_main_password TEXT,
    initial_access_password TEXT,
    new_resolution REAL[],
    canvas_id TEXT
);

-- A canvas's record is looked up by the canvas's id.
CREATE INDEX canvas_documents_by_canvas_id ON canvas_documents (canvas_id);
