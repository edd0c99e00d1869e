-- The stretches of logs between two restarts.
-- rows: 1000
SELECT source, run, log, start, records, first_time, last_time, first_sequence, last_sequence, gaps, missing FROM runs
