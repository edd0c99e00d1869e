-- title: the first and the last build with each fault
-- explanation: Builds are in the order of the first day on which a capture has them. A fault is new if it is in the
--   last build and not in the first, and gone if the last build does not have it. A rare fault may be missing from a
--   build with few devices by chance: fault-rate tells.
-- parameter: since day = 1970-01-01: only captures of this day and later
-- columns: fault, first_build, first_day, last_build, last_day, builds, of_builds, devices, state
SELECT fault, names[first] AS first_build, first_day, names[last] AS last_build, last_day, builds,
  length(names) AS of_builds, devices,
  multiIf(last < length(names), 'gone', first > 1, 'new', 'always') AS state
FROM (
  SELECT fault, min(indexOf(names, build)) AS first, max(indexOf(names, build)) AS last,
    uniqExact(build) AS builds, sum(found) AS devices, min(since_day) AS first_day, max(until_day) AS last_day, names
  FROM (
    SELECT fault, build, uniqExact(device) AS found, min(day) AS since_day, max(day) AS until_day
    FROM faults WHERE day >= {since} GROUP BY fault, build
  ) CROSS JOIN (
    SELECT arrayMap(x -> x.2, arraySort(groupArray((released, build)))) AS names
    FROM (SELECT build, min(day) AS released FROM captures WHERE day >= {since} GROUP BY build)
  )
  GROUP BY fault, names
)
ORDER BY fault
