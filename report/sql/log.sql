-- The log of the capture.
-- rows: 20000
SELECT source, time, level, category, message FROM log
