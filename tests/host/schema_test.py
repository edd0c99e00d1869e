#!/usr/bin/env python3
"""The schema against the models: every model that is shipped and every good one fits it, every bad one does not.

usage: schema_test.py MODELS TEST_MODELS
The C++ reader is tested on the same folders, so that the two agree. Models that a schema cannot judge (no JSON, keys
that stand twice, limits that depend on two values) are in a folder of their own and are left out here."""

import json
import pathlib
import sys

import jsonschema

models, tests = (pathlib.Path(argument) for argument in sys.argv[1:])
schema = json.loads((models / "device-model.schema.json").read_text())
validator = jsonschema.Draft202012Validator(schema)
validator.check_schema(schema)

problems = []
shipped = [path for path in models.glob("*.json") if path.name != "device-model.schema.json"]
good = sorted((tests / "good").glob("*.json"))
bad = sorted((tests / "bad").glob("*.json"))
assert shipped and good and bad, "no models found"
for path in shipped + good:
    problems += [f"{path.name}: {error.json_path}: {error.message}" for error in
                 validator.iter_errors(json.loads(path.read_text()))]
for path in bad:
    if validator.is_valid(json.loads(path.read_text())):
        problems.append(f"{path.name}: the schema accepts it")

print("\n".join(problems) or f"{len(shipped)} shipped, {len(good)} good and {len(bad)} bad models agree")
sys.exit(bool(problems))
