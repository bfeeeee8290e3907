#!/usr/bin/env python3
"""Checks the JSON Schema of the report against the reports on the examples: each is valid, every key
that it has is described, and a report that lacks one is not valid.

Usage: check_report_schema.py PROGRAM EXAMPLES"""

import copy
import json
import pathlib
import subprocess
import sys

import jsonschema

program, examples = sys.argv[1], pathlib.Path(sys.argv[2])
schema = json.loads(subprocess.run(
    [program, "schema", "--report"], capture_output=True, text=True, check=True).stdout)
jsonschema.Draft7Validator.check_schema(schema)
validator = jsonschema.Draft7Validator(schema)


def reports(*arguments):
    run = subprocess.run([program, "run", "--json", *arguments], capture_output=True, text=True)
    return [json.loads(line) for line in run.stdout.splitlines()]


def fail(report, message):
    sys.exit(f"{report['file']}: {message}")


paths = sorted(examples.glob("*.yaml"))
for report in reports(*paths) + reports("--trace", *paths[:1]):
    error = jsonschema.exceptions.best_match(validator.iter_errors(report))
    if error:
        fail(report, f"{error.json_path}: {error.message}")
    for key in report:
        other = copy.deepcopy(report)
        del other[key]
        if key not in ("trace", "assumed") and validator.is_valid(other):
            fail(report, f"valid without {key}")
    report["more"] = 1
    if validator.is_valid(report):
        fail(report, "valid with a key that nobody knows")
