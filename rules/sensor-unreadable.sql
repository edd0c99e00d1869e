-- title: Sensors with properties that cannot be read
-- severity: warning
-- rank: 60
-- finding: {properties} of sensor '{name}' could not be read: {which}.
-- why: A sensor that answers some questions and not others is badly initialised or about to fail.
-- next: The capture's log names the check of each: velstat query {source} "SELECT message FROM
--   log WHERE message LIKE '%AssertMacros%'".
-- triggers: samples/sensor-bad.plist
-- clean: samples/sensor.plist
WITH sensor AS MATERIALIZED (
  SELECT source, report_number AS report, value AS name FROM state WHERE path = 'sensorType'
), unread AS (
  SELECT source, report_number AS report, path FROM state
  WHERE path IN ('systickInterval', 'decimationEnabled', 'rawMode', 'factoryMode', 'calibrationComplete', 'startupTime',
                 'intCal') AND value = -1
     OR path = 'APEvents' AND value LIKE '-1 %'
)
SELECT source, report, min(path) AS path, name, group_concat(path, ', ') AS which,
       CASE count(*) WHEN 1 THEN '1 property' ELSE count(*) || ' properties' END AS properties
FROM unread JOIN sensor USING (source, report)
GROUP BY source, report
