-- How lines relate the co-processor's clock to the calendar.
-- rows: 100
SELECT source, lines, strftime('%Y-%m-%d %H:%M:%S', offset / 1000000, 'unixepoch') AS zero,
       strftime('%Y-%m-%d %H:%M:%S', boot / 1000000, 'unixepoch') AS boot
FROM clocks
