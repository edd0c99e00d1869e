-- The latencies of all presses, each from one step of a click to the next. Other files count them.
WITH step AS MATERIALIZED (
  SELECT rowid AS record, run, timestamp AS time, trace FROM zorb_event
  WHERE category = 'zorb' AND component = 'latency' AND type = 'event'
    AND trace IN ('ckp_ZORBFingerON', 'ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_HaldenPlayAsset',
                  'ckp_ARCTurnOn', 'ckp_ARCReady')
), named AS (
  SELECT 'Button edge to haptic' AS kind, record, run, time, trace = 'ckp_HaldenPlayAsset' AS ends FROM step
  WHERE trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_HaldenPlayAsset')
  UNION ALL
  SELECT 'Finger on to button down', record, run, time, trace = 'ckp_ZORBButtonDown' FROM step
  WHERE trace IN ('ckp_ZORBFingerON', 'ckp_ZORBButtonDown')
  UNION ALL
  SELECT 'Amplifier on to ready', record, run, time, trace = 'ckp_ARCReady' FROM step
  WHERE trace IN ('ckp_ARCTurnOn', 'ckp_ARCReady')
), paired AS (
  SELECT *, lag(ends) OVER log AS before, time - lag(time) OVER log AS latency
  FROM named WINDOW log AS (PARTITION BY kind, run ORDER BY record)
)
SELECT kind, record, time, latency FROM paired WHERE ends AND before = 0 AND latency > 0
