-- title: t
-- explanation: e
-- parameter: a string = x: w
-- parameter: b number: w
-- parameter: c day = 2026-01-01: w
-- columns: a
SELECT {a}, {b}-{c}, '{a}\'', `{` /* {a} */ -- {b}
