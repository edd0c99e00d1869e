-- title: Bursts of repeated UART handshakes
-- severity: warning
-- rank: 40
-- finding: {burst} handshakes on {component} were repeated within 10 s ({all_retries} in all).
-- why: A few repetitions a minute are usual. In bursts they delay everything that goes through
--   the line, and they are the first sign of a bad connection.
-- next: velstat decode {source} --component {component} shows what was sent around the burst.
-- triggers: samples/uart-burst.jsonl
-- clean: samples/few-troubles.jsonl
WITH retry AS MATERIALIZED (
  SELECT source, report, position, component, run, timestamp
  FROM records
  WHERE category = 'uart' AND event IN ('sw-handshake', 'hw-handshake') AND timestamp <= 9223372036854775807
), counted AS (
  SELECT *, count(*) OVER (PARTITION BY run, component ORDER BY timestamp
                           RANGE BETWEEN CURRENT ROW AND 10000000 FOLLOWING) AS burst
  FROM retry
)
SELECT source, report, position, component, max(burst) AS burst, count(*) AS all_retries
FROM counted GROUP BY source, component HAVING max(burst) >= 50
