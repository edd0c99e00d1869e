-- What each sensor says of itself, and what kind of value each is.
-- rows: 20000
WITH sensor AS MATERIALIZED (
  SELECT DISTINCT source, report_number FROM state WHERE path IN ('sensorType', 'reportInterval')
)
SELECT source, report_number AS report, path, value,
       CASE WHEN path GLOB '*Matrix' THEN 'matrix'
            WHEN path = 'registers' THEN 'registers'
            WHEN path GLOB 'client[0-9]*' THEN 'client'
            WHEN path = 'APEvents' THEN 'events'
            WHEN path IN ('sensorType', 'manufacturer', 'model', 'location') THEN 'name'
            ELSE 'value' END AS kind,
       CASE path WHEN 'APEvents' THEN CAST(substr(value, instr(value, 'enqueued=') + 9) AS INTEGER) END AS delivered,
       CASE path WHEN 'APEvents' THEN CAST(substr(value, instr(value, 'dropped=') + 8) AS INTEGER) END AS dropped
FROM state JOIN sensor USING (source, report_number)
ORDER BY source, report_number, state.rowid
