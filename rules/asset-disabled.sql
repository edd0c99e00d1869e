-- title: Disabled haptic assets of ordinary clicks
-- severity: error
-- rank: 75
-- finding: The haptic assets of {events} are disabled at every speed.
-- why: A disabled asset is not played: these clicks are sensed and cannot be felt, even if
--   amplifier and actuator are well.
-- next: velstat query {source} "SELECT path, value FROM state WHERE value LIKE 'enable=%'"
--   lists all assets. The firmware disables what it could not play; otherwise look at who
--   configures the button.
-- triggers: samples/assets-disabled.plist
-- clean: samples/assets.plist

-- Taps and deep presses are disabled on devices that do not offer them.
WITH asset AS MATERIALIZED (
  SELECT source, report_number AS report, substr(path, instr(path, '-') + 1) AS event,
         max(CAST(substr(value, 8) AS INTEGER)) AS enabled, count(*) AS speeds, path
  FROM state
  WHERE type = 'string' AND value GLOB 'enable=*' AND path GLOB '*-*'
  GROUP BY 1, 2, 3
)
SELECT source, report, min(path) AS path, group_concat(event, ', ') AS events
FROM asset
WHERE enabled = 0
  AND event IN ('SingleDown', 'SingleUp', 'DoubleDown', 'DoubleUp', 'TripleDown', 'TripleUp', 'LongPress', 'LongPressUp')
GROUP BY source, report
