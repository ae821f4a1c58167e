-- Every stored node of every document, flat: the tree is given by parent_id (null for a root).
-- type is the element type key and name the node's key under its parent. A node's values live in the
-- table of its type (the type key plus "s"), one column per attribute; attributes holds, in the platform's
-- encoding, the values that no column of that table holds.
CREATE TABLE nodes (
    id UUID PRIMARY KEY NOT NULL,
    document_id TEXT NOT NULL REFERENCES documents (id) ON DELETE CASCADE,
    parent_id UUID REFERENCES nodes (id) ON DELETE CASCADE,
    type TEXT NOT NULL,
    name TEXT NOT NULL,
    attributes BYTEA
);

-- A document is read whole, and a node's children are found by their parent.
CREATE INDEX nodes_by_document ON nodes (document_id);
CREATE INDEX nodes_by_parent ON nodes (parent_id);
