-- title: The amplifier does not power up
-- severity: error
-- rank: 82
-- finding: The amplifier was not ready after {failed} of {requests} requests to turn it on.
-- why: The amplifier drives the actuator. While it is not ready no waveform can be played,
--   so clicks are sensed and not felt.
-- next: Look at a failing request: velstat decode {source} --component amp --component latency.
--   ckp_ARCTurnOn should be followed by ckp_ARCReady within milliseconds; SoftReset and
--   AmpPowerDown instead mean that power-up failed. Check its supply and its bus.
-- triggers: samples/amplifier-timeout.jsonl
-- clean: samples/press.jsonl

-- A request failed if the finger leaves, or another request comes, before the amplifier is ready.
WITH step AS MATERIALIZED (
  SELECT source, report, position, trace, timestamp, lead(trace) OVER log AS following
  FROM (SELECT rowid AS n, source, report, position, run, trace, timestamp
        FROM zorb_event
        WHERE category = 'zorb' AND component = 'latency' AND type = 'event'
          AND trace IN ('ckp_ARCTurnOn', 'ckp_ARCReady', 'ckp_ZORBFingerOFF'))
  WINDOW log AS (PARTITION BY run ORDER BY n)
), request AS (
  SELECT *, following <> 'ckp_ARCReady' AS bad
  FROM step WHERE trace = 'ckp_ARCTurnOn' AND following IS NOT NULL
)
SELECT source, report, position, count(*) AS failed,
       (SELECT count(*) FROM request AS every WHERE every.source = request.source) AS requests,
       min(timestamp)
FROM request WHERE bad GROUP BY source
