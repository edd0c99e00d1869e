-- The other values of reports: all but the lines of records, the assets and what sensors say.
-- rows: 20000
WITH line AS MATERIALIZED (
  SELECT DISTINCT source, report_number FROM state WHERE value GLOB '*{*''category'':*''binary-data'':*'
), sensor AS MATERIALIZED (
  SELECT DISTINCT source, report_number FROM state WHERE path IN ('sensorType', 'reportInterval')
)
SELECT source, report_number AS report, report AS title, path, type,
       CASE type WHEN 'data' THEN hex(value) ELSE value END AS value
FROM state
WHERE (source, report_number) NOT IN (SELECT source, report_number FROM line)
  AND (source, report_number) NOT IN (SELECT source, report_number FROM sensor)
  AND NOT (type = 'string' AND value GLOB 'enable=*' AND path GLOB '*-*')
