-- title: clients of the sensors, by batch interval and build
-- explanation: In how many devices of a build a program subscribed to a sensor with this batch interval, in
--   microseconds. 0 is without batches: each sample wakes the host. A program that asks for another interval than in
--   other builds has usually changed itself.
-- parameter: client string = : only this program
-- parameter: sensor string = : only this sensor
-- parameter: since day = 1970-01-01: only captures of this day and later
-- columns: sensor, client, batch_interval, build, devices, of_devices, share
SELECT sensor, client, batch_interval, build, devices, of_devices, round(devices / of_devices, 5) AS share
FROM (
  SELECT sensor, client, batch_interval, build, uniqExact(device) AS devices
  FROM (
    SELECT device, build, capture, report_number, anyIf(value, path = 'sensorType') AS sensor,
      arrayJoin(groupArrayIf(value, path != 'sensorType')) AS told,
      extract(told, '^(.*): report=') AS client,
      toInt64OrZero(extract(told, ' batch=(-?\\d+)')) AS batch_interval
    FROM (
      SELECT device, build, capture, report_number, path, assumeNotNull(value) AS value
      FROM state
      WHERE (path = 'sensorType' OR match(assumeNotNull(path), '^client\\d+$')) AND day >= {since}
    )
    GROUP BY device, build, capture, report_number
  )
  WHERE ({client} = '' OR client = {client}) AND ({sensor} = '' OR sensor = {sensor})
  GROUP BY sensor, client, batch_interval, build
) ANY LEFT JOIN (
  SELECT build, uniqExact(device) AS of_devices, min(day) AS released
  FROM captures WHERE day >= {since} GROUP BY build
) USING build
ORDER BY sensor, client, batch_interval, released, build
