#!/usr/bin/env python3
"""Runs one transcript of `cfgcheck --lsp` sessions and compares the server's
messages with the expected ones.

Lines of a transcript (blank lines and lines starting with # are skipped):
  start [arg...]     a new server (`--lsp` and the args); the one before must have ended
  files <folder>     copies the files of <folder> (relative to the transcript) into the scratch folder
  disk <name> <json string>   writes a file of the scratch folder (null: removes it)
  --> <json>         a message to send; consecutive ones go in one write
  raw> <python bytes literal>   bytes to send as they are
  <-- <json>         the next message expected from the server (compared as JSON)
  close              ends the server's input
  status <n>         the server's exit status (after `close` or `exit`)
  stderr <text>      a line the server wrote on standard error contains <text>

In messages, ${root} stands for the scratch folder as a path inside a file://
URI, and ${file:<name>} for the text of a scratch file as a JSON string. A rule's
link reads ${rules}#<anchor> whatever the install prefix. With
CFGCHECK_UPDATE=1 the expected messages are rewritten with what the server
sends within a second of each write.
"""
import json
import os
import queue
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import urllib.parse

WAIT = 20  # seconds for one message
RULES = re.compile(r'file://[^"#]*/rules\.md#')


class Server:
    def __init__(self, binary, args):
        self.proc = subprocess.Popen([binary, "--lsp"] + args, stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.messages = queue.Queue()
        self.stderr = []
        threading.Thread(target=self.read_messages, daemon=True).start()
        self.errors = threading.Thread(
            target=lambda: self.stderr.extend(self.proc.stderr.read().decode(errors="replace").splitlines()),
            daemon=True)
        self.errors.start()

    def read_messages(self):
        out = self.proc.stdout
        while True:
            length = None
            while True:
                line = out.readline()
                if not line:
                    self.messages.put(None)
                    return
                line = line.strip()
                if not line:
                    break
                name, _, value = line.partition(b":")
                if name.strip().lower() == b"content-length":
                    length = int(value)
            self.messages.put(json.loads(out.read(length)))

    def send(self, data):
        self.proc.stdin.write(data)
        self.proc.stdin.flush()

    def next(self):
        try:
            return self.messages.get(timeout=WAIT)
        except queue.Empty:
            return "(nothing within %d s)" % WAIT


def frame(body):
    data = body.encode()
    return b"Content-Length: %d\r\n\r\n" % len(data) + data


def main():
    binary, transcript = sys.argv[1], sys.argv[2]
    here = os.path.dirname(os.path.abspath(transcript))
    scratch = tempfile.mkdtemp(prefix="cfgcheck-lsp-")
    root = urllib.parse.quote(scratch)

    def expand(text):
        text = text.replace("${root}", root)
        return re.sub(r"\$\{file:([^}]+)\}",
                      lambda m: json.dumps(open(os.path.join(scratch, m.group(1)), encoding="utf-8").read()), text)

    server, outgoing, failures = None, [], []
    update = os.environ.get("CFGCHECK_UPDATE") == "1"
    rewritten = []

    def normal(got):
        return json.loads(RULES.sub("${rules}#", json.dumps(got).replace(root, "${root}")))

    def flush():
        if outgoing:
            server.send(b"".join(outgoing))
            outgoing.clear()
            if update:
                while True:
                    try:
                        got = server.messages.get(timeout=1)
                    except queue.Empty:
                        break
                    if got is None:
                        server.messages.put(None)
                        break
                    rewritten.append("<-- " + json.dumps(normal(got), ensure_ascii=False))

    try:
        for number, line in enumerate(open(transcript, encoding="utf-8"), 1):
            line = line.rstrip("\n")
            word, _, rest = line.partition(" ")
            if not line.strip() or line.startswith("#"):
                if server is not None:
                    flush()  # a blank line or comment ends a write
                rewritten.append(line)
                continue
            where = "%s:%d" % (os.path.basename(transcript), number)
            if word != "-->" and word != "raw>":
                flush()
            if word == "start":
                if server is not None:
                    server.proc.wait(timeout=WAIT)
                server = Server(binary, rest.split())
            elif word == "files":
                shutil.copytree(os.path.join(here, rest), scratch, dirs_exist_ok=True)
            elif word == "disk":
                name, _, content = rest.partition(" ")
                content = json.loads(content)
                if content is None:
                    os.remove(os.path.join(scratch, name))
                else:
                    with open(os.path.join(scratch, name), "w", encoding="utf-8") as f:
                        f.write(content)
            elif word == "-->":
                outgoing.append(frame(json.dumps(json.loads(expand(rest)))))
            elif word == "raw>":
                outgoing.append(eval(rest))  # a bytes literal of the transcript
            elif word == "<--":
                if update:
                    continue
                got = server.next()
                if isinstance(got, dict):
                    got = normal(got)
                want = json.loads(rest)
                if got != want:
                    failures.append("%s: expected\n  %s\ngot\n  %s" % (where, json.dumps(want, sort_keys=True),
                                                                      json.dumps(got, sort_keys=True)))
                    break
            elif word == "close":
                server.proc.stdin.close()
            elif word == "status":
                status = server.proc.wait(timeout=WAIT)
                if status != int(rest):
                    failures.append("%s: status %d, expected %s" % (where, status, rest))
                extra = server.next()
                if extra is not None:
                    failures.append("%s: unexpected message %s" % (where, json.dumps(extra)))
            elif word == "stderr":
                server.proc.wait(timeout=WAIT)
                server.errors.join(WAIT)
                if not any(rest in l for l in server.stderr):
                    failures.append("%s: no line on standard error holds %r: %r" % (where, rest, server.stderr))
            else:
                failures.append("%s: unknown line %r" % (where, line))
            if word != "<--":
                rewritten.append(line)
        if server is not None:
            flush()
        if update:
            with open(transcript, "w", encoding="utf-8") as f:
                f.write("\n".join(rewritten) + "\n")
    finally:
        if server is not None and server.proc.poll() is None:
            server.proc.kill()
        shutil.rmtree(scratch, ignore_errors=True)
    for f in failures:
        print(f)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
