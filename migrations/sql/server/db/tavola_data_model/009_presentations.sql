-- Presentations: named walks over items of a canvas. A slide points at its content by guid and says how
-- the view gets there; "order" gives the sequence of the slides.

CREATE TABLE tavola_presentation_containers (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE
);

CREATE TABLE tavola_presentations (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    presentation_name TEXT
);

CREATE TABLE tavola_presentation_slides (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    content_id TEXT,
    transition_type BYTEA,
    video_autoplay BOOLEAN,
    focus BOOLEAN,
    allow_touch BOOLEAN,
    temporary_annotation BOOLEAN,
    "order" REAL
);
