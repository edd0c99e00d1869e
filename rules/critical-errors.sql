-- title: Critical errors that the button counted
-- severity: error
-- rank: 51
-- finding: The button counted {value} critical {errors}.
-- why: The firmware counts an error as critical when the button cannot go on as it should.
-- next: The error log tells what it was: velstat query {source} "SELECT calendar_time, category,
--   component, event FROM records JOIN runs USING (run) WHERE log = 'err'".
-- triggers: samples/metrics-bad
-- clean: samples/metrics
SELECT source, value, CASE value WHEN 1 THEN 'error' ELSE 'errors' END AS errors
FROM metrics WHERE key LIKE '%.critical_error.count' AND value > 0
