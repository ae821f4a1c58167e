-- Columns and rows of a table get widths and heights of their own: each is a share of the table's width
-- or height, and the shares of a table add up to 1. A table stored so far had a uniform grid, so it starts
-- with equal shares: 1/columns for each column and 1/rows for each row.

ALTER TABLE tavola_tables
    ADD COLUMN column_widths REAL[],
    ADD COLUMN row_heights REAL[];

-- grid_size holds two little-endian signed 32-bit ints, columns then rows. A value that isn't exactly
-- 8 bytes, or none at all, counts as 1 by 1; a count that isn't positive gives an empty list.
UPDATE tavola_tables
SET column_widths = CASE WHEN grid.columns > 0
        THEN array_fill((1.0::float8 / grid.columns)::real, ARRAY[grid.columns])
        ELSE '{}'::real[] END,
    row_heights = CASE WHEN grid.rows > 0
        THEN array_fill((1.0::float8 / grid.rows)::real, ARRAY[grid.rows])
        ELSE '{}'::real[] END
FROM (
    SELECT id,
        CASE WHEN octet_length(grid_size) = 8
            THEN get_byte(grid_size, 0)
                + get_byte(grid_size, 1) * 256
                + get_byte(grid_size, 2) * 65536
                + (get_byte(grid_size, 3) - CASE WHEN get_byte(grid_size, 3) >= 128 THEN 256 ELSE 0 END) * 16777216
            ELSE 1 END AS columns,
        CASE WHEN octet_length(grid_size) = 8
            THEN get_byte(grid_size, 4)
                + get_byte(grid_size, 5) * 256
                + get_byte(grid_size, 6) * 65536
                + (get_byte(grid_size, 7) - CASE WHEN get_byte(grid_size, 7) >= 128 THEN 256 ELSE 0 END) * 16777216
            ELSE 1 END AS rows
    FROM tavola_tables
) AS grid
WHERE tavola_tables.id = grid.id;
