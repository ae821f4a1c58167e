-- Each canvas keeps the colours that it offers for annotations, note backgrounds and connectors, as encoded
-- lists of colours.

ALTER TABLE tavola_shared_canvass
    ADD COLUMN annotation_color_presets BYTEA,
    ADD COLUMN note_background_color_presets BYTEA,
    ADD COLUMN connector_color_presets BYTEA;
