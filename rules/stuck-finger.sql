-- title: A finger that does not leave
-- severity: error
-- rank: 65
-- finding: A finger stayed on the button for up to {seconds} s ({touches}).
-- why: As long as a finger seems to rest on the button, scanning stays fast, the amplifier may
--   stay on, and new touches are not seen.
-- next: Look at the time around it: velstat decode {source} --component latency. If nobody
--   touched the button, look for dirt, water or a wrong baseline of the sensor (corvane).
-- triggers: samples/stuck.jsonl
-- clean: samples/press.jsonl

-- A finger that stays for 30 s or more: until it leaves, until another one arrives, or until the log ends.
WITH step AS MATERIALIZED (
  SELECT source, report, position, run, trace, timestamp, lead(timestamp) OVER log AS following
  FROM (SELECT rowid AS n, source, report, position, run, trace, timestamp
        FROM zorb_event
        WHERE category = 'zorb' AND component = 'latency' AND type = 'event'
          AND trace IN ('ckp_ZORBFingerON', 'ckp_ZORBFingerOFF'))
  WINDOW log AS (PARTITION BY run ORDER BY n)
), touch AS (
  SELECT step.*, coalesce(following, (SELECT last_time FROM runs WHERE runs.run = step.run)) - timestamp AS duration
  FROM step WHERE trace = 'ckp_ZORBFingerON'
)
SELECT source, report, position, CASE count(*) WHEN 1 THEN 'one touch' ELSE count(*) || ' touches' END AS touches, printf('%.1f', max(duration) / 1e6) AS seconds
FROM touch WHERE duration >= 30e6 GROUP BY source
