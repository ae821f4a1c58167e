-- Back out the required scheme and target: NULL is how the store says that a value was never written, and
-- an action must be storable before all of its values have arrived.

ALTER TABLE emblem_actions
    ALTER COLUMN scheme DROP NOT NULL,
    ALTER COLUMN target DROP NOT NULL;
