-- Presses of the button, each from the finger's touch to its leaving: those that the page draws.
-- rows: 400
WITH step AS MATERIALIZED (
  SELECT rowid AS record, source, run, timestamp AS time, trace,
         sum(trace = 'ckp_ZORBFingerON') OVER (PARTITION BY run ORDER BY rowid) AS touch
  FROM zorb_event
  WHERE category = 'zorb' AND component = 'latency' AND type = 'event'
    AND trace IN ('ckp_ZORBFingerON', 'ckp_ZORBFingerOFF', 'ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_HaldenPlayAsset')
), press AS MATERIALIZED (
  SELECT source, run, min(record) AS first_record, max(record) AS last_record, min(time) AS began, max(time) AS ended,
         sum(trace = 'ckp_ZORBButtonDown') AS clicks,
         sum(trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp')) AS edges,
         sum(trace = 'ckp_HaldenPlayAsset') AS haptics
  FROM step WHERE touch > 0 GROUP BY run, touch
), numbered AS MATERIALIZED (
  SELECT *, row_number() OVER (ORDER BY first_record) AS press, count(*) OVER () AS presses,
         row_number() OVER (ORDER BY haptics < edges DESC, first_record) AS worst
  FROM press
)
-- Those without a haptic for each edge come first; the others are spread over all of them.
SELECT press, presses, source, run, first_record, last_record, began, ended, clicks, edges, haptics
FROM numbered WHERE worst <= 200 OR press % (presses / 200 + 1) = 0
ORDER BY press LIMIT 400
