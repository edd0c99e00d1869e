-- title: Latencies outside those of the reference
-- severity: warning
-- rank: 58
-- finding: {what} was {value} ms, outside the reference's {low} to {high} ms.
-- why: The reference is what the same button does when it is well: later haptics feel soft,
--   earlier ones mean that something was skipped.
-- next: Compare both: velstat decode {source} --component latency, and the same of the reference.
-- triggers: samples/late-haptic.jsonl
-- clean: samples/press.jsonl
-- reference: samples/press.jsonl

-- Latencies as in haptic-latency-outlier.sql, of the device and of the reference.
WITH device_step AS MATERIALIZED (
  SELECT source, report, position, trace, lead(trace) OVER log AS following,
         lead(timestamp) OVER log - timestamp AS latency
  FROM (SELECT rowid AS n, source, report, position, run, trace, timestamp
        FROM zorb_event
        WHERE category = 'zorb' AND component = 'latency' AND type = 'event'
          AND trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_HaldenPlayAsset'))
  WINDOW log AS (PARTITION BY run ORDER BY n)
), reference_step AS MATERIALIZED (
  SELECT trace, lead(trace) OVER log AS following, lead(timestamp) OVER log - timestamp AS latency
  FROM (SELECT rowid AS n, run, trace, timestamp
        FROM reference_zorb_event
        WHERE category = 'zorb' AND component = 'latency' AND type = 'event'
          AND trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_HaldenPlayAsset'))
  WINDOW log AS (PARTITION BY run ORDER BY n)
), usual AS MATERIALIZED (
  SELECT min(latency) AS low, max(latency) AS high, count(*) AS haptics
  FROM reference_step
  WHERE trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp') AND following = 'ckp_HaldenPlayAsset' AND latency >= 0
), slowest AS (
  SELECT source, report, position, max(latency) AS latency
  FROM device_step
  WHERE trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp') AND following = 'ckp_HaldenPlayAsset' AND latency >= 0
  GROUP BY source
), maximum AS (
  SELECT source, report_number AS report, path, value FROM state
  WHERE path IN ('latency/max_latency_FD_to_BD', 'latency/max_latency_BC_to_PlayAsset', 'latency/max_latency_Total')
)
SELECT source, report, position, NULL AS path, 'The slowest haptic after a button edge' AS what,
       printf('%.1f', latency / 1e3) AS value, printf('%.1f', low / 1e3) AS low, printf('%.1f', high / 1e3) AS high
FROM slowest JOIN usual WHERE haptics >= 4 AND latency > 1.25 * high
UNION ALL
SELECT maximum.source, maximum.report, NULL, maximum.path, '''' || maximum.path || '''',
       printf('%.1f', maximum.value / 1e6), '0', printf('%.1f', max(reference_state.value) / 1e6)
FROM maximum JOIN reference_state USING (path)
GROUP BY maximum.source, maximum.report, maximum.path
HAVING max(reference_state.value) > 0 AND maximum.value > 1.25 * max(reference_state.value)
