-- A client asks the server to put a canvas's colour preset lists back to the configured defaults by writing
-- a non-zero number to the canvas root; the request is an attribute of the root like any other.

ALTER TABLE tavola_shared_canvass ADD COLUMN reset_color_presets_request INTEGER;
