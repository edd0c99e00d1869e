-- title: The co-processor's clock was set back
-- severity: error
-- rank: 90
-- finding: The clock of the co-processor went back by {seconds} s in the {log} log, while the
--   records' numbers went on from {number}.
-- why: Every time and latency across the jump is wrong, and records before and after it
--   seem to lie in the same moment.
-- next: Trust the records' numbers, not their times. velstat decode {source} shows both;
--   look for what set the clock, such as a new time synchronisation.
-- triggers: samples/clock-back.jsonl
-- clean: samples/press.jsonl
WITH step AS (
  SELECT *, lag(last_time) OVER (PARTITION BY source, log ORDER BY run) AS before FROM runs
)
SELECT source, CASE log WHEN '' THEN 'profile' ELSE log END AS log, first_sequence AS number,
       printf('%.1f', (before - first_time) / 1e6) AS seconds,
       (SELECT report FROM records WHERE records.run = step.run LIMIT 1) AS report,
       (SELECT position FROM records WHERE records.run = step.run LIMIT 1) AS position,
       min(run) -- SQLite then takes the other columns from the row with the minimum
FROM step WHERE start = 'clock-back' GROUP BY source, log
ORDER BY log = 'fw' DESC
