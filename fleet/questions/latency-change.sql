-- title: change of the click-to-haptic latency between two builds
-- explanation: For each quantile, its value in microseconds in both builds and the change with a confidence interval.
--   An interval that does not include 0 is a change that chance does not explain. The interval of a quantile is from
--   order statistics, that of the change puts the two together; haptics of one device are taken as independent, so it
--   is somewhat too narrow where devices differ. A high quantile of few haptics is not known, and its interval infinite:
--   p99.9 needs 3900 haptics.
-- parameter: before string = : the earlier build; without it, the last but one by day
-- parameter: after string = : the later build; without it, the last one by day
-- parameter: z number = 1.96: of the confidence interval: 1.96 is 95 %, 2.58 99 %, 3.29 99.9 %
-- parameter: since day = 1970-01-01: only captures of this day and later
-- columns: before, after, quantile, haptics_before, haptics_after, us_before, us_after, change, low, high
SELECT builds[1] AS before, builds[2] AS after, quantile,
  length(values[1]) AS haptics_before, length(values[2]) AS haptics_after,
  toInt64(points[1][1]) AS us_before, toInt64(points[2][1]) AS us_after, us_after - us_before AS change,
  round(change - sqrt(pow(us_after - points[2][2], 2) + pow(points[1][3] - us_before, 2)), 1) AS low,
  round(change + sqrt(pow(points[2][3] - us_after, 2) + pow(us_before - points[1][2], 2)), 1) AS high
FROM (
  SELECT arrayMap(x -> x.2, pairs) AS builds, arrayMap(x -> x.3, pairs) AS values,
    arrayJoin([0.5, 0.9, 0.99, 0.999]) AS quantile,
    arrayMap(v -> arrayMap(
      place -> multiIf(place > length(v), inf, place < 1, 0., toFloat64(v[toUInt32(place)])),
      arrayMap(side -> ceil(length(v) * quantile + side * {z} * sqrt(length(v) * quantile * (1 - quantile))),
               [0., -1., 1.])), values) AS points
  FROM (
    SELECT arraySort(x -> x.1, groupArray((place, build, latencies))) AS pairs
    FROM (
      SELECT build, if({after} = '', toUInt32(min(day)), build = {after}) AS place, arraySort(groupArray(latency)) AS latencies
      FROM haptics WHERE day >= {since} AND ({before} = '' OR build IN ({before}, {after}))
      GROUP BY build
      ORDER BY min(day) DESC, build DESC
      LIMIT 2
    )
  )
)
ORDER BY quantile
