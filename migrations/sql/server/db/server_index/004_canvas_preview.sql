-- A canvas record gets a preview picture, stored as an asset; the column holds its hash.

ALTER TABLE canvas_documents ADD COLUMN preview BYTEA;
