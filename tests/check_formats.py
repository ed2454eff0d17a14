#!/usr/bin/env python3
"""Runs every end-to-end case and example in every --format and checks that
the formats agree: the same findings (rule, severity, message, place) in the
same order, the exit status of the text run, output that is well formed (JSON
and SARIF valid against their schemas, JUnit XML valid against Jenkins' schema
with counts that add up, GitHub commands only) and holds no control character
from the files, and every position inside its file. A wrong command line stays
as it is in text.

    check_formats.py CFGCHECK REPO_ROOT SARIF_SCHEMA

Needs Debian's python3-jsonschema (run with /usr/bin/python3) and xmllint.
"""
import glob
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import urllib.parse
import xml.etree.ElementTree as ET

try:
    import jsonschema
except ImportError:
    print("python3-jsonschema is not installed")
    sys.exit(77)
if not shutil.which("xmllint"):
    print("xmllint (libxml2-utils) is not installed")
    sys.exit(77)

sys.dont_write_bytecode = True  # keep the source tree clean
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import run_e2e  # noqa: E402

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "docs"))
import rules_doc  # noqa: E402

FORMATS = ("gnu", "json", "sarif", "github", "junit")
GNU = re.compile(r"^(.*?)(?::(\d+):(\d+))?: (error|note): (.*?)(?: \[([A-Z]\d+)\])?$")
GITHUB = re.compile(r"^::(error|notice)(?: file=([^,:]*))?(?:,line=(\d+),col=(\d+))?(?:[ ,]title=([^,:]*))?::(.*)$")
# C0 controls but the line feed, DEL, and C1 controls as UTF-8.
CONTROL = re.compile(rb"[\x00-\x09\x0b-\x1f\x7f]|\xc2[\x80-\x9f]")
SEVERITY = {"error": "error", "note": "info", "notice": "info", "info": "info"}


def visible(text):
    """What the line formats make of a message (see driver/format_lines.cpp)."""
    out = []
    for ch in text:
        o = ord(ch)
        if o < 0x20 or o == 0x7F:
            out.append("\\x%02x" % o)
        elif 0x80 <= o <= 0x9F:
            out.append("\\u%04x" % o)
        else:
            out.append(ch)
    return "".join(out)


def from_json(doc):
    return [(f["rule"], f["severity"], visible(f["message"]), f["line"] or 0, f["column"] or 0)
            for f in doc["findings"]]


def from_sarif(doc):
    out = []
    for r in doc["runs"][0]["results"]:
        # a finding about the run as a whole stands nowhere
        region = r["locations"][0]["physicalLocation"].get("region", {}) if "locations" in r else {}
        out.append((r["ruleId"], "error" if r["level"] == "error" else "info", visible(r["message"]["text"]),
                    region.get("startLine", 0), region.get("startColumn", 0)))
    return out


def from_gnu(text):
    out = []
    for line in text.splitlines()[:-1]:
        m = GNU.match(line)
        assert m, f"not a gnu line: {line!r}"
        if m.group(6):  # related places carry no rule
            out.append((m.group(6), SEVERITY[m.group(4)], m.group(5), int(m.group(2) or 0), int(m.group(3) or 0)))
    return out


def from_github(text):
    out = []
    for line in text.splitlines()[:-1]:
        m = GITHUB.match(line)
        assert m, f"not a workflow command: {line!r}"
        if m.group(5):
            out.append((m.group(5), SEVERITY[m.group(1)], urllib.parse.unquote(m.group(6)), int(m.group(3) or 0),
                        int(m.group(4) or 0)))
    return out


def from_junit(text):
    """The failures as findings, and each content case skipped for a note as
    that note (P2, at line 1, column 1)."""
    root = ET.fromstring(text)
    assert root.tag == "testsuites"
    out, tests, failures = [], 0, 0
    for suite in root:
        name, cases = suite.get("name"), suite.findall("testcase")
        failed = [c for c in cases if c.find("failure") is not None]
        skipped = [c for c in cases if c.find("skipped") is not None]
        assert [int(suite.get(a)) for a in ("tests", "failures", "skipped")] == [
            len(cases), len(failed), len(skipped)], name
        tests, failures = tests + len(cases), failures + len(failed)
        parse = [c for c in cases if c.get("name") == "parse"]
        content = [c for c in cases if c.get("name") == "content"]
        if parse:  # a listed file: a known one has its content case
            assert len(content) == any(k in name for k in rules_doc.KNOWN), name
        for c in failed:
            for f in c.findall("failure"):
                # the text is "<path>[:line:column]: <message> [<rule>]", then a line per related place
                first, *related = f.text.split("\n")
                place = first[:len(first) - len(f.get("message")) - len(f.get("type")) - 5]
                m = re.search(r":(\d+):(\d+)$", place)
                line, col = (int(m.group(1)), int(m.group(2))) if m else (0, 0)
                out.append((f.get("type"), "error", "\n".join([f.get("message")] + related), line, col))
        for c in skipped:
            why = c.find("skipped").get("message")
            if why == "content not checked: it does not parse":
                assert any(p.find("failure") is not None for p in parse), name
            else:
                out.append(("P2", "info", why, 1, 1))
    assert int(root.get("tests")) == tests and int(root.get("failures")) == failures
    return out


def in_junit(found, findings):
    """What JUnit shows of the json findings: the errors with their related
    places, and the notes of content not checked where no error fails it."""
    failing = {d["file"] for d in findings if d["severity"] == "error" and d["rule"] != "P1"}
    out = []
    for f, d in zip(found, findings):
        if f[1] == "error" or (f[0] == "P2" and d["file"] not in failing):
            related = [r["file"] + (f":{r['line']}:{r['column']}" if r["line"] else "") + ": " + r["message"]
                       for r in d["related"]]
            out.append(f[:2] + ("\n".join([f[2]] + [visible(r) for r in related]),) + f[3:])
    return sorted(out)


def junit_schema_problems(text, schema):
    proc = subprocess.run(["xmllint", "--noout", "--schema", schema, "-"], input=text, capture_output=True)
    return [] if proc.returncode == 0 else [proc.stderr.decode(errors="replace")[:300]]


def transport_lines(report):
    """The text form's transport report, from the json document's."""
    def connection(c):
        return {"tcpip": f"  TCP/IP: {c.get('address')}:{c.get('port')}", "resman": f"  RESMAN: {c.get('path')}",
                "undefined": "  UNDEF"}[c["type"]]

    out = ["##### Spawing Transports #####"]
    for e in report["spawn"]:
        head = e["node"] + "::" + e["process"]
        if "error" in e:
            out.append(head + " -> ERROR, reason " + e["error"])
        else:
            out.append(head if e["connections"] else head + "NONE")
            out += [connection(c) for c in e["connections"]]
    out.append("##### Single Transports #####")
    for e in report["single"]:
        label = (e["from"] + " -> " + e["to"]).ljust(30) + ":"
        out.append(label + (" ERROR reason=" + e["error"] if "error" in e else connection(e["connection"])))
    return out


def inside(work, finding, path):
    """A position must stand on a character of its file (or just past a line's end)."""
    _, _, _, line, col = finding
    path = os.path.join(work, path)
    if line == 0 or not os.path.isfile(path):  # a pipe was read once already
        return True
    with open(path, "rb") as f:
        lines = f.read().split(b"\n")
    return line <= len(lines) and 1 <= col <= len(lines[line - 1].decode("utf-8", "replace")) + 1


HEAVY = 4 << 20


def input_bytes(work):
    return sum(os.path.getsize(os.path.join(d, f)) for d, _, files in os.walk(work) for f in files
               if os.path.isfile(os.path.join(d, f)))


def check_run(binary, args, case, work, limit, text_run, schemas):
    want_status = text_run.returncode
    problems, found, fresh = [], {}, []
    setup = os.path.join(case, "setup")
    piped = os.path.exists(setup) and "mkfifo" in open(setup).read()
    for fmt in FORMATS:
        if piped:
            # a pipe gives its text once: every run gets a fresh copy
            fresh.append(tempfile.TemporaryDirectory())
            work, limit = run_e2e.prepare(case, fresh[-1].name)
        proc = run_e2e.run(binary, ["--format", fmt] + args, work, limit)
        if proc.returncode != want_status:
            problems.append(f"{fmt}: exit status {proc.returncode}, text gives {want_status}")
            continue
        if CONTROL.search(proc.stdout):
            problems.append(f"{fmt}: a control character reaches the output")
        text = proc.stdout.decode("utf-8", "replace")
        try:
            if fmt in ("json", "sarif"):
                doc = json.loads(text)
                schemas[fmt].validate(doc)
                found[fmt] = from_json(doc) if fmt == "json" else from_sarif(doc)
                if fmt == "json" and "transport" in doc:
                    want = text_run.stderr.decode("utf-8", "replace").splitlines()
                    if transport_lines(doc["transport"]) != want:
                        problems.append("json: the transport report differs from the text form's")
                if fmt == "json":
                    json_findings = doc["findings"]
                    bad = [f for f, d in zip(found[fmt], doc["findings"]) if not inside(work, f, d["file"])]
                    if bad:
                        problems.append(f"positions outside their file: {bad[:3]}")
            else:
                found[fmt] = {"gnu": from_gnu, "github": from_github, "junit": from_junit}[fmt](text)
                if fmt == "junit":
                    problems += [f"junit: {p}" for p in junit_schema_problems(proc.stdout, schemas["junit"])]
        except (AssertionError, ValueError, ET.ParseError, jsonschema.ValidationError) as e:
            problems.append(f"{fmt}: {str(e)[:300]}")
    if "json" in found:
        for fmt, got in found.items():
            want = found["json"]
            if fmt == "junit":  # a suite per file
                want, got = in_junit(want, json_findings), sorted(got)
            if got != want:
                diff = next(((a, b) for a, b in zip(want, got) if a != b), (len(want), len(got)))
                problems.append(f"{fmt} differs from json: {diff}")
    return problems


def without_format(args):
    """A case's arguments without the format it picks: its own expected
    output pins that one, this test runs it in every format."""
    out, i = [], 0
    while i < len(args):
        if args[i] != "--format" or i + 1 == len(args):
            out += args[i:i + 2] if args[i] in ("--file", "--dir", "--maxlinelength") else args[i:i + 1]
        i += 2 if args[i] in ("--file", "--dir", "--maxlinelength", "--format") else 1
    return out


def check_case(binary, args, case, scratch, sanitized, schemas):
    """The problems of one case in every format; None when it is left out."""
    work, limit = run_e2e.prepare(case, scratch)
    if limit == run_e2e.SKIPPED or (sanitized and input_bytes(work) > HEAVY):
        return None
    text = run_e2e.run(binary, args, work, limit)
    if text.returncode == 255 or "--help" in args or "--version" in args:
        # A wrong command line is reported as in text, whatever the
        # format; so are the help and the version.
        return [] if not args else [
            f"{fmt}: {p.returncode} {p.stdout[:80]!r}" for fmt in FORMATS
            for p in [run_e2e.run(binary, ["--format", fmt] + args, work, limit)]
            if p.returncode != text.returncode or p.stdout != text.stdout]
    return check_run(binary, args, case, work, limit, text, schemas)


def main():
    binary, root, sarif_schema = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]), sys.argv[3]
    report_schema = json.load(open(os.path.join(root, "schemas", "cfgcheck-report.schema.json")))
    schemas = {"json": jsonschema.Draft202012Validator(report_schema),
               "sarif": jsonschema.Draft7Validator(json.load(open(sarif_schema))),
               "junit": os.path.join(root, "tests", "schemas", "junit-10.xsd")}
    cases = sorted(glob.glob(os.path.join(root, "tests", "e2e", "*")))
    runs = [(c, without_format(run_e2e.read_args(c))) for c in cases]
    runs += [(os.path.join(root, "examples", e), ["--dir", ".", "--verbose", "--transport"]) for e in ("sound", "broken")]
    # Every wrong snippet of docs/rules.md: together a system with every rule broken.
    companions, rules, _ = rules_doc.parse(os.path.join(root, "docs", "rules.md"))
    snippets = tempfile.TemporaryDirectory()
    for r in (x for x in rules if x.wrong):
        folder = os.path.join(snippets.name, r.title.split()[0])
        os.mkdir(folder)
        files = rules_doc.files_for(companions, r.wrong)
        for name, text in files.items():
            with open(os.path.join(folder, name), "w", encoding="utf-8") as f:
                f.write(text)
        args = r.args + [a for name in rules_doc.KNOWN if name in files for a in ("--file", name)]
        runs.append((folder, args))
    # The sanitizers make the cases of large inputs take minutes in each
    # format; the release build runs them in every format.
    sanitized = os.environ.get("CFGCHECK_SANITIZED") == "1"
    failed = 0
    for case, args in runs:
        with tempfile.TemporaryDirectory() as scratch:
            try:
                problems = check_case(binary, args, case, scratch, sanitized, schemas)
            finally:
                run_e2e.end_case()
        if problems is None:
            continue
        if problems:
            failed += 1
            print(f"FAILED {os.path.basename(case)}")
            print("\n".join("  " + p for p in problems))
    print(f"{len(runs) - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
