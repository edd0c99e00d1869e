-- title: what is loaded: devices, captures and records by build and lot
-- explanation: A build or lot with few devices gives rates with wide confidence intervals.
-- parameter: least integer = 1: builds and lots with fewer devices are left out
-- columns: build, lot, devices, captures, records
SELECT build, lot, uniqExact(device) AS devices, count() AS captures, sum(records) AS records
FROM captures
GROUP BY build, lot
HAVING devices >= {least}
ORDER BY build, lot
