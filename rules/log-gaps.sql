-- title: Records that are missing from the log
-- severity: warning
-- rank: 35
-- finding: {missing} records are missing in {gaps} of the {log} log, which has {records}.
-- why: The numbers of the records go up by one; where some are left out, the log was overwritten
--   or lost before it was read. Other findings may be consequences.
-- next: velstat query {source} "SELECT sequence_num, missing FROM records WHERE missing > 0" shows
--   where. Capture more often, or more batches.
-- triggers: samples/gap.jsonl
-- clean: samples/press.jsonl
SELECT source, CASE log WHEN '' THEN 'profile' ELSE log END AS log, sum(missing) AS missing, 
       CASE sum(gaps) WHEN 1 THEN 'one place' ELSE sum(gaps) || ' places' END AS gaps,
       sum(records) AS records
FROM runs GROUP BY source, log HAVING sum(missing) > 0
