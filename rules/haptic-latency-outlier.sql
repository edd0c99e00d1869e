-- title: Haptics far later than usual on this device
-- severity: warning
-- rank: 55
-- finding: {late} of {haptics} haptics came more than twice as late as usual: up to {worst} ms after
--   the button edge, where {usual} ms is this device's median.
-- why: A haptic that comes late feels like a soft or a double click.
-- next: Look at the slowest: velstat decode {source} --component latency. Compare what ran in
--   between with a fast click: velstat decode {source} --category execution.
-- triggers: samples/late-haptic.jsonl
-- clean: samples/press.jsonl

-- A latency: from a button edge to the haptic that is the next step of its run.
WITH step AS MATERIALIZED (
  SELECT source, report, position, trace, timestamp,
         lead(trace) OVER log AS following, lead(timestamp) OVER log - timestamp AS latency
  FROM (SELECT rowid AS n, source, report, position, run, trace, timestamp
        FROM zorb_event
        WHERE category = 'zorb' AND component = 'latency' AND type = 'event'
          AND trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_HaldenPlayAsset'))
  WINDOW log AS (PARTITION BY run ORDER BY n)
), haptic AS MATERIALIZED (
  SELECT *, row_number() OVER (PARTITION BY source ORDER BY latency) AS place,
         count(*) OVER (PARTITION BY source) AS haptics
  FROM step
  WHERE trace IN ('ckp_ZORBButtonDown', 'ckp_ZORBButtonUp') AND following = 'ckp_HaldenPlayAsset' AND latency >= 0
), usual AS MATERIALIZED (
  SELECT source, latency AS median FROM haptic WHERE place = (haptics + 1) / 2
)
SELECT source, report, position, haptics, count(*) AS late, printf('%.1f', max(latency) / 1e3) AS worst,
       printf('%.1f', median / 1e3) AS usual
FROM haptic JOIN usual USING (source)
WHERE haptics >= 4 AND latency > 2 * median AND latency > median + 2000
GROUP BY source
