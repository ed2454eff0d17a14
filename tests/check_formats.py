#!/usr/bin/env python3
"""Runs every end-to-end case and example in every --format and checks that
the formats agree: the same findings (rule, severity, message, place) in the
same order, the exit status of the text run, output that is well formed (JSON,
SARIF and GitLab's report valid against their schemas, JUnit XML valid against
Jenkins' schema with counts that add up, GitHub commands only) and holds no
control character from the files nor a line a CI runner takes for a command,
and every position inside its file. SARIF must also suit GitHub code scanning:
each result in a file, pointing at its own rule, with a fingerprint of its own.
A wrong command line stays as it is in text.

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
import unicodedata
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

FORMATS = ("gnu", "json", "sarif", "github", "junit", "gitlab")
GNU = re.compile(r"^(?:cfgcheck|(.*?):(\d+):(\d+)): (error|note): (.*) \[([A-Z]\d+)\]$")
REASON_PLACE = re.compile(r"line (\d+), column (\d+): ")
GITHUB = re.compile(r"^::(error|notice)(?: file=([^,:]*))?(?:,line=(\d+),col=(\d+))?(?:[ ,]title=([^,:]*))?::(.*)$")
# C0 controls but the line feed, DEL, C1 controls, and the line and paragraph separators, as UTF-8.
CONTROL = re.compile(rb"[\x00-\x09\x0b-\x1f\x7f]|\xc2[\x80-\x9f]|\xe2\x80[\xa8\xa9]")
SEVERITY = {"error": "error", "note": "info", "notice": "info", "info": "info", "major": "error"}
GITLAB_SEVERITIES = ("info", "minor", "major", "critical", "blocker")


def visible(text):
    """What the line formats make of a message (see driver/format_lines.cpp)."""
    out = []
    for ch in text:
        o = ord(ch)
        if o < 0x20 or o == 0x7F:
            out.append("\\x%02x" % o)
        elif 0x80 <= o <= 0x9F or o in (0x2028, 0x2029):
            out.append("\\u%04x" % o)
        else:
            out.append(ch)
    return "".join(out)


def workflow_command(stream):
    """Whether a GitHub runner reads a line as a command: "::" after white space, or "##[" anywhere."""
    return any(line.lstrip().startswith("::") or "##[" in line
               for line in stream.decode("utf-8", "replace").splitlines())


def from_json(doc):
    """Each message with the sentences github and gitlab add for its suggestions."""
    return [(f["rule"], f["severity"], visible(f["message"] + "".join(f" Did you mean '{s['text']}'?"
                                                                      for s in f.get("suggestions", []))),
             f["line"] or 0, f["column"] or 0) for f in doc["findings"]]


def from_sarif(doc):
    run = doc["runs"][0]
    rules = run["tool"]["driver"]["rules"]
    out, prints = [], set()
    for r in run["results"]:
        assert rules[r["ruleIndex"]]["id"] == r["ruleId"], f"{r['ruleId']} points at rule {r['ruleIndex']}"
        assert len(r["locations"]) == 1, f"{r['ruleId']} is in no file"
        prints.add(r["partialFingerprints"]["cfgcheck/v1"])
        region = r["locations"][0]["physicalLocation"].get("region", {})
        said = r["message"]["text"] + "".join(" " + fix["description"]["text"] for fix in r.get("fixes", []))
        out.append((r["ruleId"], "error" if r["level"] == "error" else "info", visible(said),
                    region.get("startLine", 0), region.get("startColumn", 0)))
    assert len(prints) == len(out), "two results share a fingerprint"
    # a finding about the run as a whole stands nowhere: a note of the invocation
    for n in run["invocations"][0].get("toolExecutionNotifications", []):
        rule = n["associatedRule"]
        assert rules[rule["index"]]["id"] == rule["id"]
        out.append((rule["id"], "error" if n["level"] == "error" else "info", visible(n["message"]["text"]), 0, 0))
    return out


def from_gitlab(doc, validator):
    assert isinstance(doc, list), "the report is no array"
    for entry in doc:
        validator.validate(entry)
        assert entry["severity"] in GITLAB_SEVERITIES and entry["check_name"] and entry["location"]["lines"]["begin"] >= 1
    assert len({e["fingerprint"] for e in doc}) == len(doc), "two entries share a fingerprint"
    return [(e["check_name"], SEVERITY[e["severity"]], visible(e["description"]), e["location"]["path"],
             e["location"]["lines"]["begin"]) for e in doc]


def from_gnu(text):
    """Every line, findings and their related places alike."""
    out = []
    for line in text.splitlines()[:-1]:
        m = GNU.match(line)
        assert m, f"not a gnu line: {line!r}"
        out.append((m.group(6), SEVERITY[m.group(4)], m.group(5), int(m.group(2) or 0), int(m.group(3) or 0)))
    return out


def display_column(work, path, line, col):
    """The GNU display column of a code-point column: tab stops every 8, wide characters 2, marks 0."""
    path = os.path.join(work, path)
    if not os.path.isfile(path):
        return col  # a pipe, read once already: its tests hold ASCII
    with open(path, "rb") as f:
        text = f.read().split(b"\n")[line - 1].decode("utf-8", "replace").lstrip("\ufeff")
    out = 1
    for ch in text[:col - 1]:
        cat, cp = unicodedata.category(ch), ord(ch)
        if ch == "\t":
            out = (out - 1) // 8 * 8 + 9
        elif cp != 0xAD and (cat in ("Mn", "Me", "Cf") or 0x1160 <= cp <= 0x11FF):
            pass
        elif (cat != "Cn" and unicodedata.east_asian_width(ch) in "WF") or 0x20000 <= cp <= 0x3FFFD:
            out += 2
        else:
            out += 1
    return out


def gnu_expected(doc, work):
    """The gnu lines the json document stands for."""
    out = []
    for f in doc["findings"]:
        notes = [dict(s, file=f["file"], message=f"did you mean '{s['text']}'?") for s in f.get("suggestions", [])]
        for e, severity in [(f, f["severity"])] + [(r, "info") for r in notes + f["related"]]:
            message, line = visible(e["message"]).replace("##[", "##\\x5b"), e["line"] or 0
            if line:
                col = display_column(work, e["file"], line, e["column"])
            else:  # the program's own message form
                message, col = (visible(e["file"]) + ": " if e["file"] else "") + message, 0
            out.append((f["rule"], severity, message, line, col))
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
            out.append(f[:2] + ("\n".join([visible(d["message"])] + [visible(r) for r in related]),) + f[3:])
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
    problems, found, fresh, files, gnu_want = [], {}, [], [], []
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
        if CONTROL.search(proc.stdout) or CONTROL.search(proc.stderr):
            problems.append(f"{fmt}: a control character reaches the output")
        streams = [proc.stderr] if fmt == "github" else [proc.stdout, proc.stderr]
        if any(workflow_command(stream) for stream in streams):
            problems.append(f"{fmt}: a line a CI runner would take for a workflow command")
        text = proc.stdout.decode("utf-8", "replace")
        try:
            if fmt == "gitlab":
                found[fmt] = from_gitlab(json.loads(text), schemas[fmt])
            elif fmt in ("json", "sarif"):
                doc = json.loads(text)
                schemas[fmt].validate(doc)
                found[fmt] = from_json(doc) if fmt == "json" else from_sarif(doc)
                if fmt == "json" and "transport" in doc:
                    want = text_run.stderr.decode("utf-8", "replace")
                    if "".join(line + "\n" for line in transport_lines(doc["transport"])) != want:
                        problems.append("json: the transport report differs from the text form's")
                if fmt == "json":
                    gnu_want = gnu_expected(doc, work)
                    files = [d["file"] for d in doc["findings"]]
                    json_findings = doc["findings"]
                    bad = [f for f, d in zip(found[fmt], doc["findings"]) if not inside(work, f, d["file"])]
                    bad += [r for d in doc["findings"] for r in d["related"]
                            if not inside(work, (0, 0, 0, r["line"] or 0, r["column"] or 0), r["file"])]
                    if bad:
                        problems.append(f"positions outside their file: {bad[:3]}")
                    # a parse failure's place comes as data: it must be the one its reason names
                    said = [(REASON_PLACE.match(d["message"]), d) for d in doc["findings"] if d["rule"] == "P1"]
                    bad = [d for m, d in said if m and m.groups() != (str(d["line"]), str(d["column"]))]
                    if bad:
                        problems.append(f"parse failures placed elsewhere than their reason says: {bad[:2]}")
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
            elif fmt == "gnu":
                want = gnu_want
            elif fmt == "gitlab":  # findings in a file, at line 1 when they have none
                want = [(r, s, m, os.path.relpath(p, work) if os.path.isabs(p) else os.path.normpath(p), ln or 1)
                        for (r, s, m, ln, _), p in zip(want, files) if p]
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
    if text.returncode == 255 or {"--help", "--version", "--explain"} & set(args):
        # A wrong command line is reported as in text, whatever the
        # format; so are the help, the version and the rules.
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
               "gitlab": jsonschema.Draft7Validator(json.load(open(os.path.join(root, "tests", "schemas",
                                                                             "gitlab-codequality.schema.json")))),
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
