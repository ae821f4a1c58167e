-- Touch on a shared screen or an aux PC can be passed on to the machine that shows it.

ALTER TABLE tavola_video_screen_share_streams ADD COLUMN remote_touch_enabled BOOLEAN;
ALTER TABLE tavola_video_aux_pc_streams ADD COLUMN remote_touch_enabled BOOLEAN;
