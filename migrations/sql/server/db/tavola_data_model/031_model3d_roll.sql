-- The pose of a 3D model gets its third angle, the roll.

ALTER TABLE tavola_assets ADD COLUMN model_roll REAL;
ALTER TABLE tavola_image_assets ADD COLUMN model_roll REAL;
ALTER TABLE tavola_pdf_assets ADD COLUMN model_roll REAL;
ALTER TABLE tavola_video_assets ADD COLUMN model_roll REAL;
