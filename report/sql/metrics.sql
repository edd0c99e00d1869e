-- The analytics store.
-- rows: 2000
SELECT source, key, kind, value, count, min, p50, p90, p99, max, mean, standard_deviation FROM metrics ORDER BY kind DESC, key
