-- What is wrong with a device, one row for each fault of a capture. The names are those of the device models, the
-- conditions those of the rules of velstat triage.
SELECT device, build, lot, capture, day, fault, sum(found) AS times
FROM (
  -- What follows each start of the haptics, and each request to turn the amplifier on, in the same part of the log.
  SELECT device, build, lot, capture, day, pair.1 AS fault, toUInt64(pair.2) AS found
  FROM (
    SELECT device, build, lot, capture, day, run,
      arrayMap(x -> toUInt8(x % 256), arraySort(groupArray(toUInt64(sequence_num) * 256 + step))) AS steps,
      arrayFilter(x -> x <= 4, steps) AS haptics, arrayFilter(x -> x > 4, steps) AS power,
      arrayJoin([
        ('actuator-timeout',
         arrayCount((one, next) -> one = 1 AND next IN (3, 4), arrayPopBack(haptics), arrayPopFront(haptics))),
        ('amplifier-timeout',
         arrayCount((one, next) -> one = 5 AND next != 6, arrayPopBack(power), arrayPopFront(power)))
      ]) AS pair
    FROM (
      SELECT device, build, lot, capture, day, run, sequence_num,
        transform(trace, ['ckp_HaldenStartHaptics', 'ckp_HaldenPlayAsset', 'HaldenCLTimeOut', 'HaldenCLFault',
                          'ckp_ARCTurnOn', 'ckp_ARCReady', 'ckp_ZORBFingerOFF'], [1, 2, 3, 4, 5, 6, 7], 0) AS step
      FROM {zorb_event}
      WHERE category = 'zorb' AND component IN ('halden', 'latency') AND type = 'event' AND step > 0
    )
    GROUP BY device, build, lot, capture, day, run
  )
  WHERE pair.2 > 0
  UNION ALL
  SELECT device, build, lot, capture, day, 'failing-sensor' AS fault, toUInt64(1) AS found
  FROM {handlers} WHERE answered = 0 AND isNotNull(result)
  UNION ALL
  SELECT device, build, lot, capture, day, 'dropped-events' AS fault, toUInt64(1) AS found
  FROM {sensor_events} WHERE dropped >= 10 AND dropped > 0.01 * (enqueued + dropped)
  UNION ALL
  SELECT device, build, lot, capture, day, if(assumeNotNull(start) = 'restarted', 'firmware-restart', 'clock-jump') AS fault,
    toUInt64(1) AS found
  FROM {runs} WHERE start IN ('restarted', 'clock-back')
  UNION ALL
  SELECT device, build, lot, capture, day, 'log-gaps' AS fault, toUInt64(assumeNotNull(gaps)) AS found
  FROM {runs} WHERE gaps > 0
  UNION ALL
  SELECT device, build, lot, capture, day, 'damaged-log' AS fault, toUInt64(assumeNotNull(count)) AS found
  FROM {defects} WHERE kind IN ('contradiction', 'damaged', 'missing-lines')
  UNION ALL
  SELECT device, build, lot, capture, day, 'damaged-log' AS fault, toUInt64(1) AS found
  FROM {records}
  WHERE category_id NOT IN (SELECT id FROM {category_names}) OR type_id NOT IN (SELECT id FROM {type_names})
)
GROUP BY device, build, lot, capture, day, fault
