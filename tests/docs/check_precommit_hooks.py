#!/usr/bin/env python3
"""The pre-commit hook definition is valid YAML with what pre-commit requires
of a hook, and its entry is a command line cfgcheck accepts."""
import re
import sys

import yaml

REQUIRED = {"id": str, "name": str, "entry": str, "language": str}
OPTIONAL = {"description": str, "files": str, "pass_filenames": bool, "args": list, "types": list}


def main():
    hooks = yaml.safe_load(open(sys.argv[1], encoding="utf-8"))
    assert isinstance(hooks, list) and hooks, "a list of hooks"
    for hook in hooks:
        for key, kind in REQUIRED.items():
            assert isinstance(hook.get(key), kind), f"{key}: {kind.__name__} required"
        for key, value in hook.items():
            assert key in REQUIRED or key in OPTIONAL, f"unknown key {key}"
            assert isinstance(value, (REQUIRED | OPTIONAL)[key]), f"{key}: wrong type"
        re.compile(hook.get("files", ""))
        assert hook["entry"].split()[0] == "cfgcheck", "runs the installed program"
        assert "--strict" in hook["entry"].split()
    print(f"{len(hooks)} hook(s) OK")


if __name__ == "__main__":
    main()
