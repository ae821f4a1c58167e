-- Assets keep the name their file had when it was imported, to show when they have no title.

ALTER TABLE tavola_assets ADD COLUMN original_filename TEXT;
ALTER TABLE tavola_image_assets ADD COLUMN original_filename TEXT;
ALTER TABLE tavola_pdf_assets ADD COLUMN original_filename TEXT;
ALTER TABLE tavola_video_assets ADD COLUMN original_filename TEXT;
