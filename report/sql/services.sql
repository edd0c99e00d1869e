-- The services of the device, and how many of their handlers answered.
-- rows: 1000
SELECT services.source, name, usages, opened, handlers,
       (SELECT count(*) FROM handlers
        WHERE handlers.source = services.source AND handlers.service = services.name AND answered) AS answered
FROM services
