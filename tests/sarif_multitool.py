#!/usr/bin/env python3
"""GitHub code scanning's rules of the SARIF multitool (npm @microsoft/sarif-multitool,
installed under NPM_PREFIX when missing) on the SARIF of the examples and of the
hostile names case: none may fire. Skips (77) when npm or the package cannot be had.

    sarif_multitool.py CFGCHECK REPO_ROOT NPM_PREFIX
"""
import json
import os
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import npm_package  # noqa: E402

RUNS = [(e, ["--dir", ".", "--verbose", "--transport"]) for e in ("examples/sound", "examples/broken")]
RUNS += [("tests/e2e/fmt-hostile-names", ["--file", "framework.json"])]


def main():
    binary, root, prefix = os.path.abspath(sys.argv[1]), sys.argv[2], os.path.abspath(sys.argv[3])
    tool = npm_package.install(prefix, "@microsoft/sarif-multitool", "@microsoft/sarif-multitool-*/Sarif.Multitool")
    if tool is None:
        return 77
    os.chmod(tool, 0o755)  # npm may leave the package's install script, which does this, unrun
    failed = 0
    with tempfile.TemporaryDirectory() as work:
        log, checked = os.path.join(work, "in.sarif"), os.path.join(work, "out.sarif")
        for folder, args in RUNS:
            with open(log, "wb") as out:
                subprocess.run([binary, "--format", "sarif"] + args, cwd=os.path.join(root, folder), stdout=out,
                               stderr=subprocess.DEVNULL, timeout=60)
            # the file first: an option that takes a list would take it too
            proc = subprocess.run([tool, "validate", log, "--rule-kind", "Gh", "--output", checked,
                                   "--log", "ForceOverwrite"], capture_output=True, text=True, timeout=600)
            results = json.load(open(checked))["runs"][0].get("results", []) if proc.returncode == 0 else None
            bad = [f"{r['ruleId']}: {r['message'].get('text')}" for r in results or [] if r["ruleId"].startswith("GH")]
            if results is None or bad:
                failed += 1
                print(f"FAILED {folder}\n  " + "\n  ".join(bad or [proc.stdout[-2000:]]))
    print(f"{len(RUNS) - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
