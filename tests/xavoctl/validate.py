#!/usr/bin/env python3
"""validate.py FILE... - checks each line of the files, a document of xavoctl, against the schema, and that the schema
describes each member; a file need not exist."""
import json
import os
import sys

import jsonschema


def closed(schema):
    """Objects have described members alone; a program of an earlier release accepts further ones."""
    if "properties" in schema:
        schema.setdefault("additionalProperties", False)
    return schema


SCHEMA = os.path.join(os.path.dirname(__file__), "../../tools/format-1.schema.json")
with open(SCHEMA, encoding="utf-8") as file:
    validator = jsonschema.Draft202012Validator(json.load(file, object_hook=closed))
validator.check_schema(validator.schema)
for name in filter(os.path.exists, sys.argv[1:]):
    with open(name, encoding="utf-8") as file:
        for line in file.read().split("\n"):
            for error in validator.iter_errors(json.loads(line)) if line else ():
                sys.exit(f"{name}: {error.json_path}: {error.message[:300]}\n{line[:600]}")
