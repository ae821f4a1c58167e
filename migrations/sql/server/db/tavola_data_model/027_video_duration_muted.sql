-- Videos share their length and whether their sound is off.

ALTER TABLE tavola_video_assets
    ADD COLUMN muted BOOLEAN,
    ADD COLUMN duration REAL;
