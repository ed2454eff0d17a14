#!/usr/bin/env python3
"""How long `cfgcheck --lsp` takes to answer an edit, against the command line.

A small LSP client opens framework.json of a generated system and waits for
the diagnostics of the four files. Then, repeatedly, it renames a process
that servicemgr.json starts (and back again) with an incremental change and
times how long it takes until the diagnostics of the other three files
arrive. The edits alternate with runs of `cfgcheck --file` on the four files
from disk. The figure is the median of the per-pair ratios, as in measure.py.
Memory: the server's VmRSS and VmHWM after the edits, the command line's
largest peak (the rusage of each run).

    lsp_latency.py --cfgcheck BUILD/cfgcheck [--rounds N] SYSTEM_FOLDER
"""
import argparse
import json
import os
import pathlib
import re
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "lsp"))
import run_lsp  # noqa: E402

KNOWN = ("framework.json", "servicemgr.json", "servicemgr_restart.json", "uvkstartup.json")


class Server:
    """The server process, through the framed reader of the language-server tests."""

    def __init__(self, cfgcheck):
        self.transport = run_lsp.Server(cfgcheck, [])
        self.proc = self.transport.proc
        self.next_id = 0

    def send(self, message):
        self.transport.send(run_lsp.frame(json.dumps(dict(message, jsonrpc="2.0"))))

    def request(self, method, params):
        self.next_id += 1
        self.send({"id": self.next_id, "method": method, "params": params})
        return self.next_id

    def receive(self, timeout=60):
        """The next message that is not a request of the server (those get a null result)."""
        while True:
            message = self.transport.messages.get(timeout=timeout)
            at = time.perf_counter()
            if message is None:
                sys.exit("lsp_latency: the server ended (status %s)" % self.proc.wait())
            if "method" in message and "id" in message:
                self.send({"id": message["id"], "result": None})
                continue
            return at, message

    def diagnostics(self, timed=KNOWN):
        """Waits until the four files are published; returns when the last
        of `timed` arrived and each file's diagnostics."""
        got, last = {}, None
        while not set(KNOWN) <= set(got):
            at, m = self.receive()
            if m.get("method") == "textDocument/publishDiagnostics":
                name = os.path.basename(m["params"]["uri"])
                got[name] = m["params"]["diagnostics"]
                if name in timed:
                    last = at
        return last, got


def run_cli(cmd):
    """Wall time and peak RSS (kB) of one command-line run."""
    start = time.perf_counter()
    proc = subprocess.Popen(cmd, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(proc.pid, 0)
    elapsed = time.perf_counter() - start
    proc.returncode = os.waitstatus_to_exitcode(status)
    if proc.returncode not in (0, 1):
        sys.exit("lsp_latency: %s exited with %d" % (" ".join(cmd), proc.returncode))
    return elapsed, usage.ru_maxrss


def rename_target(folder):
    """A process that servicemgr.json starts: its name, and where framework.json declares it."""
    with open(os.path.join(folder, "servicemgr.json")) as f:
        started = re.search(r'"cmd": "procstart", "app": "([^"]+)"', f.read()).group(1)
    with open(os.path.join(folder, "framework.json")) as f:
        text = f.read()
    for number, line in enumerate(text.split("\n")):
        at = line.find('"name": "%s"' % started)
        if at >= 0:
            return started, text, number, at + len('"name": "')
    sys.exit("lsp_latency: framework.json does not declare %s" % started)


def measure(cfgcheck, folder, rounds):
    """Per-pair times of an edit's diagnostics and of a command-line run, and the memory figures."""
    folder = os.path.abspath(folder)
    name, text, line, column = rename_target(folder)
    uri = pathlib.Path(folder, "framework.json").as_uri()
    others = KNOWN[1:]
    cli = [cfgcheck]
    for known in KNOWN:
        cli += ["--file", os.path.join(folder, known)]
    server = Server(cfgcheck)
    server.request("initialize", {"processId": os.getpid(), "rootUri": pathlib.Path(folder).as_uri(),
                                  "capabilities": {}})
    server.receive()
    server.send({"method": "initialized", "params": {}})
    server.send({"method": "textDocument/didOpen", "params": {"textDocument": {
        "uri": uri, "languageId": "json", "version": 1, "text": text}}})
    _, first = server.diagnostics()
    if any(first.values()):
        sys.exit("lsp_latency: the system in %s does not check clean" % folder)

    version, current = 1, name

    def edit():
        nonlocal version, current
        new = name + "_renamed" if current == name else name
        version += 1
        start = time.perf_counter()
        server.send({"method": "textDocument/didChange", "params": {
            "textDocument": {"uri": uri, "version": version},
            "contentChanges": [{"range": {"start": {"line": line, "character": column},
                                          "end": {"line": line, "character": column + len(current)}},
                                "text": new}]}})
        last, got = server.diagnostics(others)
        if bool(got["servicemgr.json"]) != (new != name):
            sys.exit("lsp_latency: servicemgr.json's diagnostics do not follow the rename of %s" % name)
        current = new
        return last - start

    edit()
    run_cli(cli)
    t_lsp, t_cli = [], []
    for k in range(rounds):
        if k % 2:
            t_cli.append(run_cli(cli))
            t_lsp.append(edit())
        else:
            t_lsp.append(edit())
            t_cli.append(run_cli(cli))
    with open("/proc/%d/status" % server.proc.pid) as f:
        status = dict(re.findall(r"^(VmRSS|VmHWM):\s+(\d+) kB", f.read(), re.M))
    server.request("shutdown", None)
    server.receive()
    server.send({"method": "exit"})
    server.proc.wait(timeout=10)
    ratio = statistics.median(a / b for a, (b, _) in zip(t_lsp, t_cli))
    return {"lsp": t_lsp, "cli": [t for t, _ in t_cli], "ratio": ratio, "rss_kb": int(status["VmRSS"]),
            "hwm_kb": int(status["VmHWM"]), "cli_peak_kb": max(kb for _, kb in t_cli), "edited": name}


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--cfgcheck", required=True)
    ap.add_argument("--rounds", type=int, default=21, help="edits, each paired with a command-line run")
    ap.add_argument("folder", help="a generated system (bench/gen_system.py)")
    o = ap.parse_args()
    r = measure(o.cfgcheck, o.folder, o.rounds)
    print("edit of framework.json (%s renamed) to the other files' diagnostics: median %.1f ms" %
          (r["edited"], 1000 * statistics.median(r["lsp"])))
    print("cfgcheck --file x4 from disk: median %.1f ms" % (1000 * statistics.median(r["cli"])))
    print("ratio (median of %d pairs): %.2fx (goal <= 1.2x)" % (len(r["lsp"]), r["ratio"]))
    print("server VmRSS %.0f MB, VmHWM %.0f MB; command line peak %.0f MB" %
          (r["rss_kb"] * 1024 / 1e6, r["hwm_kb"] * 1024 / 1e6, r["cli_peak_kb"] * 1024 / 1e6))


if __name__ == "__main__":
    main()
