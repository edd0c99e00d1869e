-- How many events of each sensor reached its clients' queue, and how many were dropped because it was full.
SELECT device, build, lot, capture, day, sensor,
  toUInt64OrZero(extract(text, 'enqueued=(\\d+)')) AS enqueued,
  toUInt64OrZero(extract(text, ' dropped=(\\d+)')) AS dropped
FROM (
  SELECT device, build, lot, capture, day, report_number, anyIf(assumeNotNull(value), path = 'sensorType') AS sensor,
    anyIf(assumeNotNull(value), path = 'APEvents') AS text
  FROM {state} WHERE path IN ('sensorType', 'APEvents')
  GROUP BY device, build, lot, capture, day, report_number
)
WHERE match(text, 'enqueued=\\d+ dropped=\\d+')
