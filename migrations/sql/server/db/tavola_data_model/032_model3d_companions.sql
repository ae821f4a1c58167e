-- A 3D model can come with a second file of companion data; the column holds that file's hash.

ALTER TABLE tavola_assets ADD COLUMN companions_source BYTEA;
ALTER TABLE tavola_image_assets ADD COLUMN companions_source BYTEA;
ALTER TABLE tavola_pdf_assets ADD COLUMN companions_source BYTEA;
ALTER TABLE tavola_video_assets ADD COLUMN companions_source BYTEA;
