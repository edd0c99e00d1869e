-- title: Metrics with values that they cannot have
-- severity: warning
-- rank: 42
-- finding: {key} is {value}: {what}.
-- why: A counter does not go below 0 and a duration is not negative. Such values spoil every sum
--   and mean that include them.
-- next: velstat tally {source}/tally.sqlite shows the metric with its times. Clear it, and see
--   whether it comes back.
-- triggers: samples/metrics-bad
-- clean: samples/metrics
SELECT source, key, value, 'a counter below 0' AS what
FROM metrics WHERE kind = 'scalar' AND value < 0
UNION ALL
SELECT source, key, min, 'a time below 0'
FROM metrics WHERE kind = 'distribution' AND (key LIKE '%.time%' OR key LIKE '%duration%') AND min < 0
UNION ALL
SELECT source, key, max, 'longer than a minute'
FROM metrics WHERE kind = 'distribution' AND key LIKE '%click.duration' AND max > 60000
