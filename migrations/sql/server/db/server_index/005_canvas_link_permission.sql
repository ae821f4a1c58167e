-- What a link to a canvas grants ("none", "view" or "edit"), kept as the text that users set.

ALTER TABLE canvas_documents ADD COLUMN link_permission TEXT;
