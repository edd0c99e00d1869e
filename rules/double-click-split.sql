-- title: Double clicks read as two single ones
-- severity: warning
-- rank: 75
-- finding: {pairs} pairs of single clicks came within {milliseconds} ms or less, each as a press
--   of its own: double clicks that were read as two.
-- why: What a double click does never happens; instead, what a click does happens twice.
-- next: Look at the first pair: velstat decode {source} --component latency. ckp_ZORBFingerOFF
--   between two clicks so close together means that the finger seemed to leave: check the
--   finger detection's thresholds.
-- triggers: samples/split-double-click.jsonl
-- clean: samples/few-troubles.jsonl

-- Down, up, finger off, finger on, down: less than 350 ms from up to down is too fast for two intended clicks.
WITH step AS MATERIALIZED (
  SELECT source, report, position, run, n, trace, timestamp,
         lead(trace, 1) OVER log AS second, lead(trace, 2) OVER log AS third, lead(trace, 3) OVER log AS fourth,
         lead(timestamp, 3) OVER log - timestamp AS gap
  FROM (SELECT rowid AS n, source, report, position, run, trace, timestamp
        FROM zorb_event
        WHERE category = 'zorb' AND component = 'latency' AND type = 'event'
          AND trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_ZORBFingerOFF', 'ckp_ZORBFingerON'))
  WINDOW log AS (PARTITION BY run ORDER BY n)
)
SELECT source, report, position, count(*) AS pairs, (max(gap) + 999) / 1000 AS milliseconds, min(n)
FROM step
WHERE trace = 'ckp_ZORBButtonUp' AND second = 'ckp_ZORBFingerOFF' AND third = 'ckp_ZORBFingerON'
  AND fourth = 'ckp_ZORBButtonDown' AND gap BETWEEN 0 AND 350000
GROUP BY source HAVING count(*) >= 2
