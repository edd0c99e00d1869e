-- title: Sensors that do not say what they are
-- severity: warning
-- rank: 45
-- finding: The sensor '{name}' does not tell its {which}.
-- why: Without manufacturer and model it is not known which part is built in, and its driver may
--   have been given the wrong settings.
-- next: velstat query {source} "SELECT path, value FROM state WHERE report_number = {report}" shows
--   the whole report. Text that is not ASCII is left out by the plug-in, too.
-- triggers: samples/sensor-bad.plist
-- clean: samples/sensor.plist
WITH sensor AS MATERIALIZED (
  SELECT source, report_number AS report,
         max(path = 'sensorType') AS is_sensor,
         coalesce(max(CASE path WHEN 'sensorType' THEN value END), '') AS name,
         coalesce(max(CASE path WHEN 'manufacturer' THEN value END), '') AS manufacturer,
         coalesce(max(CASE path WHEN 'model' THEN value END), '') AS model
  FROM state WHERE path IN ('sensorType', 'reportInterval', 'manufacturer', 'model') GROUP BY 1, 2
  HAVING max(path = 'reportInterval')
)
SELECT source, report, name,
       ltrim(CASE name WHEN '' THEN ', type' ELSE '' END || CASE manufacturer WHEN '' THEN ', manufacturer' ELSE '' END ||
             CASE model WHEN '' THEN ', model' ELSE '' END, ', ') AS which
FROM sensor WHERE '' IN (name, manufacturer, model)
