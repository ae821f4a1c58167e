-- The documents a server lists: one row each, whatever their type.
-- Times are microseconds since 1970-01-01 UTC, as the platform counts time.
-- state is the number of the document's state (0 regular, 1 demonstration).
-- size is the number of nodes in the document's tree.
-- info holds the document's information as the server stores it (name, passwords, times ...);
-- versions the versions that the document's stored form reached in the chains of its type.
CREATE TABLE documents (
    id TEXT PRIMARY KEY NOT NULL,
    type TEXT NOT NULL,
    name TEXT NOT NULL DEFAULT '',
    state INTEGER NOT NULL DEFAULT 0,
    created BIGINT NOT NULL,
    modified BIGINT NOT NULL,
    size INTEGER NOT NULL DEFAULT 0,
    has_main_password BOOLEAN NOT NULL DEFAULT FALSE,
    has_access_password BOOLEAN NOT NULL DEFAULT FALSE,
    info JSONB,
    versions JSONB
);

-- Listing the documents of one type is what clients ask for most.
CREATE INDEX documents_by_type ON documents (type);
