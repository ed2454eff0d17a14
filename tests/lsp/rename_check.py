#!/usr/bin/env python3
"""Renames names of the broken example through `cfgcheck --lsp`, applies the
edit, checks the system again and compares: the findings are those of before,
apart from the names."""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

BINARY = sys.argv[1]
EXAMPLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../examples/broken")
# (what comes before the name's first string in framework.json, old name, new name)
RENAMES = [('"name": ', "media", "mediq"), ("", "route", "track"), ("", "rse", "rsx"),
           ('"name": ', "hmi_core", "hmi_main"), ('"name": ', "audiomgr", "audiomix")]


def findings(folder):
    out = subprocess.run([BINARY, "--dir", folder, "--format", "json"], capture_output=True, text=True).stdout
    return [(f["rule"], os.path.basename(f["file"]), f["line"], f["message"]) for f in json.loads(out)["findings"]]


def frame(message):
    body = json.dumps(message).encode()
    return b"Content-Length: %d\r\n\r\n" % len(body) + body


def rename(folder, before, old, new):
    text = open(os.path.join(folder, "framework.json")).read()
    at = text.index('%s"%s"' % (before, old)) + len(before) + 1
    line = text.count("\n", 0, at)
    uri = "file://" + folder + "/framework.json"
    params = {"textDocument": {"uri": uri}, "position": {"line": line, "character": at - text.rfind("\n", 0, at) - 1},
              "newName": new}
    messages = [{"jsonrpc": "2.0", "id": 1, "method": "initialize", "params": {"capabilities": {}}},
                {"jsonrpc": "2.0", "method": "textDocument/didOpen",
                 "params": {"textDocument": {"uri": uri, "languageId": "json", "version": 1, "text": text}}},
                {"jsonrpc": "2.0", "id": 2, "method": "textDocument/rename", "params": params},
                {"jsonrpc": "2.0", "id": 3, "method": "shutdown"}, {"jsonrpc": "2.0", "method": "exit"}]
    out = subprocess.run([BINARY, "--lsp"], input=b"".join(map(frame, messages)), capture_output=True).stdout
    answers = [json.loads(b) for b in re.split(rb"Content-Length: \d+\r\n\r\n", out) if b]
    return next(a for a in answers if a.get("id") == 2)["result"]["changes"]


def apply(changes):
    for uri, edits in changes.items():
        path = uri[len("file://"):]
        lines = open(path).read().split("\n")
        for e in sorted(edits, key=lambda e: (e["range"]["start"]["line"], e["range"]["start"]["character"]), reverse=True):
            s, t = e["range"]["start"], e["range"]["end"]
            assert s["line"] == t["line"]
            l = lines[s["line"]]
            lines[s["line"]] = l[:s["character"]] + e["newText"] + l[t["character"]:]
        open(path, "w").write("\n".join(lines))


def main():
    before = findings(EXAMPLE)
    failures = []
    for before_name, old, new in RENAMES:
        folder = tempfile.mkdtemp(prefix="cfgcheck-rename-")
        try:
            shutil.copytree(EXAMPLE, folder, dirs_exist_ok=True)
            changes = rename(folder, before_name, old, new)
            apply(changes)
            after = findings(folder)
        finally:
            shutil.rmtree(folder)
        renamed = [(r, f, l, m if re.sub(r"\b%s\b" % old, new, m) != a else a) for (r, f, l, m), (_, _, _, a) in zip(before, after)]
        if len(after) != len(before) or any(b[:3] != a[:3] or b[3] != a[3] for b, a in zip(renamed, after)):
            failures.append("%s -> %s:\n  %s" % (old, new, "\n  ".join(map(str, set(after) ^ set(before)))))
        elif sum(map(len, changes.values())) < 2:
            failures.append("%s -> %s: only %r" % (old, new, changes))
    print("\n".join(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
