-- title: The firmware suspected a stuck finger
-- severity: warning
-- rank: 45
-- finding: The firmware started its timer for a stuck finger {times} times.
-- why: The timer is started when a finger seems to stay on the button for too long. Now and then
--   that is a resting finger; often, it is a sensor that sees a finger that is not there.
-- next: velstat query {source} "SELECT timestamp, run FROM zorb_event WHERE
--   trace = 'EnableStuckFDTimer'" lists them. Compare with when the button was touched.
-- triggers: samples/stuck.jsonl
-- clean: samples/few-troubles.jsonl
SELECT source, report, position, count(*) AS times, min(timestamp)
FROM zorb_event
WHERE category = 'zorb' AND component = 'zorb' AND type = 'event' AND trace = 'EnableStuckFDTimer'
GROUP BY source HAVING count(*) >= 3
