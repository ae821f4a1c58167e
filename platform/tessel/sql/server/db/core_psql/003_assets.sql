-- The assets the server's documents use, by public hash (SHA-256 of the content, 64 hex digits).
-- file_name is the name the asset was imported under, shown to users.
CREATE TABLE assets (
    public_hash TEXT PRIMARY KEY NOT NULL,
    size BIGINT NOT NULL,
    file_name TEXT NOT NULL DEFAULT '',
    created BIGINT NOT NULL
);

-- Which document uses which asset, so that an asset nobody uses any more can be found and let go.
CREATE TABLE document_assets (
    document_id TEXT NOT NULL REFERENCES documents (id) ON DELETE CASCADE,
    public_hash TEXT NOT NULL REFERENCES assets (public_hash),
    PRIMARY KEY (document_id, public_hash)
);

CREATE INDEX document_assets_by_hash ON document_assets (public_hash);

-- The index of the asset files in the server's asset directory, each named by its public hash.
CREATE TABLE asset_files (
    public_hash TEXT PRIMARY KEY NOT NULL,
    size BIGINT NOT NULL,
    file_name TEXT NOT NULL DEFAULT '',
    imported BIGINT NOT NULL
);

-- Where the asset files lie (role "assets"); a store that was moved is told by a path that no longer matches.
CREATE TABLE asset_roots (
    role TEXT PRIMARY KEY NOT NULL,
    path TEXT NOT NULL
);
