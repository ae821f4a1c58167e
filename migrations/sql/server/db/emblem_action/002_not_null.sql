-- Every action is written with its scheme and its target, so both are required from now on.
-- A missing one stands for the empty text, which is what the action showed without it.

UPDATE emblem_actions SET scheme = '' WHERE scheme IS NULL;
UPDATE emblem_actions SET target = '' WHERE target IS NULL;

ALTER TABLE emblem_actions
    ALTER COLUMN scheme SET NOT NULL,
    ALTER COLUMN target SET NOT NULL;
