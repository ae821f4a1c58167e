-- Anchors: named places on a canvas that a user can jump to, and the canvas's list of their ids.

-- anchor_id is unique in its document, not across documents, so it gets no unique index here.
CREATE TABLE tavola_anchors (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    anchor_name TEXT,
    anchor_id BIGINT
);

-- The ordered list of the canvas's anchor ids, as the encoded list of 64-bit integers.
ALTER TABLE tavola_shared_canvass ADD COLUMN anchor_ids BYTEA;
