"""Reads docs/rules.md into runnable rules.

A second-level heading names the file a section is about ("## framework.json").
A fourth-level heading starts a rule. Fenced blocks carry their role in the
info string:

    ```json companion FILE     a file of the example system (any section)
    ```json wrong FILE [local] the broken file; `local`: the editor schema rejects it
    ```json fix FILE           the same file put right: checks clean
    ```json example FILE       a sound file shown with its output
    ```text finding [ARGS]     the lines cfgcheck prints for the wrong file(s)
    ```text output [ARGS]      the lines cfgcheck prints for the example file(s)
    ```text gnu                the findings of the wrong file(s) with --format gnu
"""
import re

# The known files, in the order cfgcheck tests a path for their names.
KNOWN = ("framework.json", "servicemgr.json", "uvkstartup.json", "servicemgr_restart.json")
FENCE = re.compile(r"^```(\S*)\s*(.*)$")


class Rule:
    def __init__(self, section, title, line):
        self.section, self.title, self.line = section, title, line
        self.wrong, self.fix, self.example = {}, {}, {}
        self.local = set()          # names of wrong files the schema must reject
        self.expected = None        # list of lines
        self.args = []
        self.gnu = None             # list of lines, when the rule shows them

    def name(self):
        return f"{self.section}: {self.title} (line {self.line})"


def parse(path):
    """Returns (companions, rules, problems)."""
    companions, rules, problems = {}, [], []
    section, rule = None, None
    lines = open(path, encoding="utf-8").read().split("\n")
    i = 0
    while i < len(lines):
        line = lines[i]
        if line.startswith("## "):
            section, rule = line[3:].strip(), None
        elif line.startswith("#### "):
            rule = Rule(section, line[5:].strip(), i + 1)
            rules.append(rule)
        elif line.startswith("### "):
            rule = None
        m = FENCE.match(line)
        if not m:
            i += 1
            continue
        start = i + 1
        i += 1
        while i < len(lines) and lines[i] != "```":
            i += 1
        body = "\n".join(lines[start:i]) + "\n"
        i += 1
        words = m.group(2).split()
        if not words:
            continue
        role, rest = words[0], words[1:]
        where = f"line {start}"
        if role == "companion":
            companions[rest[0]] = body
        elif role in ("wrong", "fix", "example"):
            if rule is None or not rest or rest[0] not in KNOWN:
                problems.append(f"{where}: '{role}' block outside a rule or without a known file name")
                continue
            getattr(rule, role)[rest[0]] = body
            if role == "wrong" and "local" in rest[1:]:
                rule.local.add(rest[0])
        elif role == "gnu" and rule is not None:
            rule.gnu = body.rstrip("\n").split("\n")
        elif role in ("finding", "output"):
            if rule is None:
                problems.append(f"{where}: '{role}' block outside a rule")
                continue
            rule.expected = body.rstrip("\n").split("\n")
            rule.args = rest
    for r in rules:
        if r.section not in KNOWN:
            continue  # the driver's own rules are catalogued, not run
        if r.expected is None:
            problems.append(f"{r.name()}: no finding or output block")
        elif r.example:
            if r.wrong or r.fix:
                problems.append(f"{r.name()}: an example rule has no wrong or fix files")
        elif not r.wrong or set(r.fix) != set(r.wrong):
            problems.append(f"{r.name()}: needs wrong files and a fix for each of them")
    return companions, rules, problems


def files_for(companions, own):
    """The files of one run: a framework.json snippet runs alone; any other
    snippet runs with the example system, replacing the file of its name."""
    if "framework.json" in own:
        return dict(own)
    files = dict(companions)
    files.update(own)
    return files
