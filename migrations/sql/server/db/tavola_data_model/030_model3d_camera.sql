-- The camera that looks at a 3D model gets its field of view.

ALTER TABLE tavola_assets ADD COLUMN camera_fov REAL;
ALTER TABLE tavola_image_assets ADD COLUMN camera_fov REAL;
ALTER TABLE tavola_pdf_assets ADD COLUMN camera_fov REAL;
ALTER TABLE tavola_video_assets ADD COLUMN camera_fov REAL;
