-- title: Haptic assets unlike the reference's
-- severity: warning
-- rank: 51
-- finding: {assets} haptic assets differ from the reference, such as {path}: {value} (reference:
--   {good}).
-- why: The same button with other assets feels different, even if nothing is broken.
-- next: velstat diff of both captures lists every asset. Check which configuration was loaded.
-- triggers: samples/assets-uneven.plist
-- clean: samples/assets.plist
-- reference: samples/assets.plist
SELECT device.source, device.report_number AS report, min(device.path) AS path, device.value, good.value AS good,
       count(*) AS assets
FROM state AS device
JOIN (SELECT path, value, count(DISTINCT value) AS different FROM reference_state
      WHERE type = 'string' AND value GLOB 'enable=*' GROUP BY path) AS good ON good.path = device.path
WHERE device.type = 'string' AND device.value GLOB 'enable=*' AND good.different = 1 AND device.value <> good.value
GROUP BY device.source, device.report_number
