-- title: devices whose logs are like those of devices with a fault
-- explanation: Each kind of record (category, component, event, action) has a weight: the logarithm of how much more
--   often it is among the records of devices with the fault than among those of others. The score of a device is the
--   mean weight of its records. One that is above 0 without the fault may be about to have it, or have it in a form
--   that the view faults does not know.
-- parameter: fault string: its name, as in fault-rate
-- parameter: least integer = 100: devices with fewer records are left out
-- parameter: since day = 1970-01-01: only captures of this day and later
-- columns: device, build, lot, has_fault, score, records
SELECT device, any(build) AS build, any(lot) AS lot, faulty AS has_fault,
  round(sum(n * weight) / sum(n), 5) AS score, sum(n) AS records
FROM (
  SELECT device, build, lot, category, component, event, action, records AS n,
    device IN (SELECT device FROM faults WHERE fault = {fault} AND day >= {since}) AS faulty
  FROM record_kinds WHERE day >= {since}
) ANY INNER JOIN (
  SELECT category, component, event, action,
    log((with_fault + 1) / all_with * all_without / (without + 1)) AS weight
  FROM (
    SELECT category, component, event, action, sumIf(records, faulty) AS with_fault, sumIf(records, NOT faulty) AS without
    FROM (
      SELECT category, component, event, action, records,
        device IN (SELECT device FROM faults WHERE fault = {fault} AND day >= {since}) AS faulty
      FROM record_kinds WHERE day >= {since}
    )
    GROUP BY category, component, event, action
  ) CROSS JOIN (
    SELECT sumIf(records, faulty) AS all_with, sumIf(records, NOT faulty) AS all_without
    FROM (
      SELECT records, device IN (SELECT device FROM faults WHERE fault = {fault} AND day >= {since}) AS faulty
      FROM captures WHERE day >= {since}
    )
  )
  WHERE all_with > 0
) USING category, component, event, action
GROUP BY device, has_fault
HAVING records >= {least}
ORDER BY score DESC, device
