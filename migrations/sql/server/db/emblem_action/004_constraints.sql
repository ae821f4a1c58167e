-- Emblem codes are unsigned. Codes and targets are unique only within one map, and every map shares this
-- table, so there is deliberately no unique constraint here: that rule is kept where an action is set.

ALTER TABLE emblem_actions
    ADD CONSTRAINT emblem_actions_code_not_negative CHECK (code >= 0);
