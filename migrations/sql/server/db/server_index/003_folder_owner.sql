-- Nodes of the index get an owner, a user id (0 for none). Home folders are what it is for, but any node
-- can have one, so the root and the canvas records get the column too.

ALTER TABLE server_indexs ADD COLUMN owner INTEGER;
ALTER TABLE server_index_folders ADD COLUMN owner INTEGER;
ALTER TABLE canvas_documents ADD COLUMN owner INTEGER;
