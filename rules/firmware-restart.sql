-- title: The firmware restarted
-- severity: error
-- rank: 95
-- finding: The firmware restarted {times}: the {log} log began anew at record {number},
--   {seconds} s on the co-processor's clock.
-- why: A restart in the middle of use is a crash or a reset. What was counted and timed
--   before is lost: statistics and times of the last press begin anew.
-- next: Read what came just before: velstat decode {source}. The last records before the
--   numbers begin anew show what the firmware was doing. com.tavik.kip.purl.reset_count
--   tells whether it happens often.
-- triggers: samples/restart.jsonl
-- clean: samples/press.jsonl
SELECT source, CASE count(*) WHEN 1 THEN 'once' ELSE count(*) || ' times' END AS times,
       CASE log WHEN '' THEN 'profile' ELSE log END AS log, first_sequence AS number,
       printf('%.1f', first_time / 1e6) AS seconds,
       (SELECT report FROM records WHERE records.run = runs.run LIMIT 1) AS report,
       (SELECT position FROM records WHERE records.run = runs.run LIMIT 1) AS position,
       min(run) -- SQLite then takes the other columns from the row with the minimum
FROM runs WHERE start = 'restarted' GROUP BY source, log
ORDER BY log = 'fw' DESC
