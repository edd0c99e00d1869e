-- title: A press outside its own recorded range
-- severity: warning
-- rank: 54
-- finding: '{what}' of the last press was {value}, outside the {low} to {high} that the button has
--   recorded as its range.
-- why: The range includes every press since the firmware started, so a press outside it means
--   that its statistics cannot be trusted.
-- next: velstat query {source} "SELECT path, value FROM state WHERE path LIKE 'latency/%' OR
--   path LIKE 'last button press/%'" shows all of them.
-- triggers: samples/press-outside-range.plist
-- clean: samples/press-with-haptic.plist
WITH range AS MATERIALIZED (
  SELECT source, report_number AS report,
         max(CASE path WHEN 'latency/min_nz_latency_FD_to_BD' THEN value END) AS touch_low,
         max(CASE path WHEN 'latency/max_latency_FD_to_BD' THEN value END) AS touch_high,
         max(CASE path WHEN 'latency/min_nz_latency_BC_to_PlayAsset' THEN value END) AS play_low,
         max(CASE path WHEN 'latency/max_latency_BC_to_PlayAsset' THEN value END) AS play_high,
         max(CASE path WHEN 'last button press/click count' THEN value END) AS clicks
  FROM state WHERE path GLOB 'latency/*' OR path = 'last button press/click count' GROUP BY 1, 2
), latency AS (
  SELECT state.source, report_number AS report, path, value,
         CASE WHEN path GLOB '*finger detect*' THEN touch_low ELSE play_low END AS low,
         CASE WHEN path GLOB '*finger detect*' THEN touch_high ELSE play_high END AS high
  FROM state JOIN range ON range.source = state.source AND range.report = state.report_number
  WHERE path = 'last button press/finger detect to button down' AND clicks >= 1
     OR path GLOB 'last button press/click [1-3]/button * to play asset'
        AND CAST(substr(path, length('last button press/click ') + 1) AS INTEGER) <= clicks
)
SELECT source, report, path, substr(path, length('last button press/') + 1) AS what, value, low, high
FROM latency WHERE value > 0 AND high > 0 AND (value < low OR value > high)
