#!/usr/bin/env python3
"""Runs every snippet of docs/rules.md through cfgcheck.

A wrong snippet must print exactly the documented lines (every line other than
the driver's own "[cfgcheck]..." lines counts) and exit with 1, and so must its
`gnu` lines with --format gnu, which pin where each finding stands; its fix must
print no such line and exit with 0; an example must print its documented
output and exit with 0.

With --explain instead of a section: `cfgcheck --explain ID` (the ID in
lower case) must print the rule's entry, from its heading to the next one, and
`cfgcheck --explain` every ID with its title.

    check_rules.py CFGCHECK RULES_MD [SECTION | --explain]
"""
import os
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import rules_doc  # noqa: E402


def run(binary, files, args):
    with tempfile.TemporaryDirectory() as work:
        argv = [binary] + args
        for name in rules_doc.KNOWN:
            if name in files:
                with open(os.path.join(work, name), "w", encoding="utf-8") as f:
                    f.write(files[name])
                argv += ["--file", name]
        proc = subprocess.run(argv, cwd=work, capture_output=True, timeout=60)
    text = (proc.stdout + proc.stderr).decode(errors="replace")
    lines = [l for l in text.split("\n")[:-1] if not l.startswith("[cfgcheck]")]
    return lines, proc.returncode


def compare(what, got, status, want, want_status):
    if got == want and status == want_status:
        return []
    out = [f"  {what}: exit status {status} (expected {want_status})"]
    out += ["    expected: " + repr(l) for l in want]
    out += ["    printed:  " + repr(l) for l in got]
    return out


def check_explain(binary, doc):
    """Each entry as the document's lines cut it (a '#' in a code block is no heading), and the list."""
    texts, rule, fenced, listed = {}, None, False, ""
    for line in open(doc, encoding="utf-8").read().split("\n"):
        fenced ^= line.startswith("```")
        if not fenced and line.startswith("#"):
            rule = line.split()[1] if line.startswith("#### ") else None
            if rule:
                listed += rule.ljust(4) + line[5 + len(rule) + 1:].replace(" *(editor)*", "") + "\n"
        if rule:
            texts[rule] = texts.get(rule, "") + line + "\n"
    runs = [([r.lower()], t.rstrip() + "\n") for r, t in texts.items()] + [(["--strict"], listed)]
    failed = 0
    for args, want in runs:
        proc = subprocess.run([binary, "--explain"] + args, capture_output=True, timeout=60)
        if proc.returncode != 0 or proc.stdout.decode() != want:
            failed += 1
            print(f"FAILED --explain {args[0]}: status {proc.returncode}\n{proc.stdout.decode()[:300]}")
    print(f"{len(runs) - failed} passed, {failed} failed")
    return 1 if failed or not texts else 0


def main():
    binary, doc = os.path.abspath(sys.argv[1]), sys.argv[2]
    section = sys.argv[3] if len(sys.argv) > 3 else None
    if section == "--explain":
        return check_explain(binary, doc)
    companions, rules, problems = rules_doc.parse(doc)
    for p in problems:
        print("document: " + p)
    rules = [r for r in rules if section is None or r.section == section]
    failed = 0
    got, status = run(binary, companions, [])
    report = compare("example system", got, status, [], 0)
    if report:
        failed += 1
        print("FAILED the example system does not check clean")
        print("\n".join(report))
    for r in rules:
        report = []
        if r.example:
            got, status = run(binary, rules_doc.files_for(companions, r.example), r.args)
            report += compare("example", got, status, r.expected, 0)
        else:
            got, status = run(binary, rules_doc.files_for(companions, r.wrong), r.args)
            report += compare("wrong", got, status, r.expected, 1)
            if r.gnu:
                got, status = run(binary, rules_doc.files_for(companions, r.wrong), r.args + ["--format", "gnu"])
                report += compare("wrong, --format gnu", got, status, r.gnu, 1)
            got, status = run(binary, rules_doc.files_for(companions, r.fix), r.args)
            report += compare("fix", got, status, [], 0)
        if report:
            failed += 1
            print("FAILED " + r.name())
            print("\n".join(report))
    if not rules:
        print(f"no rules found for section {section!r}")
        failed += 1
    print(f"{len(rules) + 1 - failed} passed, {failed + len(problems)} failed")
    return 1 if failed or problems else 0


if __name__ == "__main__":
    sys.exit(main())
