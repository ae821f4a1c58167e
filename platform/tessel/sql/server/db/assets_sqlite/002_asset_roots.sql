-- Where the files of the store lie: role "assets" for the asset directory and, on a server, role
-- "documents" for the directory of its stored documents. A store that is moved can be told by a path that
-- no longer matches.
CREATE TABLE asset_roots (
    role TEXT PRIMARY KEY NOT NULL,
    path TEXT NOT NULL
);
