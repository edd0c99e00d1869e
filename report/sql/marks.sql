-- What happened in the presses that the page draws: on each lane of the time axis, when something began or ended.
-- with: presses
-- rows: 40000
WITH lane(trace, place, lane, label, edge) AS MATERIALIZED (VALUES
  ('ckp_ZORBFingerON', 1, 'Finger', 'finger on', 'begin'),
  ('ckp_ZORBFingerOFF', 1, 'Finger', 'finger off', 'end'),
  ('ckp_ZORBButtonDown', 2, 'Button', 'button down', 'begin'),
  ('ckp_ZORBButtonUp', 2, 'Button', 'button up', 'end'),
  ('ckp_ARCTurnOn', 4, 'Amplifier', 'turn on', 'begin'),
  ('ckp_ARCReady', 4, 'Amplifier', 'ready', 'point'),
  ('AmpTurnOff', 4, 'Amplifier', 'turn off', 'end'),
  ('SoftReset', 4, 'Amplifier', 'reset', 'fault'),
  ('ckp_HaldenStartHaptics', 3, 'Haptic', 'start', 'begin'),
  ('ckp_HaldenPlayAsset', 3, 'Haptic', 'waveform plays', 'play'),
  ('HaldenCLTimeOut', 3, 'Haptic', 'timeout', 'fault'),
  ('HaldenCLFault', 3, 'Haptic', 'fault', 'fault')
), place(n) AS (
  SELECT 0 UNION ALL SELECT n + 1 FROM place WHERE n < 63
), bucket AS MATERIALIZED ( -- of 256 records: far fewer comparisons than of every record with every press
  SELECT first_record / 256 + n AS bucket, presses.* FROM presses JOIN place ON n <= last_record / 256 - first_record / 256
), event AS MATERIALIZED (
  SELECT rowid AS record, run, timestamp AS time, trace FROM zorb_event
  WHERE category = 'zorb' AND component IN ('zorb', 'amp', 'halden', 'latency') AND type = 'event'
    AND event IN ('trace', 'ckp_ZORBFingerON', 'ckp_ZORBFingerOFF', 'ckp_ZORBButtonDown', 'ckp_ZORBButtonUp',
                  'ckp_ARCTurnOn', 'ckp_ARCReady', 'ckp_HaldenStartHaptics', 'ckp_HaldenPlayAsset')
    AND (SELECT count(*) FROM bucket WHERE bucket.bucket = zorb_event.rowid / 256) > 0
    AND trace IN (SELECT trace FROM lane)
), packet AS MATERIALIZED (
  SELECT rowid AS record, run, timestamp AS time, stage, force FROM zorb_input_packet
  WHERE category = 'zorb' AND component = 'zorb'
    AND (SELECT count(*) FROM bucket WHERE bucket.bucket = zorb_input_packet.rowid / 256) > 0
)
SELECT press, event.record, time, place, lane, label, edge, NULL AS value
FROM event JOIN lane USING (trace)
JOIN bucket ON bucket.bucket = event.record / 256 AND bucket.run = event.run
           AND event.record BETWEEN first_record AND last_record
UNION ALL
SELECT press, packet.record, time, 5, 'Stage', 'stage', 'value', stage
FROM packet JOIN bucket ON bucket.bucket = packet.record / 256 AND bucket.run = packet.run
           AND packet.record BETWEEN first_record AND last_record
UNION ALL
SELECT press, packet.record, time, 6, 'Force', 'force', 'value', force
FROM packet JOIN bucket ON bucket.bucket = packet.record / 256 AND bucket.run = packet.run
           AND packet.record BETWEEN first_record AND last_record
ORDER BY 1, 2
