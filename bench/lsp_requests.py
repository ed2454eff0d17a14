#!/usr/bin/env python3
"""Latency of the language server's requests on a large system.

Generates the realistic system of N processes (gen_system.py, into
bench/data/lsp-N unless it is there), opens its servicemgr.json in one
`cfgcheck --lsp` (the others are read from disk), waits for the check, then sends each request kind
--requests times at names drawn at random (seeded) and prints the median
and the slowest answer per kind. A kind the server does not announce in its
capabilities is left out.

    bench/lsp_requests.py [--cfgcheck build/cfgcheck] [--processes 10000] [--requests 21]

To measure another request, add a row to KINDS: the capability that
announces it, the method, the file and pattern of the places to ask at, and
what the params hold besides the document and position.
"""
import argparse
import os
import random
import re
import statistics
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
GOAL_MS = 50  # for the requests answered as one types or points; the outline has none

# (name, capability, method, file, pattern whose group 1 is a name's string, extra params)
KINDS = [
    ("definition", "definitionProvider", "textDocument/definition", "servicemgr.json", r'"app": ("[^"]+")', {}),
    ("references", "referencesProvider", "textDocument/references", "framework.json", r'"node": ("[^"]+")',
     {"context": {"includeDeclaration": True}}),
    ("outline", "documentSymbolProvider", "textDocument/documentSymbol", "framework.json", r'"name": ("[^"]+")', {}),
    ("hover", "hoverProvider", "textDocument/hover", "framework.json", r'"name": ("[^"]+")', {}),
    ("completion", "completionProvider", "textDocument/completion", "servicemgr.json", r'"app": ("[^"]+")', {}),
]
FILES = ["framework.json", "servicemgr.json", "servicemgr_restart.json", "uvkstartup.json"]


sys.path.insert(0, HERE)
import lsp_latency  # noqa: E402


class Server(lsp_latency.Server):
    def request(self, method, params):
        """The answer's result, and the seconds from sending to the answer."""
        started = time.perf_counter()
        sent = super().request(method, params)
        while True:
            at, message = self.receive()
            if message.get("id") == sent and "method" not in message:
                return message.get("result"), at - started


def places(text, pattern):
    """(line, character) inside each match's name; the files are ASCII."""
    starts = [0] + [m.end() for m in re.finditer("\n", text)]
    result, line = [], 0
    for m in re.finditer(pattern, text):
        at = m.start(1) + 1
        while line + 1 < len(starts) and starts[line + 1] <= at:
            line += 1
        result.append((line, at - starts[line]))
    return result


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cfgcheck", default=os.path.join(HERE, "..", "build", "cfgcheck"))
    parser.add_argument("--processes", type=int, default=10000)
    parser.add_argument("--requests", type=int, default=21, help="requests per kind")
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()

    folder = os.path.abspath(os.path.join(HERE, "data", "lsp-%d" % args.processes))
    if not os.path.exists(os.path.join(folder, "uvkstartup.json")):
        subprocess.run([sys.executable, os.path.join(HERE, "gen_system.py"), str(args.processes), folder], check=True)
    texts = {name: open(os.path.join(folder, name), encoding="utf-8").read() for name in FILES}

    server = Server(args.cfgcheck)
    # As VS Code does: completion items share one range, given once.
    client = {"textDocument": {"completion": {"completionList": {"itemDefaults": ["editRange"]}}}}
    capabilities, _ = server.request("initialize", {"processId": None, "rootUri": None, "capabilities": client})
    capabilities = capabilities["capabilities"]
    server.send({"jsonrpc": "2.0", "method": "initialized", "params": {}})
    started = time.perf_counter()
    # One open file: a second one opened while the first is checked would be checked again at the first request.
    server.send({"jsonrpc": "2.0", "method": "textDocument/didOpen", "params": {"textDocument": {
        "uri": "file://" + folder + "/servicemgr.json", "languageId": "json", "version": 1, "text": texts["servicemgr.json"]}}})
    published = set()
    while len(published) < len(FILES):
        _, message = server.receive()
        if message.get("method") == "textDocument/publishDiagnostics":
            published.add(message["params"]["uri"])
    print("%d processes: first check %.0f ms" % (args.processes, (time.perf_counter() - started) * 1000))

    rng = random.Random(args.seed)
    print("| request | median | slowest | requests | goal <= %d ms |" % GOAL_MS)
    print("|---|---|---|---|---|")
    for kind, capability, method, name, pattern, extra in KINDS:
        if capability not in capabilities:
            print("| %s | - | - | 0 | not served |" % kind)
            continue
        candidates = places(texts[name], pattern)
        times = []
        for line, character in rng.sample(candidates, min(args.requests, len(candidates))):
            params = {"textDocument": {"uri": "file://" + folder + "/" + name},
                      "position": {"line": line, "character": character}, **extra}
            result, seconds = server.request(method, params)
            if result is None:
                raise SystemExit("%s at %s:%d:%d answered nothing" % (kind, name, line + 1, character + 1))
            times.append(seconds * 1000)
        median = statistics.median(times)
        holds = "-" if kind == "outline" else "yes" if median <= GOAL_MS else "NO"
        print("| %s | %.1f ms | %.1f ms | %d | %s |" % (kind, median, max(times), len(times), holds))
    server.request("shutdown", None)
    server.send({"jsonrpc": "2.0", "method": "exit"})
    server.proc.wait(timeout=10)


if __name__ == "__main__":
    main()
