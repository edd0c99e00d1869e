-- title: devices whose sensors drop events
-- explanation: Events are dropped when the queue of the user client is full, so that programs never see them. Up to 1 %
--   in bursts is usual. A row is a sensor in a capture, the worst first.
-- parameter: share number = 0.01: rows with a smaller share of dropped events are left out
-- parameter: least integer = 10: rows with fewer dropped events are left out
-- parameter: since day = 1970-01-01: only captures of this day and later
-- columns: device, build, lot, day, sensor, enqueued, dropped, dropped_share
SELECT device, build, lot, day, sensor, enqueued, dropped, round(dropped / (enqueued + dropped), 5) AS dropped_share
FROM sensor_events
WHERE dropped >= {least} AND dropped > {share} * (enqueued + dropped) AND day >= {since}
ORDER BY dropped_share DESC, device, day, sensor
