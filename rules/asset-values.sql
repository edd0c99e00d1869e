-- title: Haptic assets with impossible values
-- severity: warning
-- rank: 50
-- finding: {assets} with values that cannot be meant, such as {path}: {value}.
-- why: A gain of 0 plays nothing, a great or negative one distorts; bounds the wrong way round
--   leave nothing to play.
-- next: velstat query {source} "SELECT path, value FROM state WHERE value LIKE 'enable=%'" lists
--   all. If most look random, the driver's table is damaged or of another version.
-- triggers: samples/assets-uneven.plist
-- clean: samples/assets.plist
WITH asset AS MATERIALIZED (
  SELECT source, report_number AS report, path, value,
         CAST(substr(value, 8) AS INTEGER) AS enabled,
         CAST(substr(value, instr(value, 'gain=') + 5) AS REAL) AS gain,
         CAST(substr(value, instr(value, 'min=') + 4) AS INTEGER) AS low,
         CAST(substr(value, instr(value, 'max=') + 4) AS INTEGER) AS high
  FROM state
  WHERE type = 'string' AND value GLOB 'enable=*' AND path GLOB '*-[A-Z]*'
)
SELECT source, report, min(path) AS path, value, CASE count(*) WHEN 1 THEN '1 haptic asset' ELSE count(*) || ' haptic assets' END AS assets
FROM asset
WHERE enabled NOT IN (0, 1) OR enabled = 1 AND (gain <= 0 OR gain > 8 OR low >= high)
GROUP BY source, report
