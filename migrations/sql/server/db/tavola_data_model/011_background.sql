-- The canvas background: a colour or an image behind everything, with or without a grid.
-- background_image is the hash of the image; background_image_size says how it is fitted.

CREATE TABLE tavola_canvas_backgrounds (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    background_color BYTEA,
    background_image BYTEA,
    background_image_size BYTEA,
    grid_visible BOOLEAN,
    grid_color BYTEA
);
