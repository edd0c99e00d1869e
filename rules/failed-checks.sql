-- title: Checks that failed in the plug-in
-- severity: note
-- rank: 30
-- finding: Checks failed in the plug-in {checks}, most often '{expression}'{share}.
-- why: Each failed check is something that a driver did not deliver as agreed; parts of the
--   capture may be missing or zero.
-- next: velstat query {source} "SELECT message, count(*) FROM log WHERE message LIKE
--   '%AssertMacros%' GROUP BY 1" lists them.
-- triggers: samples/handlers-refused
-- clean: samples/handlers-answered
WITH failed AS MATERIALIZED (
  SELECT source, substr(message, instr(message, 'AssertMacros: ') + 14) AS rest, count FROM log
  WHERE message LIKE '%AssertMacros: %'
), counted AS (
  SELECT source, rtrim(substr(rest, 1, instr(rest || ' file:', ' file:') - 1), ', ') AS expression, sum(count) AS times
  FROM failed GROUP BY 1, 2
)
SELECT source, CASE sum(times) WHEN 1 THEN 'once' ELSE sum(times) || ' times' END AS checks, expression,
       CASE count(*) WHEN 1 THEN '' ELSE ' (' || max(times) || ')' END AS share
FROM counted GROUP BY source
