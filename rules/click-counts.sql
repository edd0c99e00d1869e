-- title: Click counters that contradict each other
-- severity: note
-- rank: 35
-- finding: {clicks} clicks were counted, but single, double and triple clicks make {sum}.
-- why: Each click belongs to a single, double or triple one; a difference means that metrics were
--   lost or counted twice.
-- next: velstat tally {source}/tally.sqlite shows the counters with the times of their last change.
-- triggers: samples/metrics-bad
-- clean: samples/metrics
WITH counted AS (
  SELECT source, sum(CASE WHEN key LIKE '%.button.click.count' THEN value END) AS clicks,
         coalesce(sum(CASE WHEN key LIKE '%.single_click.count' THEN value END), 0) +
         coalesce(sum(CASE WHEN key LIKE '%.double_click.count' THEN value * 2 END), 0) +
         coalesce(sum(CASE WHEN key LIKE '%.triple_click.count' THEN value * 3 END), 0) AS sum
  FROM metrics GROUP BY source
)
SELECT source, clicks, sum FROM counted WHERE clicks > 0 AND clicks <> sum
