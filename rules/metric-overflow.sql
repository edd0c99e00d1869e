-- title: Metrics that overflowed or left samples out
-- severity: warning
-- rank: 30
-- finding: {key}: {what}.
-- why: The metric is too small, or lacks samples, without that being visible in its value.
-- next: velstat tally {source}/tally.sqlite shows the metric. Clear it; if it comes back, samples
--   are not numbers or much too large.
-- triggers: samples/metrics-bad
-- clean: samples/metrics
SELECT source, key, overflows || ' additions beyond its range' AS what FROM metrics WHERE overflows > 0
UNION ALL
SELECT source, key, ignored || ' samples left out' FROM metrics WHERE ignored > 0
