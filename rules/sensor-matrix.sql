-- title: Sensors with matrices that cannot be right
-- severity: warning
-- rank: 48
-- finding: {path}{others} of sensor '{name}' cannot be right: {matrix}.
-- why: An orientation is made of 0, 1 and -1, one for each axis; a calibration is close to 1 on
--   its diagonal and close to 0 elsewhere. With another one, axes are mixed up or scaled.
-- next: Compare with a device of the same model: velstat triage {source} --against GOOD. Zeros
--   throughout mean that the driver has none.
-- triggers: samples/sensor-bad.plist
-- clean: samples/sensor.plist
WITH sensor AS MATERIALIZED (
  SELECT source, report_number AS report, value AS name FROM state WHERE path = 'sensorType'
), matrix AS MATERIALIZED (
  SELECT source, report_number AS report, path AS item, value AS text,
         '[' || replace(replace(replace(value, ' | ', ','), ', ', ','), ' ', ',') || ']' AS numbers
  FROM state
  WHERE type = 'string' AND path IN ('orientationMatrix', 'calibrationMatrix', 'compassSensitivityCalibrationMatrix')
    AND length(value) < 500
), judged AS (
  SELECT matrix.*, count(*) AS cells,
         sum(item = 'orientationMatrix' AND each.value NOT IN (-1, 0, 1)) AS wrong,
         sum(abs(each.value)) AS total,
         count(DISTINCT CASE WHEN abs(each.value) = 1 THEN each.key / 3 END) AS rows_used,
         count(DISTINCT CASE WHEN abs(each.value) = 1 THEN each.key % 3 END) AS columns_used,
         sum(each.key % 4 = 0 AND each.value NOT BETWEEN 0.5 AND 2) AS wrong_diagonal,
         sum(each.key % 4 <> 0 AND abs(each.value) > 0.5) AS wrong_others
  FROM matrix JOIN json_each(CASE WHEN json_valid(numbers) THEN numbers ELSE '[]' END) AS each
  WHERE each.type IN ('integer', 'real')
  GROUP BY source, report, item
)
SELECT source, report, min(item) AS path, name, text AS matrix,
       CASE count(*) WHEN 1 THEN '' ELSE ' and ' || (count(*) - 1) || ' more' END AS others
FROM judged JOIN sensor USING (source, report)
WHERE (cells <> 9
   OR item = 'orientationMatrix' AND (wrong > 0 OR total <> 3 OR rows_used <> 3 OR columns_used <> 3)
   OR item <> 'orientationMatrix' AND (wrong_diagonal > 0 OR wrong_others > 0))
GROUP BY source, report
