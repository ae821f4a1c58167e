-- An anchor's location is now its top left corner, no longer its centre: it moves by half its scaled size.
-- An anchor without a stored size is taken as -1 by -1, as the document form's repair does, so that both
-- stores move it alike; the arithmetic is in single precision for the same reason.

UPDATE tavola_anchors
SET location = ARRAY[
        location[1] - 0.5::real * coalesce(scale, 1.0::real) * coalesce(size[1], -1.0::real),
        location[2] - 0.5::real * coalesce(scale, 1.0::real) * coalesce(size[2], -1.0::real)]
WHERE location IS NOT NULL AND cardinality(location) >= 2;
