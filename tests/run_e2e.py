#!/usr/bin/env python3
"""Runs one end-to-end case folder against the cfgcheck binary.

A case folder holds the input files, `args` (one argument per line), `stdout`,
optionally `stderr` (empty when absent) and `status`. An optional `setup` shell
script runs first in a scratch copy of the folder, for inputs that cannot be
kept in git (pipes, directories named *.json, huge files). Elapsed times are
masked as time=N[ms]. A `sorted` file makes the comparison ignore line order
(directory listings come in the system's order). A `limit_as_mb` file runs the
program under that address-space limit (skipped in sanitizer builds, whose
shadow memory needs more). A `timeout` file sets the seconds after which the
run counts as hung (default 600). With CFGCHECK_UPDATE=1 the expected files are
rewritten.

A setup's background processes (the writers of its pipes) end with the case:
setup runs in a session of its own, and end_case() kills what is left of it.
"""
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile

EXPECTED = ("args", "stdout", "stderr", "status", "setup", "sorted", "limit_as_mb", "timeout")
SKIPPED = 77
TIME = re.compile(rb"time=\d+\[ms\]")
SESSIONS = []  # the process groups of the setups run since the last end_case()


def read_args(case):
    with open(os.path.join(case, "args"), "rb") as f:
        args = [a.decode() for a in f.read().split(b"\n")]
    if args and args[-1] == "":
        args.pop()
    return args


def prepare(case, scratch):
    """Copies the inputs of `case` into `scratch` and runs its setup; returns
    the folder to run in and the address-space limit (None, or SKIPPED)."""
    work = os.path.join(scratch, "case")
    shutil.copytree(case, work, symlinks=True,
                    ignore=lambda d, names: [n for n in names if d == case and n in EXPECTED])
    setup = os.path.join(case, "setup")
    if os.path.exists(setup):
        proc = subprocess.Popen(["sh", setup], cwd=work, start_new_session=True)
        SESSIONS.append(proc.pid)
        if proc.wait() != 0:
            raise subprocess.CalledProcessError(proc.returncode, ["sh", setup])
    limit = None
    if os.path.exists(os.path.join(case, "limit_as_mb")):
        if os.environ.get("CFGCHECK_SANITIZED") == "1":
            return work, SKIPPED
        limit = int(open(os.path.join(case, "limit_as_mb")).read()) << 20
    return work, limit


def end_case():
    """Kills what the setups left running: a writer whose pipe the program
    never opened would otherwise hold the output of the test run open."""
    while SESSIONS:
        try:
            os.killpg(SESSIONS.pop(), signal.SIGKILL)
        except ProcessLookupError:
            pass


def run(binary, args, work, limit):
    def apply_limit():
        if limit:
            import resource
            resource.setrlimit(resource.RLIMIT_AS, (limit, limit))

    return subprocess.run([binary] + args, cwd=work, capture_output=True, timeout=600, preexec_fn=apply_limit)


def main():
    binary, case = sys.argv[1], sys.argv[2]
    args = read_args(case)
    with tempfile.TemporaryDirectory() as scratch:
        try:
            work, limit = prepare(case, scratch)
            if limit == SKIPPED:
                return SKIPPED
            proc = run(binary, args, work, limit)
        finally:
            end_case()
    out = TIME.sub(b"time=N[ms]", proc.stdout)
    err = TIME.sub(b"time=N[ms]", proc.stderr)
    status = str(proc.returncode).encode() + b"\n"
    if os.path.exists(os.path.join(case, "sorted")):
        out = b"".join(sorted(out.splitlines(keepends=True)))

    def expected(name):
        path = os.path.join(case, name)
        return open(path, "rb").read() if os.path.exists(path) else b""

    if os.environ.get("CFGCHECK_UPDATE") == "1":
        for name, data in (("stdout", out), ("stderr", err), ("status", status)):
            if data or name != "stderr":
                open(os.path.join(case, name), "wb").write(data)
        return 0
    failed = False
    for name, actual in (("stdout", out), ("stderr", err), ("status", status)):
        want = expected(name)
        if actual != want:
            failed = True
            sys.stdout.write(f"--- {name} differs\n")
            want_lines = want.decode(errors="replace").splitlines()
            got_lines = actual.decode(errors="replace").splitlines()
            import difflib
            for line in difflib.unified_diff(want_lines, got_lines, "expected", "actual", lineterm="", n=2):
                sys.stdout.write(line[:300] + "\n")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
