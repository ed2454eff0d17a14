#!/usr/bin/env python3
"""The readers of `--format gnu` that README.md sets up, on real output.
Vim reads it into its quickfix list with the README's errorformat and jumps
to every entry: each must land on its file, on the finding's line and on its
first character (the json report says which). The README's VS Code problem
patterns must take every line that names a file.

    gnu_readers.py CFGCHECK REPO_ROOT
"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

CASES = [("examples/broken", ["--dir", "."]), ("tests/e2e/fmt-gnu-display-columns", ["--file", "framework.json"]),
         ("tests/e2e/fmt-hostile-names", ["--file", "framework.json"]),
         ("tests/e2e/fmt-gnu-unchecked-after-failures",
          ["--file", "conf/framework.json", "--file", "old/servicemgr.json", "--file", "conf/servicemgr.json",
           "--file", "missing.json", "--file", "gone.json"])]


def readme_readers(root):
    """The errorformat of the README's Vim block and the regexps of its tasks.json."""
    text = open(os.path.join(root, "README.md"), encoding="utf-8").read()
    efm = re.search(r"^:set errorformat=(.*)$", text, re.M).group(1)
    tasks = json.loads(re.search(r"```json\n(\{\n  \"version\": \"2.0.0\".*?)```", text, re.S).group(1))
    patterns = [re.compile(m["pattern"]["regexp"]) for m in tasks["tasks"][0]["problemMatcher"]]
    return efm, patterns


SCRIPT = """set nocompatible encoding=utf-8 fileencodings=utf-8 nomore hidden
set errorformat={efm}
cfile {out}
let s:lines = []
let s:n = 0
for s:e in getqflist()
  let s:n += 1
  if s:e.valid && s:e.bufnr > 0
    execute 'silent cc' s:n
    call add(s:lines, bufname('%') . "\\t" . line('.') . "\\t" . col('.'))
  endif
endfor
call writefile(s:lines, '{result}')
qa!
"""


def expected(doc, work):
    """(file, line, byte column) of every place the gnu lines name, in order."""
    out = []
    for f in doc["findings"]:
        for e in [f] + [dict(s, file=f["file"]) for s in f.get("suggestions", [])] + f["related"]:
            if e["line"]:
                with open(os.path.join(work, e["file"]), "rb") as src:
                    text = src.read().split(b"\n")[e["line"] - 1]
                chars = text.decode("utf-8")[:e["column"] - 1]
                out.append(f"{e['file']}\t{e['line']}\t{len(chars.encode('utf-8')) + 1}")
    return out


def main():
    binary, root = sys.argv[1], sys.argv[2]
    errorformat, patterns = readme_readers(root)
    vim = shutil.which("vim")
    if not vim:
        print("vim is not installed")
        return 77
    failed = 0
    for case, args in CASES:
        with tempfile.TemporaryDirectory() as work:
            work = os.path.join(work, "case")
            shutil.copytree(os.path.join(root, case), work)
            gnu = subprocess.run([binary, "--format", "gnu"] + args, cwd=work, capture_output=True)
            doc = json.loads(subprocess.run([binary, "--format", "json"] + args, cwd=work, capture_output=True).stdout)
            with open(os.path.join(work, "out.txt"), "wb") as f:
                f.write(gnu.stdout)
            with open(os.path.join(work, "quickfix.vim"), "w") as f:
                f.write(SCRIPT.format(efm=errorformat, out="out.txt", result="result.txt"))
            subprocess.run([vim, "-es", "-N", "-u", "NONE", "-i", "NONE", "-S", "quickfix.vim"], cwd=work,
                           stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
            got = open(os.path.join(work, "result.txt")).read().splitlines()
            want = expected(doc, work)
            # Every line but the summary and a finding about the run as a whole
            lines = [ln for ln in gnu.stdout.decode().splitlines()[:-1] if ": " in ln[len("cfgcheck: error: "):]
                     or not ln.startswith("cfgcheck: ")]
            unread = [ln for ln in lines if not any(p.match(ln) for p in patterns)]
            if unread:
                failed += 1
                print(f"FAILED {case}: the VS Code patterns miss {unread[:3]}")
                continue
            if got != want:
                failed += 1
                print(f"FAILED {case}")
                for g, w in zip(got + ["(none)"] * len(want), want + ["(none)"] * len(got)):
                    if g != w:
                        print(f"  Vim lands at {g!r}, the finding stands at {w!r}")
            else:
                print(f"ok {case}: {len(got)} entries")
    print(f"{len(CASES) - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
