-- title: Records damaged or lost on the way
-- severity: error
-- rank: 85
-- finding: The log is damaged: {what}.
-- why: What cannot be read is missing from every other answer, and damage on the way from
--   the co-processor (memory, bus, driver) is a fault of its own.
-- next: Look at the first place: velstat decode {source} reports each damaged line. If captures
--   differ in what is damaged, suspect the transport; if not, the firmware's buffer.
-- triggers: samples/damaged-lines.txt
-- clean: samples/press.jsonl

-- Defective lines, and records whose category or type has no name. The records are counted without GROUP BY, for which
-- SQLite would keep all of them: if the bytes are not records at all, there may be millions. They are read twice,
-- because a single pattern narrows what is read, but two patterns joined by OR do not.
WITH counted AS (
  SELECT source, report, min(position) AS position, sum(count) AS n,
         CASE kind WHEN 'contradiction' THEN 'whose words contradict their bytes'
                   WHEN 'damaged' THEN 'without their 48 bytes'
                   ELSE 'missing from their batches' END AS kind
  FROM defects WHERE kind IN ('contradiction', 'damaged', 'missing-lines') GROUP BY source, kind
  UNION ALL
  SELECT source, report, position, n, 'of an unknown category or type'
  FROM (SELECT source, report, position, sum(n) AS n, min(first)
        FROM (SELECT source, report, position, count(*) AS n, min(timestamp) AS first
              FROM records WHERE category GLOB '[0-9]*'
              UNION ALL
              SELECT source, report, position, count(*), min(timestamp)
              FROM records WHERE type GLOB '[0-9]*' AND category NOT GLOB '[0-9]*')
        WHERE n > 0)
  WHERE n > 0
)
SELECT source, group_concat(n || CASE n WHEN 1 THEN ' record ' ELSE ' records ' END || kind, ', ') AS what,
       report, min(position) AS position
FROM counted GROUP BY source
