-- title: how often each fault occurs, by build and hardware lot
-- explanation: A device counts once for a build and lot, however many of its captures show the fault; the view faults
--   says what counts as one. low and high are Wilson's confidence interval of the rate: where the intervals of two
--   rows do not overlap, the difference is unlikely to be chance. With many rows, some are off by chance at 95 %; a
--   greater z makes that rarer. For rare faults of less than some 20 devices the interval is only approximate.
-- parameter: fault string = : only this fault
-- parameter: z number = 1.96: of the confidence interval: 1.96 is 95 %, 2.58 99 %, 3.29 99.9 %
-- parameter: since day = 1970-01-01: only captures of this day and later
-- columns: fault, build, lot, devices, faulty, rate, low, high
SELECT fault, build, lot, devices, faulty, round(part, 5) AS rate,
  round(greatest(0., (middle - half) / (1 + z2 / devices)), 5) AS low,
  round(least(1., (middle + half) / (1 + z2 / devices)), 5) AS high
FROM (
  SELECT fault, build, lot, devices,
    toUInt64(counts[indexOf(keys, (build, lot))]) AS faulty, faulty / devices AS part,
    {z} * {z} AS z2, part + z2 / (2 * devices) AS middle,
    {z} * sqrt(part * (1 - part) / devices + z2 / (4 * devices * devices)) AS half
  FROM (
    SELECT fault, groupArray((build, lot)) AS keys, groupArray(faulty) AS counts
    FROM (
      SELECT fault, build, lot, uniqExact(device) AS faulty
      FROM faults WHERE ({fault} = '' OR fault = {fault}) AND day >= {since} GROUP BY fault, build, lot
    )
    GROUP BY fault
  ) CROSS JOIN (
    SELECT build, lot, uniqExact(device) AS devices FROM captures WHERE day >= {since} GROUP BY build, lot
  )
) ANY LEFT JOIN (
  SELECT build, min(day) AS released FROM captures WHERE day >= {since} GROUP BY build
) USING build
ORDER BY fault, released, build, lot
