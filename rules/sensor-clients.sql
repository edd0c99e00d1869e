-- title: Sensors without subscribers
-- severity: note
-- rank: 40
-- finding: The sensor '{name}' has no clients.
-- why: No program reads it: either none needs it at the moment, or the program that should has not
--   started.
-- next: Start what should use it, and capture again.
-- triggers: samples/sensor-bad.plist
-- clean: samples/sensor.plist
SELECT source, report_number AS report, max(CASE path WHEN 'sensorType' THEN value END) AS name
FROM state WHERE path = 'sensorType' OR path GLOB 'client[0-9]*'
GROUP BY source, report_number
HAVING max(path = 'sensorType') AND NOT max(path GLOB 'client[0-9]*')
