-- title: Metrics outside those of the reference
-- severity: warning
-- rank: 41
-- finding: The median of {key} is {median}, outside the reference's {low} to {high}.
-- why: The reference is what the same device does when it is well.
-- next: velstat tally {source}/tally.sqlite, and the same of the reference, show both
--   distributions.
-- triggers: samples/metrics-bad
-- clean: samples/metrics
-- reference: samples/metrics
SELECT device.source, device.key, round(device.p50, 3) AS median, good.low, good.high
FROM metrics AS device
JOIN (SELECT key, min(min) AS low, max(max) AS high, sum(count) AS count FROM reference_metrics
      WHERE kind = 'distribution' GROUP BY key) AS good USING (key)
WHERE device.kind = 'distribution' AND device.count >= 5 AND good.count >= 5
  AND (device.p50 < good.low OR device.p50 > good.high)
