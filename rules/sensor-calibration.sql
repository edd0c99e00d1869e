-- title: Sensors that are not calibrated
-- severity: warning
-- rank: 50
-- finding: The sensor '{name}' says that its calibration is not complete.
-- why: Its values are off by what calibration would take away: orientation drifts, steps and
--   heights are wrong.
-- next: Look at calibrationMatrix and calibrationOffset of the report. A device that was repaired
--   has to be calibrated again; factoryMode 1 means that it never left the factory.
-- triggers: samples/sensor-bad.plist
-- clean: samples/sensor.plist
WITH sensor AS MATERIALIZED (
  SELECT source, report_number AS report, value AS name FROM state WHERE path = 'sensorType'
)
SELECT sensor.source, sensor.report, state.path, name
FROM state JOIN sensor ON sensor.source = state.source AND sensor.report = state.report_number
WHERE state.path = 'calibrationComplete' AND state.value = 0
