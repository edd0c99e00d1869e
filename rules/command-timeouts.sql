-- title: Bursts of commands that timed out
-- severity: warning
-- rank: 44
-- finding: {burst} commands timed out within 60 s ({all_timeouts} in all).
-- why: A command that times out was not answered by another part of the co-processor, or by what
--   it drives: what it asked for did not happen.
-- next: velstat query {source} "SELECT timestamp, arg1 AS command, arg2 FROM event WHERE component =
--   'command' AND event = 'timeout'" tells which commands.
-- triggers: samples/command-timeouts.jsonl
-- clean: samples/few-troubles.jsonl

-- The same window as in amplifier-resets.sql, over other records: rules cannot share SQL.
WITH expired AS MATERIALIZED (
  SELECT source, report, position, run, timestamp
  FROM records
  WHERE category = 'execution' AND component = 'command' AND event = 'timeout' AND type = 'event'
    AND timestamp <= 9223372036854775807
), counted AS (
  SELECT *, count(*) OVER (PARTITION BY run ORDER BY timestamp
                           RANGE BETWEEN CURRENT ROW AND 60000000 FOLLOWING) AS burst
  FROM expired
)
SELECT source, report, position, max(burst) AS burst, count(*) AS all_timeouts
FROM counted GROUP BY source HAVING max(burst) >= 5
