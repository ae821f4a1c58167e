-- The index of a store of asset files. Each file lies in the asset directory, named by its public hash
-- (SHA-256 of the content, 64 hex digits). imported is in microseconds since 1970-01-01 UTC.
CREATE TABLE asset_files (
    public_hash TEXT PRIMARY KEY NOT NULL,
    size INTEGER NOT NULL,
    file_name TEXT NOT NULL DEFAULT '',
    imported INTEGER NOT NULL
);
