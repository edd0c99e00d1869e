-- title: Sensors that only the reference has
-- severity: error
-- rank: 57
-- finding: The reference has a sensor '{name}', and {source} has no report of it.
-- why: What is missing cannot be seen in the capture itself; the reference is the same device
--   when it is well.
-- next: velstat query {source} "SELECT * FROM services" and "SELECT * FROM handlers WHERE NOT
--   answered" tell whether it was found and what it answered.
-- triggers: samples/sensor-bad.plist
-- clean: samples/sensor.plist
-- reference: samples/sensor.plist
WITH good AS MATERIALIZED (
  SELECT DISTINCT value AS name FROM reference_state WHERE path = 'sensorType' AND value <> ''
), device AS MATERIALIZED (
  SELECT source, value AS name FROM state WHERE path = 'sensorType'
)
SELECT source, name FROM (SELECT DISTINCT source FROM device) JOIN good
WHERE (source, name) NOT IN (SELECT source, name FROM device)
