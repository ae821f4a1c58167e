-- First tables of the canvas model: the canvas root and the items a canvas starts out with.
-- Each element type has one table, named by its type key plus "s", whose id is that of its node; a value
-- that is NULL was never written and the element shows its default. Columns of the canvas item base
-- (location, depth, size, scale, pinned) are repeated in the table of every item type.
-- Two floats (location, size) are REAL[2]; colours, enumerations and asset hashes keep the encoded bytes.

-- The canvas root. It is an item like any other, so that it has a place and a size of its own.
CREATE TABLE tavola_shared_canvass (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN
);

CREATE TABLE tavola_notes (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    text TEXT,
    background_color BYTEA
);

-- Items that show a stored file. source is the file's public hash.
CREATE TABLE tavola_assets (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    source BYTEA
);

CREATE TABLE tavola_image_assets (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    source BYTEA
);

-- "index" is the page in view.
CREATE TABLE tavola_pdf_assets (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    source BYTEA,
    "index" REAL
);

-- Playback is shared by every site: where to seek to, when that was asked for (microseconds), and the state.
CREATE TABLE tavola_video_assets (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    source BYTEA,
    seek_position REAL,
    seek_timestamp BIGINT,
    playback_state BYTEA
);

CREATE TABLE tavola_browsers (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    source TEXT,
    transparent_mode BOOLEAN,
    main_frame_scroll_offset REAL[]
);

-- Live video that some site provides, in its three kinds.
CREATE TABLE tavola_video_ip_streams (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    host_site TEXT,
    source TEXT,
    floating_host_view TEXT
);

CREATE TABLE tavola_video_screen_share_streams (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    host_site TEXT,
    source TEXT,
    floating_host_view TEXT
);

CREATE TABLE tavola_video_aux_pc_streams (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN,
    host_site TEXT,
    source TEXT,
    floating_host_view TEXT
);

-- Freehand strokes are drawn into a container, which carries the drawing settings they were made with.
CREATE TABLE tavola_annotation_containers (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    finished BOOLEAN,
    line_depth REAL,
    line_points_minimum_distance REAL
);

-- A stroke is a path of cubic Bezier control points (point, out, in, point, ..., point), stored as
-- PostgreSQL points; line_width is its width, the same along the whole stroke.
CREATE TABLE tavola_annotations (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    annotation_page INTEGER,
    line_width REAL,
    line_color BYTEA,
    points POINT[],
    finished BOOLEAN,
    line_depth REAL,
    line_points_minimum_distance REAL
);
