-- What is wrong with the inputs themselves.
-- rows: 1000
SELECT source, kind, count, text FROM defects
