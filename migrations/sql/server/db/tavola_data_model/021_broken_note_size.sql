-- Some notes were stored without a size and came back at the default size, smaller than they were made.
-- They get back the size that such notes had on screen.

UPDATE tavola_notes SET size = '{360,360}' WHERE size IS NULL;
