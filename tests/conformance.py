#!/usr/bin/env python3
"""Runs cfgcheck over the JSON conformance suite: y_ files must parse, n_ files
must fail with a reason naming line and column, and no file may crash it."""
import os
import re
import subprocess
import sys

POSITION = re.compile(r"reason = line \d+, column \d+: ")


def main():
    binary, suite = sys.argv[1], sys.argv[2]
    names = sorted(n for n in os.listdir(suite) if n.endswith(".json"))
    problems = []
    for name in names:
        proc = subprocess.run([binary, "--maxlinelength", "0", "--file", os.path.join(suite, name)],
                              capture_output=True, timeout=60)
        out = proc.stdout.decode(errors="replace")
        if proc.returncode not in (0, 1):
            problems.append(f"{name}: exit status {proc.returncode}")
        elif name.startswith("y_") and proc.returncode != 0:
            problems.append(f"{name}: rejected: {out.strip()}")
        elif name.startswith("n_") and (proc.returncode != 1 or not POSITION.search(out)):
            problems.append(f"{name}: not rejected with a position: {out.strip()}")
    for p in problems:
        print(p[:400])
    print(f"{len(names) - len(problems)} passed, {len(problems)} failed")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
