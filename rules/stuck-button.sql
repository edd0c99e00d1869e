-- title: A button that stays down
-- severity: error
-- rank: 66
-- finding: The button stayed down for up to {seconds} s ({presses}).
-- why: A button that seems held down blocks further clicks and may trigger what a long press
--   does.
-- next: Look at the force while it was down: velstat query {source} "SELECT timestamp,
--   buttonState, force FROM zorb_input_packet". Force that stays high is mechanical; force that
--   is low means that the release was missed.
-- triggers: samples/stuck.jsonl
-- clean: samples/press.jsonl

-- The same query as in stuck-finger.sql, but from button down to button up, and for 10 s or more.
WITH step AS MATERIALIZED (
  SELECT source, report, position, run, trace, timestamp, lead(timestamp) OVER log AS following
  FROM (SELECT rowid AS n, source, report, position, run, trace, timestamp
        FROM zorb_event
        WHERE category = 'zorb' AND component = 'latency' AND type = 'event'
          AND trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp'))
  WINDOW log AS (PARTITION BY run ORDER BY n)
), press AS (
  SELECT step.*, coalesce(following, (SELECT last_time FROM runs WHERE runs.run = step.run)) - timestamp AS duration
  FROM step WHERE trace = 'ckp_ZORBButtonDown'
)
SELECT source, report, position, CASE count(*) WHEN 1 THEN 'one press' ELSE count(*) || ' presses' END AS presses, printf('%.1f', max(duration) / 1e6) AS seconds
FROM press WHERE duration >= 10e6 GROUP BY source
