#!/usr/bin/env python3
"""The language server's diagnostics for the broken example equal the findings
of `--format json` for the same four files: rule, line, column, message and
related places, file by file and in order.

  json_agreement.py <cfgcheck> <examples/broken>
"""
import io
import json
import os
import subprocess
import sys
import urllib.parse

NAMES = ["framework.json", "servicemgr.json", "servicemgr_restart.json", "uvkstartup.json"]


def frame(message):
    data = json.dumps(message).encode()
    return b"Content-Length: %d\r\n\r\n" % len(data) + data


def messages(stream):
    while True:
        length = None
        for line in iter(stream.readline, b"\r\n"):
            if not line:
                return
            name, _, value = line.partition(b":")
            if name.lower() == b"content-length":
                length = int(value)
        yield json.loads(stream.read(length))


def main():
    binary, folder = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    args = [binary, "--format", "json"] + [a for n in NAMES for a in ("--file", n)]
    report = json.loads(subprocess.run(args, cwd=folder, capture_output=True, check=False).stdout)
    expected = {n: [] for n in NAMES}
    for f in report["findings"]:
        expected[f["file"]].append((f["rule"], f["line"], f["column"], f["message"],
                                    [(r["file"], r["line"], r["column"], r["message"]) for r in f["related"]]))

    uri = "file://" + urllib.parse.quote(folder) + "/"
    with open(os.path.join(folder, "framework.json"), encoding="utf-8") as f:
        text = f.read()
    # utf-32: the character of a position is the code-point column less one
    session = [
        {"jsonrpc": "2.0", "id": 1, "method": "initialize",
         "params": {"capabilities": {"general": {"positionEncodings": ["utf-32"]}}}},
        {"jsonrpc": "2.0", "method": "textDocument/didOpen", "params": {"textDocument": {
            "uri": uri + "framework.json", "languageId": "json", "version": 1, "text": text}}},
        {"jsonrpc": "2.0", "id": 2, "method": "shutdown"},
        {"jsonrpc": "2.0", "method": "exit"},
    ]
    proc = subprocess.run([binary, "--lsp"], input=b"".join(frame(m) for m in session), capture_output=True,
                          timeout=60)
    got = {}

    for m in messages(io.BytesIO(proc.stdout)):
        if m.get("method") != "textDocument/publishDiagnostics":
            continue
        name = m["params"]["uri"][len(uri):]
        got[name] = [(d["code"], d["range"]["start"]["line"] + 1, d["range"]["start"]["character"] + 1, d["message"],
                      [(r["location"]["uri"][len(uri):], r["location"]["range"]["start"]["line"] + 1,
                        r["location"]["range"]["start"]["character"] + 1, r["message"])
                       for r in d.get("relatedInformation", [])])
                     for d in m["params"]["diagnostics"]]
    failed = proc.returncode != 0 or sorted(got) != sorted(NAMES)
    for name in NAMES:
        if got.get(name) != expected[name]:
            failed = True
            print("%s: --format json\n  %s\n--lsp\n  %s" % (name, expected[name], got.get(name)))
    if not any(expected.values()):
        print("the example has no findings")
        failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
