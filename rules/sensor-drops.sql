-- title: Sensors whose events are dropped
-- severity: warning
-- rank: 70
-- finding: {percent} % of the events of '{name}' were dropped: {dropped} of {all_events}, the last one
--   {ago} s before its newest event.
-- why: Dropped events never reach the programs that subscribed: motion looks jerky, steps are
--   missed. Up to 1 % in bursts is usual.
-- next: Events are dropped when the queue of the user client is full: look for a subscriber that
--   does not read (client0 … of this report), or for intervals that are too short.
-- triggers: samples/sensor-bad.plist
-- clean: samples/sensor.plist
WITH sensor AS MATERIALIZED (
  SELECT source, report_number AS report,
         max(CASE path WHEN 'sensorType' THEN value END) AS name,
         max(CASE path WHEN 'APEvents' THEN value END) AS events
  FROM state WHERE path IN ('sensorType', 'APEvents') GROUP BY 1, 2
), counted AS (
  SELECT *, CAST(substr(events, instr(events, 'enqueued=') + 9) AS INTEGER) AS enqueued,
         CAST(substr(events, instr(events, 'dropped=') + 8) AS INTEGER) AS dropped,
         CAST(substr(events, instr(events, 'event_delta=') + 12) AS REAL) AS newest,
         CAST(substr(events, instr(events, 'dropped_delta=') + 14) AS REAL) AS newest_dropped
  FROM sensor WHERE events LIKE '%enqueued=%dropped=%'
)
SELECT source, report, 'APEvents' AS path, name, dropped, enqueued + dropped AS all_events,
       printf('%.1f', 100.0 * dropped / (enqueued + dropped)) AS percent,
       printf('%.3f', newest - newest_dropped) AS ago
FROM counted WHERE enqueued >= 0 AND dropped >= 10 AND dropped > 0.01 * (enqueued + dropped)
ORDER BY 1.0 * dropped / (enqueued + dropped) DESC
