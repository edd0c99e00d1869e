-- title: Haptic assets differ between speeds
-- severity: warning
-- rank: 52
-- finding: The haptic assets of {events} differ between the speeds. {event}: {speeds}.
-- why: The same gesture should be felt at every speed, with the same waveform. Where an asset is
--   disabled or in another slot at one speed only, clicks feel uneven.
-- next: velstat query {source} "SELECT path, value FROM state WHERE path LIKE '%-{event}'" shows
--   all fields. A configuration that was written only in part looks like this.
-- triggers: samples/assets-uneven.plist
-- clean: samples/assets.plist
WITH asset AS MATERIALIZED (
  SELECT source, report_number AS report, path, substr(path, instr(path, '-') + 1) AS event,
         substr(path, 1, instr(path, '-') - 1) AS speed,
         CAST(substr(value, 8) AS INTEGER) AS enabled,
         CAST(substr(value, instr(value, 'slot=') + 5) AS INTEGER) AS slot
  FROM state
  WHERE type = 'string' AND value GLOB 'enable=*' AND path GLOB '*-[A-Z]*'
), uneven AS (
  SELECT source, report, min(path) AS path, event,
         group_concat(speed || CASE enabled WHEN 0 THEN ' disabled' ELSE ' enabled' END || ' in slot ' || slot, ', ')
           AS speeds
  FROM asset GROUP BY source, report, event
  HAVING count(DISTINCT enabled <> 0) > 1 OR count(DISTINCT slot) > 1
)
SELECT source, report, min(path) AS path, event, speeds,
       CASE WHEN count(*) <= 4 THEN group_concat(event, ', ') ELSE count(*) || ' gestures' END AS events
FROM uneven GROUP BY source, report
