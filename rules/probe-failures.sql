-- title: Parts that did not answer a probe
-- severity: error
-- rank: 50
-- finding: {part} did not answer when the co-processor looked for it ({times}).
-- why: The part (force sensor, amplifier, actuator) is missing, unpowered or disconnected; what it
--   does is not there.
-- next: velstat tally {source}/tally.sqlite shows the counter {key} with its times. Check
--   connector, supply and bus of the part.
-- triggers: samples/metrics-bad
-- clean: samples/metrics
SELECT source, key, value,
       trim(replace(replace(replace(substr(key, length('com.tavik.kip.button.') + 1), 'probe_failure', ''), '_count', ''), '_', ' ')) AS part,
       CASE value WHEN 1 THEN 'once' ELSE value || ' times' END AS times
FROM metrics WHERE kind = 'scalar' AND key LIKE '%probe_failure%' AND value > 0
