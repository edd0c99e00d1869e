-- The haptic assets: one for each speed and event.
-- rows: 2000
SELECT source, report_number AS report, path, substr(path, 1, instr(path, '-') - 1) AS speed,
       substr(path, instr(path, '-') + 1) AS event, CAST(substr(value, 8) AS INTEGER) <> 0 AS enabled,
       substr(path, instr(path, '-') + 1) IN ('SingleDown', 'SingleUp', 'DoubleDown', 'DoubleUp', 'TripleDown', 'TripleUp',
                                              'LongPress', 'LongPressUp') AS ordinary, -- every device offers these
       CASE instr(value, ' slot=') WHEN 0 THEN '' ELSE substr(value, instr(value, ' slot=') + 1) END AS details, value
FROM state
WHERE type = 'string' AND value GLOB 'enable=*' AND path GLOB '*-*'
ORDER BY source, report_number
