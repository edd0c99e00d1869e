-- title: Services that the plug-in did not take
-- severity: error
-- rank: 58
-- finding: Service '{name}' ({usages}) was {what}: nothing of it is in the capture.
-- why: A service without a state handler is invisible: its sensor or button may be well or broken.
-- next: The capture's log says which check failed when the service was registered: velstat query
--   {source} "SELECT time, message FROM log". Its transport has to be VEL, and its driver has to
--   open.
-- triggers: samples/handlers-refused
-- clean: samples/handlers-answered
SELECT source, name, CASE usages WHEN '' THEN 'no usages' ELSE usages END AS usages,
       CASE opened WHEN 0 THEN 'not taken' ELSE 'opened and given up' END AS what
FROM services
WHERE handlers = 0 AND (opened OR log_lines > 0) -- neither: it has a transport that the plug-in ignores
