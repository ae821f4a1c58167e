-- A web browser item gets a title of its own, so that it need not show the page's address.

ALTER TABLE tavola_browsers ADD COLUMN title TEXT;
