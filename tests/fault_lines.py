#!/usr/bin/env python3
"""Puts single faults into two real JSON files (a comma or bracket deleted, a
stray character inserted, the file cut short; a fixed seed) and requires the
P1 finding of `cfgcheck --format json` to stand on the line Python's json
module names or on the line of the edit. A file cut short must be placed on
its last line; when it ends between tokens its related place is the bracket
left open. Prints the tally; every fault must be placed."""
import json
import os
import random
import re
import subprocess
import sys
import tempfile

FILES = ("twitter.json", "citm_catalog.json")
PER_FILE = 150
KINDS = ("comma", "close", "open", "stray", "cut")
STRAYS = '[{}],:x"'
SKIPPED = 77


def structure(text):
    """Positions of the structural characters, and the brackets open at the end
    of `text` (with whether it ends inside a string)."""
    where = {c: [] for c in ",{}[]"}
    opened = []
    in_string = escaped = False
    for i, c in enumerate(text):
        if in_string:
            if escaped:
                escaped = False
            elif c == "\\":
                escaped = True
            elif c == '"':
                in_string = False
        elif c == '"':
            in_string = True
        elif c in where:
            where[c].append(i)
            if c in "{[":
                opened.append(i)
            elif c in "}]" and opened:
                opened.pop()
    return where, opened, in_string


def place(text, pos):
    return text.count("\n", 0, pos) + 1, pos - text.rfind("\n", 0, pos)


def mutate(rng, text, where, kind):
    """The faulty text and the position of the edit in it."""
    if kind == "cut":
        pos = rng.randrange(1, len(text) - 1)
        return text[:pos], pos
    if kind == "stray":
        pos = rng.randrange(len(text) + 1)
        return text[:pos] + rng.choice(STRAYS) + text[pos:], pos
    chars = {"comma": ",", "close": "}]", "open": "{["}[kind]
    pos = rng.choice([p for c in chars for p in where[c]])
    return text[:pos] + text[pos + 1:], pos


def ends_between_tokens(text):
    tail = text.rstrip()
    return tail[-1:] in tuple(',:{}[]"0123456789') or re.search(r"(true|false|null)$", tail) is not None


def check(binary, work, text, kind, pos):
    """None when the fault is placed well, else what is wrong."""
    try:
        json.loads(text)
        return "skip"
    except json.JSONDecodeError as e:
        python_line = e.lineno
    path = os.path.join(work, "mutant.json")
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)
    proc = subprocess.run([binary, "--format", "json", "--maxlinelength", "0", "--file", path],
                          capture_output=True, timeout=60)
    findings = [f for f in json.loads(proc.stdout)["findings"] if f["rule"] == "P1"]
    if proc.returncode != 1 or len(findings) != 1:
        return f"status {proc.returncode}, {len(findings)} P1 findings"
    found = findings[0]
    line, related = found["line"], found["related"]
    said = f"line {line}: {found['message']} (python: line {python_line})"
    if kind != "cut":
        edit_line = place(text, pos)[0]
        return None if line in (python_line, edit_line) else f"{said}, edit on line {edit_line}"
    _, opened, in_string = structure(text)
    end = place(text, len(text))
    if line != end[0]:
        return f"{said}, the file ends on line {end[0]}"
    if in_string or not ends_between_tokens(text):
        return None
    want = place(text, opened[-1]) if opened else None
    got = (related[0]["line"], related[0]["column"]) if related else None
    if got != want or (line, found["column"]) != end:
        return f"{said} at column {found['column']}, related {got}, want {end} with the bracket at {want}"
    return None


def main():
    binary, data = sys.argv[1], sys.argv[2]
    paths = [os.path.join(data, name) for name in FILES]
    if not all(os.path.isfile(p) for p in paths):
        print(f"skipped: the sample files are not in {data}")
        return SKIPPED
    rng = random.Random(20261124)
    placed = total = 0
    problems = []
    with tempfile.TemporaryDirectory() as work:
        for path in paths:
            with open(path, encoding="utf-8") as f:
                text = f.read()
            where, _, _ = structure(text)
            n = 0
            while n < PER_FILE:
                kind = KINDS[n % len(KINDS)]
                mutant, pos = mutate(rng, text, where, kind)
                verdict = check(binary, work, mutant, kind, pos)
                if verdict == "skip":  # still valid JSON: no fault
                    continue
                n += 1
                total += 1
                if verdict is None:
                    placed += 1
                else:
                    problems.append(f"{os.path.basename(path)} {kind} at {place(mutant, pos)}: {verdict}")
    for p in problems:
        print(p[:400])
    print(f"{placed}/{total} faults placed on Python's line or the edited line")
    return 0 if placed == total else 1


if __name__ == "__main__":
    sys.exit(main())
