#!/usr/bin/env python3
"""Runs every command shown with its output in README.md and the manual page
(a line `$ command` and the lines under it) from the project root and
compares what it prints, standard output and error together. Elapsed times
are masked; a line `...` stands for any number of lines."""
import os
import re
import subprocess
import sys

TIME = re.compile(r"time=\d+\[ms\]")


def shown_runs(text, indent, ends, clean):
    lines = text.split("\n")
    for i, line in enumerate(lines):
        if line.startswith(indent + "$ "):
            out = []
            for more in lines[i + 1:]:
                if ends(more):
                    break
                out.append(clean(more[len(indent):]))
            yield clean(line[len(indent) + 2:]), out


def roff(line):
    line = re.sub(r"\\f[BIRP]", "", line)
    for escape, plain in ((r"\-", "-"), (r"\(dq", '"'), (r"\&", ""), (r"\e", "\\")):
        line = line.replace(escape, plain)
    return line


# README: indented blocks; manual page: the lines up to the next request
SOURCES = (
    ("README.md", "    ", lambda line: not line.startswith("    ") or line.startswith("    $ "), lambda line: line),
    ("docs/cfgcheck.1", "", lambda line: line.startswith("."), roff),
)


def matches(shown, printed):
    pattern = "".join(r"(?:[^\n]*\n)*?" if line == "..." else re.escape(line) + "\n" for line in shown)
    return re.fullmatch(pattern, printed) is not None


def main():
    binary, root = os.path.abspath(sys.argv[1]), sys.argv[2]
    env = dict(os.environ, PATH=os.path.dirname(binary) + os.pathsep + os.environ["PATH"])
    runs = []
    for name, indent, ends, clean in SOURCES:
        with open(os.path.join(root, name), encoding="utf-8") as f:
            runs += [(name, command, shown) for command, shown in shown_runs(f.read(), indent, ends, clean)]
    failed = 0
    for name, command, shown in runs:
        proc = subprocess.run(["bash", "-c", command], cwd=root, env=env, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=60)
        printed = TIME.sub("time=N[ms]", proc.stdout.decode(errors="replace"))
        if not matches([TIME.sub("time=N[ms]", s) for s in shown], printed):
            failed += 1
            print(f"{name}: $ {command}\n--- shown\n" + "\n".join(shown) + "\n--- printed\n" + printed)
    print(f"{len(runs)} shown runs, {failed} differ")
    return 1 if failed or not runs else 0


if __name__ == "__main__":
    sys.exit(main())
