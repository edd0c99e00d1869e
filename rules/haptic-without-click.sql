-- title: Haptics that no click asked for
-- severity: warning
-- rank: 60
-- finding: {surplus} of {haptics} haptics were played without a button edge before them.
-- why: A click that is felt but was not made is as confusing as one that is not felt.
-- next: Look at the first one: velstat decode {source} --component latency --component halden.
--   Haptics that another program asked for (StartHaldenAPComplete) are not counted.
-- triggers: samples/haptic-without-click.jsonl
-- clean: samples/press.jsonl
WITH step AS MATERIALIZED (
  SELECT source, report, position, trace, timestamp, lag(trace) OVER log AS before
  FROM (SELECT rowid AS n, source, report, position, run, trace, timestamp
        FROM zorb_event
        WHERE category = 'zorb' AND component IN ('latency', 'halden', 'zorb') AND type = 'event'
          AND trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_HaldenPlayAsset', 'ckp_ZORBFingerON',
                        'ckp_ZORBFingerOFF', 'SimulateClick', 'NotifyHalden', 'StartHaldenAPComplete'))
  WINDOW log AS (PARTITION BY run ORDER BY n)
), haptic AS (
  SELECT *, before IN ('ckp_HaldenPlayAsset', 'ckp_ZORBFingerON', 'ckp_ZORBFingerOFF') AS bad
  FROM step WHERE trace = 'ckp_HaldenPlayAsset' AND before IS NOT NULL
)
SELECT source, report, position, count(*) AS surplus,
       (SELECT count(*) FROM haptic AS every WHERE every.source = haptic.source) AS haptics,
       min(timestamp)
FROM haptic WHERE bad GROUP BY source
