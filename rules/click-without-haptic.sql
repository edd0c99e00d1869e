-- title: Clicks that were sensed and played no haptic
-- severity: error
-- rank: 70
-- finding: {silent} of {clicks} button edges (down or up) were followed by no haptic.
-- why: A solid-state button does not move: the haptic is all that can be felt of a click.
--   Without it the button seems dead, although the click was sensed and reported.
-- next: Look at the first one: velstat decode {source} --component latency. Between
--   ckp_ZORBButtonDown and the next edge, ckp_HaldenPlayAsset is missing. Another finding
--   about the actuator, the amplifier or a disabled asset is the likely cause.
-- triggers: samples/actuator-timeout.jsonl
-- clean: samples/press.jsonl

-- An edge is silent if the next edge of its log, or the lifting of the finger, comes before a waveform.
WITH step AS MATERIALIZED (
  SELECT source, report, position, trace, timestamp, lead(trace) OVER log AS following
  FROM (SELECT rowid AS n, source, report, position, run, trace, timestamp
        FROM zorb_event
        WHERE category = 'zorb' AND component = 'latency' AND type = 'event'
          AND trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_HaldenPlayAsset', 'ckp_ZORBFingerOFF',
                        'ckp_ZORBFingerON'))
  WINDOW log AS (PARTITION BY run ORDER BY n)
), edge AS (
  SELECT *, following <> 'ckp_HaldenPlayAsset' AS bad
  FROM step WHERE trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp') AND following IS NOT NULL
)
SELECT source, report, position, count(*) AS silent,
       (SELECT count(*) FROM edge AS every WHERE every.source = edge.source) AS clicks,
       min(timestamp)
FROM edge WHERE bad GROUP BY source
