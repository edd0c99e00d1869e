-- title: restarts, clock jumps and gaps in the logs, by device
-- explanation: How often the firmware restarted, how often the co-processor's clock went back, and in how many places
--   how many records are missing. A restart is in several logs of a device, and counts once; captures that overlap each
--   count what they show. Lines of sensors that are set up are always cut, so records are missing where that is logged.
-- parameter: least integer = 1: devices with fewer restarts, jumps and gaps together are left out
-- parameter: since day = 1970-01-01: only captures of this day and later
-- columns: device, build, lot, restarts, clock_jumps, gaps, missing
SELECT device, build, lot, max(restarted) AS restarts, max(set_back) AS clock_jumps, sum(gaps) AS gaps,
  sum(missing) AS missing
FROM (
  SELECT device, build, lot, log, countIf(start = 'restarted') AS restarted, countIf(start = 'clock-back') AS set_back,
    sum(assumeNotNull(gaps)) AS gaps, sum(assumeNotNull(missing)) AS missing
  FROM runs WHERE day >= {since}
  GROUP BY device, build, lot, log
)
GROUP BY device, build, lot
HAVING restarts + clock_jumps + gaps >= {least}
ORDER BY restarts + clock_jumps DESC, missing DESC, device, build
