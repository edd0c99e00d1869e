-- title: Too many clicks without a haptic
-- severity: warning
-- rank: 49
-- finding: {failures} timeouts and faults of the haptics in {clicks} clicks: {percent} %.
-- why: Since the counters were cleared, so many clicks could not be felt. Single ones are usual;
--   more than 5 % are noticed.
-- next: velstat tally {source}/tally.sqlite shows the counters: cl_timeout and cl_fault are the
--   actuator's, timeout the amplifier's or another part's.
-- triggers: samples/metrics-bad
-- clean: samples/metrics
WITH counted AS (
  SELECT source, sum(CASE WHEN key LIKE '%.button.click.count' THEN value END) AS clicks,
         sum(CASE WHEN key LIKE '%.halden.cl_timeout.count' OR key LIKE '%.halden.cl_fault.count'
                    OR key LIKE '%.button.timeout.count' THEN value END) AS failures
  FROM metrics GROUP BY source
)
SELECT source, clicks, failures, printf('%.0f', 100.0 * failures / clicks) AS percent
FROM counted WHERE clicks > 0 AND failures >= 3 AND failures > 0.05 * clicks
