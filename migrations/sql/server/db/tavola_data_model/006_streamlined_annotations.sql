-- Strokes no longer hang under an annotation container: each one moves up to where its container hung,
-- the containers go, and so do the stroke settings that nothing reads any more.

-- One level only: a stroke whose container sat inside another container ends under the outer one, and
-- is deleted along with it below.
UPDATE nodes
SET parent_id = container.parent_id
FROM nodes AS container
WHERE nodes.type = 'tavola_annotation'
    AND nodes.parent_id = container.id
    AND container.type = 'tavola_annotation_container';

-- Their rows in tavola_annotation_containers go by cascade.
DELETE FROM nodes WHERE type = 'tavola_annotation_container';

DROP TABLE tavola_annotation_containers;

ALTER TABLE tavola_annotations
    DROP COLUMN finished,
    DROP COLUMN line_depth,
    DROP COLUMN line_points_minimum_distance;
