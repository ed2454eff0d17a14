#!/usr/bin/env python3
"""Checks the schemas in schemas/ against what cfgcheck accepts and reports.

The editor schemas must accept every sound example (examples/sound, the example
system and the fixes of docs/rules.md, a system made by bench/gen_system.py when
it is there) and reject every wrong snippet of docs/rules.md marked `local`.
The report schema must allow exactly the rule IDs of docs/rules.md, in its order.

    check_schemas.py REPO_ROOT
"""
import glob
import json
import os
import pathlib
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    print("python3-jsonschema is not installed")
    sys.exit(77)

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import rules_doc  # noqa: E402

SCHEMA_OF = {name: name.replace(".json", ".schema.json") for name in rules_doc.KNOWN}


def load_validators(schema_dir):
    store, schemas = {}, {}
    for name, schema_name in SCHEMA_OF.items():
        path = pathlib.Path(schema_dir, schema_name).resolve()
        schema = json.loads(path.read_text(encoding="utf-8"))
        jsonschema.Draft202012Validator.check_schema(schema)
        store[path.as_uri()] = schema
        schemas[name] = (path.as_uri(), schema)
    validators = {}
    for name, (uri, schema) in schemas.items():
        resolver = jsonschema.RefResolver(base_uri=uri, referrer=schema, store=store)
        validators[name] = jsonschema.Draft202012Validator(schema, resolver=resolver)
    return validators


def kind(path):
    """The known file a path stands for, tested in cfgcheck's order."""
    for name in rules_doc.KNOWN:
        if name in path:
            return name
    return None


def errors(validators, name, text):
    value = json.loads(text)
    return [f"{'/'.join(map(str, e.absolute_path)) or '(top)'}: {e.message}"
            for e in validators[name].iter_errors(value)]


def main():
    root = sys.argv[1]
    validators = load_validators(os.path.join(root, "schemas"))
    companions, rules, problems = rules_doc.parse(os.path.join(root, "docs", "rules.md"))
    accept = []  # (label, known name, text)
    reject = []
    for path in sorted(glob.glob(os.path.join(root, "examples", "sound", "*.json"))):
        if kind(path):
            accept.append((os.path.relpath(path, root), kind(path), open(path, encoding="utf-8").read()))
    for name, text in companions.items():
        accept.append((f"example system {name}", name, text))
    for r in rules:
        for name, text in list(r.fix.items()) + list(r.example.items()):
            accept.append((f"{r.name()} fixed {name}", name, text))
        for name in sorted(r.local):
            reject.append((f"{r.name()} wrong {name}", name, r.wrong[name]))
    generator = os.path.join(root, "bench", "gen_system.py")
    with tempfile.TemporaryDirectory() as out:
        if os.path.exists(generator):
            subprocess.run([sys.executable, generator, "40", out], check=True, capture_output=True)
            for path in sorted(glob.glob(os.path.join(out, "*.json"))):
                if kind(path):
                    accept.append((f"gen_system.py 40: {os.path.basename(path)}", kind(path),
                                   open(path, encoding="utf-8").read()))
    failed = list(problems)
    report = json.load(open(os.path.join(root, "schemas", "cfgcheck-report.schema.json"), encoding="utf-8"))
    allowed = report["properties"]["findings"]["items"]["properties"]["rule"]["enum"]
    catalogue = [r.title.split()[0] for r in rules]
    if allowed != catalogue:
        missing, unknown = [i for i in catalogue if i not in allowed], [i for i in allowed if i not in catalogue]
        failed.append(f"cfgcheck-report.schema.json: rule IDs missing {missing}, unknown {unknown}, or out of order")
    for label, name, text in accept:
        found = errors(validators, name, text)
        if found:
            failed.append(f"{label}: rejected: " + "; ".join(found[:3]))
    for label, name, text in reject:
        if not errors(validators, name, text):
            failed.append(f"{label}: accepted")
    for f in failed:
        print("FAILED " + f)
    print(f"{len(accept) + len(reject) + 1 - len(failed)} passed, {len(failed)} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
