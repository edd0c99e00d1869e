-- title: State handlers that returned nothing
-- severity: error
-- rank: 60
-- finding: '{service}' left {handlers} of {all_handlers} questions unanswered: {result_text}{code}.
-- why: What a handler would have reported is missing from the capture without a trace:
--   a sensor or a button that is not listed is not healthy, it is unknown.
-- next: The result is the driver's. Look at the log of the capture for '{service}', check
--   that its driver is loaded and that no other program holds it open, and capture again.
-- triggers: samples/handlers-refused
-- clean: samples/handlers-answered
SELECT source, service,
       CASE WHEN result_text LIKE 'failed: %' THEN 'the check "' || substr(result_text, 9) || '" failed'
            ELSE result_text END AS result_text,
       CASE WHEN result IS NULL THEN '' ELSE printf(' (%#x)', result) END AS code,
       count(*) AS handlers,
       (SELECT count(*) FROM handlers AS every
        WHERE every.source = handlers.source AND every.service = handlers.service) AS all_handlers
FROM handlers
WHERE NOT answered AND (result IS NOT NULL OR result_text LIKE 'failed:%')
GROUP BY source, service, handlers.result_text, result
ORDER BY count(*) DESC
