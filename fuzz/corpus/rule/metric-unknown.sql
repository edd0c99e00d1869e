-- title: Metrics under an unknown key
-- severity: note
-- rank: 28
-- finding: The co-processor sent metrics with an unknown key number; they are filed under {key}.
-- why: Firmware and plug-in disagree on the table of keys, so metrics may be filed under wrong names.
-- next: Compare the versions of firmware and plug-in.
-- triggers: samples/metrics-bad
-- clean: samples/metrics
SELECT DISTINCT source, key FROM metrics WHERE key = 'com.tavik.kip.unknown'
