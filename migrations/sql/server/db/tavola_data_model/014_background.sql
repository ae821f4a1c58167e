-- The background can now be chosen by kind (solid, image or the animated effect), and the effect has its
-- two colours, its speed and its scale.

ALTER TABLE tavola_canvas_backgrounds
    ADD COLUMN background_type BYTEA,
    ADD COLUMN effect01_color1 BYTEA,
    ADD COLUMN effect01_color2 BYTEA,
    ADD COLUMN effect01_speed REAL,
    ADD COLUMN effect01_scale REAL;
