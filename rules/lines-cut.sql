-- title: Lines that were cut before their bytes
-- severity: note
-- rank: 20
-- finding: {lines} lines were cut before their 48 bytes, so their records are missing.
-- why: A text that holds a NUL ends there, and logs may limit the length of a line. Few such lines
--   are usual.
-- next: Many cut lines mean that the log was copied by a program that shortens lines: capture to a
--   folder (velstat capture --out) instead.
-- triggers: samples/cut-lines.txt
-- clean: samples/damaged-lines.txt
SELECT source, sum(count) AS lines, report, min(position) AS position
FROM defects WHERE kind = 'truncated' GROUP BY source
