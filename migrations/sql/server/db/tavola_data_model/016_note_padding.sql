-- A note's box now includes its padding of 30 on every side. So that stored notes keep their place and
-- the room for their text, the box moves up and left by 30 and grows by 30 on each side.
-- Scale plays no part. A location or size without two numbers is left as it is.
-- The sums are in single precision, side by side, as the document form's repair does them.

UPDATE tavola_notes
SET location = ARRAY[location[1] - 30::real, location[2] - 30::real]
WHERE location IS NOT NULL AND cardinality(location) >= 2;

UPDATE tavola_notes
SET size = ARRAY[size[1] + 30::real + 30::real, size[2] + 30::real + 30::real]
WHERE size IS NOT NULL AND cardinality(size) >= 2;
