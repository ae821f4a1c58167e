-- The map of emblem codes to actions: one row per action, telling the kind of target (scheme), the target
-- and the emblem's code. The map itself, the document's root, holds nothing but its actions.

CREATE TABLE emblem_action_maps (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE
);

CREATE TABLE emblem_actions (
    id UUID PRIMARY KEY REFERENCES nodes (id) ON DELETE CASCADE,
    scheme TEXT,
    target TEXT,
    code BIGINT
);
