#!/usr/bin/env python3
"""Runs the SARIF multitool's GitHub rules over the SARIF of the two examples
and of the hostile names case: code scanning must take them as they are.
Installs the npm package @microsoft/sarif-multitool under NPM_PREFIX when it
is not there; skips (77) only when npm or the package cannot be had.

    sarif_multitool.py CFGCHECK REPO_ROOT NPM_PREFIX
"""
import glob
import json
import os
import shutil
import subprocess
import sys
import tempfile

RUNS = (("examples/sound", ["--dir", ".", "--verbose", "--transport"]),
        ("examples/broken", ["--dir", ".", "--verbose", "--transport"]),
        ("tests/e2e/fmt-hostile-names", ["--file", "framework.json"]))


def multitool(prefix):
    pattern = os.path.join(prefix, "node_modules", "@microsoft", "sarif-multitool-*", "Sarif.Multitool")
    if not glob.glob(pattern):
        if shutil.which("npm") is None:
            return None, "npm is not installed"
        proc = subprocess.run(["npm", "install", "--prefix", prefix, "@microsoft/sarif-multitool"],
                              capture_output=True, text=True, timeout=600)
        if proc.returncode != 0 or not glob.glob(pattern):
            return None, "npm could not install @microsoft/sarif-multitool: " + proc.stderr[-500:]
    tool = glob.glob(pattern)[0]
    os.chmod(tool, 0o755)  # npm may leave its install script, which does this, unrun
    return tool, None


def main():
    binary, root, prefix = os.path.abspath(sys.argv[1]), sys.argv[2], os.path.abspath(sys.argv[3])
    tool, why = multitool(prefix)
    if tool is None:
        print(why)
        return 77
    failed = 0
    with tempfile.TemporaryDirectory() as work:
        for folder, args in RUNS:
            log, checked = os.path.join(work, "in.sarif"), os.path.join(work, "out.sarif")
            with open(log, "wb") as out:
                subprocess.run([binary, "--format", "sarif"] + args, cwd=os.path.join(root, folder), stdout=out,
                               stderr=subprocess.DEVNULL, timeout=60)
            # the file first: an option that takes a list would take it too
            proc = subprocess.run([tool, "validate", log, "--rule-kind", "Gh", "--output", checked,
                                   "--log", "ForceOverwrite"], capture_output=True, text=True, timeout=600)
            if not os.path.exists(checked):
                failed += 1
                print(f"FAILED {folder}: the multitool did not run ({proc.returncode})\n{proc.stdout[-2000:]}")
                continue
            results = json.load(open(checked))["runs"][0].get("results", [])
            bad = [r for r in results if r["ruleId"].startswith("GH")]
            if bad:
                failed += 1
                print(f"FAILED {folder}")
                print("\n".join(f"  {r['ruleId']}: {r['message'].get('text', r['message'])}" for r in bad[:10]))
    print(f"{len(RUNS) - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
