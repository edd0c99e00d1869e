-- title: The co-processor's clock was set back
-- severity: error
-- rank: 90
-- finding: The clock of the co-processor went back by {seconds} s in the {log} log, while the
--   records' numbers went on from {number}.
-- why: Every time and latency across the jump is wrong, and records before and after it
--   seem to lie in the same moment.
-- next: Trust the records' numbers, not their times. velstat decode {source} shows both;
--   look for what set the clock, such as a new time synchronisation.
-- triggers: samples/clock-back.jsonl
-- clean: samples/press.jsonl
SELECT later.source, CASE later.log WHEN '' THEN 'profile' ELSE later.log END AS log,
       later.first_sequence AS number,
       printf('%.1f', (earlier.last_time - later.first_time) / 1e6) AS seconds,
       (SELECT report FROM records WHERE records.run = later.run LIMIT 1) AS report,
       (SELECT position FROM records WHERE records.run = later.run LIMIT 1) AS position,
       min(later.run)
FROM runs AS later
JOIN runs AS earlier
  ON earlier.run = (SELECT max(run) FROM runs AS before
                    WHERE before.run < later.run AND before.log = later.log AND before.source = later.source)
WHERE later.start = 'clock-back'
GROUP BY later.source, later.log
ORDER BY later.log = 'fw' DESC
