-- Each edge of the button whose haptic was played: the time between them, in microseconds.
SELECT device, build, lot, capture, day, run, if(pair.1 = 1, 'down', 'up') AS edge, pair.2 AS timestamp,
  toUInt64(pair.4 - pair.2) AS latency
FROM (
  SELECT device, build, lot, capture, day, run,
    groupArray(toUInt64(sequence_num) * 4 + step) AS places, groupArray(timestamp) AS times,
    arraySort(places) AS sorted, arrayMap(x -> toUInt8(x % 4), sorted) AS steps,
    arraySort((time, place) -> place, times, places) AS at,
    arrayJoin(arrayMap((one, time, next, then) -> (one, time, next, then), arrayPopBack(steps), arrayPopBack(at),
                       arrayPopFront(steps), arrayPopFront(at))) AS pair
  FROM (
    SELECT device, build, lot, capture, day, run, sequence_num, timestamp,
      transform(trace, ['ckp_ZORBButtonDown', 'ckp_ZORBButtonUp', 'ckp_HaldenPlayAsset'], [1, 2, 3], 0) AS step
    FROM {zorb_event}
    WHERE category = 'zorb' AND component = 'latency' AND type = 'event' AND step > 0
  )
  GROUP BY device, build, lot, capture, day, run
)
WHERE pair.1 IN (1, 2) AND pair.3 = 3 AND pair.4 >= pair.2
