#!/usr/bin/env python3
"""GitHub code scanning's rules of the SARIF multitool (npm @microsoft/sarif-multitool,
installed under NPM_PREFIX when missing) on the SARIF of the examples and of the
hostile names case: none may fire. Skips (77) when npm or the package cannot be had.

    sarif_multitool.py CFGCHECK REPO_ROOT NPM_PREFIX
"""
import glob
import json
import os
import subprocess
import sys
import tempfile

RUNS = [(e, ["--dir", ".", "--verbose", "--transport"]) for e in ("examples/sound", "examples/broken")]
RUNS += [("tests/e2e/fmt-hostile-names", ["--file", "framework.json"])]


def main():
    binary, root, prefix = os.path.abspath(sys.argv[1]), sys.argv[2], os.path.abspath(sys.argv[3])
    pattern = os.path.join(prefix, "node_modules", "@microsoft", "sarif-multitool-*", "Sarif.Multitool")
    if not glob.glob(pattern):
        try:
            subprocess.run(["npm", "install", "--prefix", prefix, "@microsoft/sarif-multitool"], timeout=600,
                           stdout=subprocess.DEVNULL)
        except OSError as e:
            print(f"npm cannot run: {e}")
            return 77
    if not glob.glob(pattern):
        print("npm could not install @microsoft/sarif-multitool")
        return 77
    tool = glob.glob(pattern)[0]
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
