-- A table's box no longer includes its border of 15 on every side. The box moves in by the scaled border,
-- and its size loses the border on both sides; the stored size is unscaled, so scale plays no part there.
-- A location or size without two numbers is left as it is. Single precision, as in the document form.

UPDATE tavola_tables
SET location = ARRAY[
        location[1] + coalesce(scale, 1.0::real) * 15::real,
        location[2] + coalesce(scale, 1.0::real) * 15::real]
WHERE location IS NOT NULL AND cardinality(location) >= 2;

UPDATE tavola_tables
SET size = ARRAY[size[1] - 30::real, size[2] - 30::real]
WHERE size IS NOT NULL AND cardinality(size) >= 2;
