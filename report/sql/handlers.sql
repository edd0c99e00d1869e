-- State handlers that returned nothing, by service and result.
-- rows: 2000
SELECT source, service, count(*) AS handlers, min(number) AS first, max(number) AS last, result, result_text,
       result IS NOT NULL OR result_text LIKE 'failed:%' AS failed,
       (SELECT count(*) FROM handlers AS every
        WHERE every.source = handlers.source AND every.service = handlers.service) AS all_handlers
FROM handlers WHERE NOT answered GROUP BY source, service, result, result_text ORDER BY min(number)
