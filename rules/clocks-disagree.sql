-- title: Lines that relate the clocks differently
-- severity: warning
-- rank: 56
-- finding: The lines give {relations} relations between the co-processor's clock and the
--   calendar, up to {seconds} s apart.
-- why: With more than one relation no calendar time can be trusted, and captures cannot be
--   compared by time.
-- next: velstat query {source} "SELECT * FROM clocks" lists them. Captures of different boots
--   belong into separate folders; within one boot the clock was set anew.
-- triggers: samples/two-clocks.txt
-- clean: samples/press.jsonl
SELECT source, count(*) AS relations, printf('%.3f', (max(offset) - min(offset)) / 1e6) AS seconds
FROM clocks GROUP BY source HAVING count(*) > 1
UNION ALL
SELECT source, 2, 'an unknown number of'
FROM defects
WHERE kind = 'clock' AND source NOT IN (SELECT source FROM clocks GROUP BY source HAVING count(*) > 1)
