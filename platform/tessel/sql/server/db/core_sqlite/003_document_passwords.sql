-- Whether passwords guard a document. The passwords themselves are not kept here.
ALTER TABLE documents ADD COLUMN has_main_password INTEGER NOT NULL DEFAULT 0;
ALTER TABLE documents ADD COLUMN has_access_password INTEGER NOT NULL DEFAULT 0;
