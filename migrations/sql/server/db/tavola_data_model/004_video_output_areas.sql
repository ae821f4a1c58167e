-- Video outputs: areas of a canvas that can be sent to an output, and per output what it shows.

CREATE TABLE tavola_video_output_anchors (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    location REAL[],
    depth REAL,
    size REAL[],
    scale REAL,
    pinned BOOLEAN
);

-- A map holds only its sinks, as children.
CREATE TABLE tavola_video_output_maps (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE
);

-- source is "item:" and an element's name when the output shows an element of the canvas.
CREATE TABLE tavola_video_output_sinks (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    source TEXT,
    output_name TEXT,
    show_menus BOOLEAN
);
