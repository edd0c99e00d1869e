-- title: The last press played no haptic
-- severity: error
-- rank: 68
-- finding: The last press had {clicks}, and no haptic was played for {edges}.
-- why: The button's own statistics confirm that a click was sensed and could not be felt.
-- next: Look at the rest of the report: velstat query {source} "SELECT path, value FROM state
--   WHERE path LIKE 'last button press/%'". Zeros in 'play asset ts' mean that the actuator
--   was not reached.
-- triggers: samples/press-without-haptic.plist
-- clean: samples/press-with-haptic.plist
WITH press AS MATERIALIZED (
  SELECT source, report_number AS report,
         max(CASE path WHEN 'last button press/click count' THEN value END) AS clicks
  FROM state WHERE path = 'last button press/click count' GROUP BY 1, 2
), edge AS MATERIALIZED (
  SELECT source, report_number AS report, CAST(substr(path, length('last button press/click ') + 1) AS INTEGER) AS click,
         max(CASE WHEN path LIKE '%/button down ts' THEN value END) AS down,
         max(CASE WHEN path LIKE '%/button down to play asset' THEN value END) AS down_haptic,
         max(CASE WHEN path LIKE '%/button up ts' THEN value END) AS up,
         max(CASE WHEN path LIKE '%/button up to play asset' THEN value END) AS up_haptic
  FROM state WHERE path GLOB 'last button press/click [1-3]/*' GROUP BY 1, 2, 3
)
SELECT source, report, 'last button press/click ' || min(click) AS path,
       CASE clicks WHEN 1 THEN '1 click' ELSE clicks || ' clicks' END AS clicks,
       sum((down > 0 AND down_haptic = 0) + (up > 0 AND up_haptic = 0)) || ' of ' ||
       sum((down > 0) + (up > 0)) || ' button edges' AS edges
FROM edge JOIN press USING (source, report)
WHERE click <= press.clicks
GROUP BY source, report
HAVING sum((down > 0 AND down_haptic = 0) + (up > 0 AND up_haptic = 0)) > 0
