-- Canvas items get a title that users can give them, shown in place of a title made up from the item's kind.

ALTER TABLE tavola_notes ADD COLUMN title TEXT;
ALTER TABLE tavola_assets ADD COLUMN title TEXT;
ALTER TABLE tavola_image_assets ADD COLUMN title TEXT;
ALTER TABLE tavola_pdf_assets ADD COLUMN title TEXT;
ALTER TABLE tavola_video_assets ADD COLUMN title TEXT;
ALTER TABLE tavola_tables ADD COLUMN title TEXT;
ALTER TABLE tavola_video_ip_streams ADD COLUMN title TEXT;
ALTER TABLE tavola_video_screen_share_streams ADD COLUMN title TEXT;
ALTER TABLE tavola_video_aux_pc_streams ADD COLUMN title TEXT;
ALTER TABLE tavola_video_output_anchors ADD COLUMN title TEXT;
ALTER TABLE tavola_rdp_connections ADD COLUMN title TEXT;
