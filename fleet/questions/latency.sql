-- title: quantiles of the click-to-haptic latency, by build
-- explanation: From each edge of the button to the haptic that is played for it, in microseconds of the
--   co-processor's clock. Edges without a haptic are faults, and left out here. Builds are in the order of their first
--   day.
-- parameter: lot string = : only devices of this hardware lot
-- parameter: since day = 1970-01-01: only captures of this day and later
-- columns: build, devices, haptics, p50, p90, p99, p99_9, slowest
SELECT build, uniqExact(device) AS devices, count() AS haptics,
  quantileExact(0.5)(latency) AS p50, quantileExact(0.9)(latency) AS p90, quantileExact(0.99)(latency) AS p99,
  quantileExact(0.999)(latency) AS p99_9, max(latency) AS slowest
FROM haptics
WHERE ({lot} = '' OR lot = {lot}) AND day >= {since}
GROUP BY build
ORDER BY min(day), build
