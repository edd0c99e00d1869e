-- title: Haptic starts that timed out
-- severity: error
-- rank: 80
-- finding: {failed} of {starts} haptic starts ended in a timeout or fault of the actuator
--   ({what}), after {milliseconds} ms on average; no waveform was played.
-- why: The actuator (halden) has to settle before it plays the waveform that makes a
--   click felt. Here its closed loop did not, so presses are sensed but feel dead.
-- next: Look at the records around a timeout: velstat decode {source} --component halden
--   --component latency. Resets that follow each timeout mean that the firmware gave up.
--   Then check the actuator and its connection.
-- triggers: samples/actuator-timeout.jsonl
-- clean: samples/press.jsonl

-- What follows each start in the same log: the waveform, or a failure.
WITH step AS MATERIALIZED (
  SELECT source, report, position, trace, timestamp,
         lead(trace) OVER log AS outcome,
         lead(timestamp) OVER log AS ended
  FROM (SELECT rowid AS n, source, report, position, run, trace, timestamp
        FROM zorb_event
        WHERE category = 'zorb' AND component IN ('halden', 'latency') AND type = 'event'
          AND trace IN ('ckp_HaldenStartHaptics', 'ckp_HaldenPlayAsset', 'HaldenCLTimeOut', 'HaldenCLFault'))
  WINDOW log AS (PARTITION BY run ORDER BY n)
), start AS (
  SELECT *, outcome IN ('HaldenCLTimeOut', 'HaldenCLFault') AS bad
  FROM step WHERE trace = 'ckp_HaldenStartHaptics' AND outcome IS NOT NULL
)
SELECT source, report, position, count(*) AS failed, outcome AS what,
       (SELECT count(*) FROM start AS every WHERE every.source = start.source) AS starts,
       round(avg(ended - timestamp) / 1000, 1) AS milliseconds,
       min(timestamp) -- SQLite then takes the other columns from the row with the minimum
FROM start WHERE bad GROUP BY source
