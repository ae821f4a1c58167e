-- Folders: named, ordered collections of elements kept off the canvas plane. A canvas has its upload
-- folder, and a user's personal folder is a document of its own whose root is a folder that names its user.
-- "order" places a folder or an entry among its siblings; the order of the nodes means nothing.

CREATE TABLE tavola_folders (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    folder_name TEXT,
    "order" REAL
);

-- An entry wraps the real element, its child "content"; preview is the hash of a picture of it.
CREATE TABLE tavola_folder_items (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    folder_item_name TEXT,
    "order" REAL,
    preview BYTEA
);

CREATE TABLE tavola_personal_folders (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    folder_name TEXT,
    "order" REAL,
    user_email TEXT,
    user_first_name TEXT,
    user_last_name TEXT,
    user_emblem_code BIGINT
);
