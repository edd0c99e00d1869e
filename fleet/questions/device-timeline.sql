-- title: what happened on one device, in order
-- explanation: Each part of its logs (first, restarted, clock-back), what its button did, step by step, failed commands,
--   and where records are missing. The order is that of the logs, as times do not tell it once a clock has gone back:
--   calendar_time, in UTC, is by the clock's present relation.
-- parameter: device string: its id, as it was loaded
-- parameter: log string = : only this log, such as fw
-- parameter: since day = 1970-01-01: only captures of this day and later
-- columns: day, log, calendar_time, timestamp, sequence_num, what, detail
SELECT day, log, calendar_time, timestamp, sequence_num, what, detail
FROM (
  SELECT capture, day, run, calendar_time, timestamp, sequence_num, toUInt8(2) AS place, what, detail
  FROM (
    SELECT capture, day, run, calendar_time, timestamp, sequence_num, concat(component, ' ', trace) AS what,
      concat('arg1=', toString(arg1)) AS detail
    FROM zorb_event WHERE device = {device} AND category = 'zorb' AND type = 'event' AND day >= {since}
    UNION ALL
    SELECT capture, day, run, calendar_time, timestamp, sequence_num, 'command timeout' AS what,
      concat('command ', toString(arg1), ' after ', toString(arg2), ' us') AS detail
    FROM event
    WHERE device = {device} AND category = 'execution' AND component = 'command' AND event = 'timeout' AND day >= {since}
  )
  UNION ALL
  SELECT capture, day, run, calendar_time, timestamp, sequence_num, toUInt8(1) AS place, 'missing' AS what,
    concat(toString(missing), ' records before this one') AS detail
  FROM records WHERE device = {device} AND missing > 0 AND day >= {since}
  UNION ALL
  SELECT capture, day, toUInt32(assumeNotNull(run)) AS run, CAST(NULL AS Nullable(String)) AS calendar_time,
    toUInt64(assumeNotNull(first_time)) AS timestamp, toUInt32(assumeNotNull(first_sequence)) AS sequence_num,
    toUInt8(0) AS place, assumeNotNull(start) AS what, concat(toString(assumeNotNull(records)), ' records') AS detail
  FROM runs WHERE device = {device} AND day >= {since}
) ANY LEFT JOIN (
  SELECT capture, toUInt32(assumeNotNull(run)) AS run, assumeNotNull(log) AS log
  FROM runs WHERE device = {device} AND day >= {since}
) USING capture, run
WHERE {log} = '' OR log = {log}
ORDER BY day, capture, run, sequence_num, place, timestamp
