-- How many records of each kind a capture has. The action is what the button's components did; empty for all others.
SELECT device, build, lot, capture, day, category, component, event, action, count() AS records
FROM (
  SELECT device, build, lot, capture, day, category, component, event, '' AS action
  FROM {records} WHERE category != 'zorb' OR type != 'event'
  UNION ALL
  SELECT device, build, lot, capture, day, category, component, event, trace AS action
  FROM {zorb_event} WHERE category = 'zorb' AND type = 'event'
)
GROUP BY device, build, lot, capture, day, category, component, event, action
