-- title: Bursts of amplifier resets
-- severity: warning
-- rank: 46
-- finding: The amplifier was reset {burst} times within 60 s ({all_resets} in all).
-- why: The firmware resets the amplifier when it does not behave; meanwhile no haptic is played.
-- next: velstat decode {source} --component amp shows the steps around each SoftReset.
-- triggers: samples/amplifier-resets.jsonl
-- clean: samples/few-troubles.jsonl

-- The same window as in command-timeouts.sql, over other records: rules cannot share SQL.
WITH reset AS MATERIALIZED (
  SELECT source, report, position, run, timestamp
  FROM zorb_event
  WHERE category = 'zorb' AND component = 'amp' AND type = 'event' AND trace IN ('SoftReset', 'EnableAmpReset')
    AND timestamp <= 9223372036854775807
), counted AS (
  SELECT *, count(*) OVER (PARTITION BY run ORDER BY timestamp
                           RANGE BETWEEN CURRENT ROW AND 60000000 FOLLOWING) AS burst
  FROM reset
)
SELECT source, report, position, max(burst) AS burst, count(*) AS all_resets
FROM counted GROUP BY source HAVING max(burst) >= 5
