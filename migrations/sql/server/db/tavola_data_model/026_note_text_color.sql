-- A note's text gets a colour of its own, which can follow the background by itself, and the canvas keeps
-- the colours that it offers for note text.

ALTER TABLE tavola_notes
    ADD COLUMN text_color BYTEA,
    ADD COLUMN auto_text_color BOOLEAN;

ALTER TABLE tavola_shared_canvass ADD COLUMN note_text_color_presets BYTEA;
