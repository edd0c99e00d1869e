-- title: Sensors that send nothing
-- severity: warning
-- rank: 65
-- finding: '{name}' is silent: {what}.
-- why: The sensor answers questions about itself, but no program gets data of it.
-- next: Compare with what the firmware sends: velstat decode {source} --category sensors. Data
--   there and none here is a fault of driver or user client; none in both, of the sensor.
-- triggers: samples/sensor-silent.plist
-- clean: samples/sensor.plist
WITH sensor AS MATERIALIZED (
  SELECT source, report_number AS report,
         max(CASE path WHEN 'sensorType' THEN value END) AS name,
         max(CASE path WHEN 'reportInterval' THEN value END) / 1e6 AS interval,
         max(CASE path WHEN 'APEvents' THEN value END) AS events,
         sum(path GLOB 'client[0-9]*') AS clients
  FROM state WHERE path IN ('sensorType', 'reportInterval', 'APEvents') OR path GLOB 'client[0-9]*' GROUP BY 1, 2
), counted AS MATERIALIZED (
  SELECT *, CAST(events AS INTEGER) AS total,
         CAST(substr(events, instr(events, 'event_delta=') + 12) AS REAL) AS newest
  FROM sensor WHERE events LIKE '%event_delta=%'
), latest AS (
  SELECT source, max(newest) AS now FROM counted GROUP BY source
)
SELECT source, report, 'APEvents' AS path, name,
       CASE WHEN total = 0 THEN 'it has ' || clients || ' clients and has sent no events'
            ELSE printf('its newest event is %.1f s older than those of other sensors, at an interval of %g s',
                        now - newest, interval) END AS what
FROM counted JOIN latest USING (source)
WHERE total = 0 AND clients > 0 OR total > 0 AND newest > 0 AND now - newest > 60 AND now - newest > 20 * interval
