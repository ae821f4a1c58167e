-- Assets that show a 3D model keep its pose (yaw and pitch, in radians) and the colour behind it.
-- Every kind of asset carries these values, so each asset table gets them.

ALTER TABLE tavola_assets
    ADD COLUMN backdrop_color BYTEA,
    ADD COLUMN model_yaw REAL,
    ADD COLUMN model_pitch REAL;
ALTER TABLE tavola_image_assets
    ADD COLUMN backdrop_color BYTEA,
    ADD COLUMN model_yaw REAL,
    ADD COLUMN model_pitch REAL;
ALTER TABLE tavola_pdf_assets
    ADD COLUMN backdrop_color BYTEA,
    ADD COLUMN model_yaw REAL,
    ADD COLUMN model_pitch REAL;
ALTER TABLE tavola_video_assets
    ADD COLUMN backdrop_color BYTEA,
    ADD COLUMN model_yaw REAL,
    ADD COLUMN model_pitch REAL;
