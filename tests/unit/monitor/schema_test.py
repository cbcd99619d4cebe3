#!/usr/bin/env python3
"""usage: schema_test.py CONMON_PROBED SCHEMA CORPUS EXAMPLE...

The shipped JSON Schema and the parser must take the same decision on every file of the corpus. What
lies in bad-by-meaning can't be told by a schema: there the schema accepts and the parser refuses.
"""

import json
import pathlib
import re
import subprocess
import sys

import jsonschema
import yaml


class CoreSchemaLoader(yaml.SafeLoader):
    """Types plain words as YAML 1.2's core schema does: `yes` is a text, `1:30` is no number."""


CoreSchemaLoader.yaml_implicit_resolvers = {}
for tag, pattern, first in [
    ("null", r"~|null|Null|NULL|", ["~", "n", "N", ""]),
    ("bool", r"true|True|TRUE|false|False|FALSE", list("tTfF")),
    ("int", r"[-+]?[0-9]+", list("-+0123456789")),
    ("float", r"[-+]?(\.[0-9]+|[0-9]+(\.[0-9]*)?)([eE][-+]?[0-9]+)?", list("-+.0123456789")),
]:
    CoreSchemaLoader.add_implicit_resolver(f"tag:yaml.org,2002:{tag}", re.compile(f"^(?:{pattern})$"), first)


def schema_accepts(validator, path):
    document = yaml.load(path.read_text(encoding="utf-8"), Loader=CoreSchemaLoader)
    return validator.is_valid(document)


def parser_accepts(program, path):
    return subprocess.run([program, "--check-config", path], capture_output=True, timeout=60).returncode == 0


def main():
    program, schema_path, corpus, *examples = sys.argv[1:]
    schema = json.loads(pathlib.Path(schema_path).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema, format_checker=jsonschema.FormatChecker())
    corpus = pathlib.Path(corpus)
    cases = [(pathlib.Path(example), True, True) for example in examples]
    for kind, by_schema, by_parser in [
        ("good", True, True),
        ("bad", False, False),
        ("bad-by-meaning", True, False),
    ]:
        files = sorted((corpus / kind).iterdir())
        if not files:
            sys.exit(f"{corpus / kind} has no files")
        cases += [(path, by_schema, by_parser) for path in files]
    wrong = 0
    for path, by_schema, by_parser in cases:
        for who, expected, actual in [
            ("the schema", by_schema, schema_accepts(validator, path)),
            ("the parser", by_parser, parser_accepts(program, path)),
        ]:
            if expected != actual:
                wrong += 1
                print(f"{path}: {who} {'accepts' if actual else 'refuses'} it")
    print(f"{len(cases)} files, {wrong} wrong decisions")
    sys.exit(1 if wrong else 0)


main()
