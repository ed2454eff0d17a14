#!/usr/bin/env python3
"""`cfgcheck --lsp` in Neovim 0.7, set up with README.md's snippet. Neovim
opens framework.json of a copy of the broken example; the diagnostics of all
four files must be the findings of `--format json` on the same files (rule,
place, severity, message, related places). Then a process that
servicemgr.json starts is renamed in framework.json's buffer, unsaved, and
servicemgr.json's diagnostics must follow the buffer's text. A JSON file of
another name gets no server; another file of the system gets the same one.

A letter outside the Basic Multilingual Plane stands before a finding on its
line, so that code points, UTF-16 units and bytes all differ there.

    nvim_lsp.py CFGCHECK REPO_ROOT
"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

KNOWN = ("framework.json", "servicemgr.json", "servicemgr_restart.json", "uvkstartup.json")
WIDE = ('"lib": "libhmicore.so"', '"lib": "libhmicöre\U0001F600.so"')
RENAME = ('"name": "navcore",', '"name": "navcore2",')

# Runs after the README's snippet. Waits until every file it waits for has
# been published since the last step and nothing more came for 300 ms.
SCRIPT = r"""
vim.o.hidden = true
local dir, out = vim.env.CFGCHECK_DIR, vim.env.CFGCHECK_OUT
local names = { 'framework.json', 'servicemgr.json', 'servicemgr_restart.json', 'uvkstartup.json' }
local count, seen, last = 0, {}, 0
local publish = vim.lsp.handlers['textDocument/publishDiagnostics']
vim.lsp.handlers['textDocument/publishDiagnostics'] = function(err, result, ctx, config)
  publish(err, result, ctx, config)
  count = count + 1
  seen[vim.fn.fnamemodify(vim.uri_to_fname(result.uri), ':t')] = count
  last = vim.loop.now()
end

local started, start_client = {}, vim.lsp.start_client
vim.lsp.start_client = function(config)
  local id = start_client(config)
  table.insert(started, id)
  return id
end
local function alive()
  for _, id in ipairs(started) do
    if vim.lsp.get_client_by_id(id) then return true end
  end
  return false
end

local function settle(files, since, what)
  vim.wait(20000, function()
    if not alive() then return true end
    for _, f in ipairs(files) do
      if (seen[f] or 0) <= since then return false end
    end
    return vim.loop.now() - last >= 300
  end, 20)
  assert(alive(), 'the server has exited')
  for _, f in ipairs(files) do
    assert((seen[f] or 0) > since, 'no diagnostics for ' .. f .. ' ' .. what)
  end
end

local function snapshot()
  local all = {}
  for _, name in ipairs(names) do
    local list = {}
    for _, d in ipairs(vim.diagnostic.get(vim.uri_to_bufnr(vim.uri_from_fname(dir .. '/' .. name)))) do
      local related = {}
      for _, r in ipairs(d.user_data.lsp.relatedInformation or {}) do
        table.insert(related, { vim.fn.fnamemodify(vim.uri_to_fname(r.location.uri), ':t'),
          r.location.range.start.line, r.location.range.start.character, r.message })
      end
      table.insert(list, { d.code, d.lnum, d.col, d.severity, d.source, d.message, related })
    end
    all[name] = list
  end
  return all
end

local ok, err = pcall(function()
  local result = {}
  vim.cmd('edit ' .. vim.fn.fnameescape(dir .. '/framework.json'))
  local fw = vim.api.nvim_get_current_buf()
  settle(names, 0, 'after opening framework.json')
  result.opened = snapshot()

  vim.cmd('edit ' .. vim.fn.fnameescape(dir .. '/old_framework.json'))
  result.other_clients = vim.tbl_count(vim.lsp.buf_get_clients(0))

  local since = count
  local from, to = vim.env.CFGCHECK_FROM, vim.env.CFGCHECK_TO
  for i, line in ipairs(vim.api.nvim_buf_get_lines(fw, 0, -1, false)) do
    local s, e = line:find(from, 1, true)
    if s then
      vim.api.nvim_buf_set_lines(fw, i - 1, i, false, { line:sub(1, s - 1) .. to .. line:sub(e + 1) })
      break
    end
  end
  settle({ 'servicemgr.json' }, since, 'after the edit')
  result.edited = snapshot()
  result.unsaved = vim.api.nvim_buf_get_option(fw, 'modified')
  vim.cmd('edit ' .. vim.fn.fnameescape(dir .. '/servicemgr.json'))
  result.clients = #started
  vim.fn.writefile({ vim.fn.json_encode(result) }, out)
end)
if not ok then vim.fn.writefile({ vim.fn.json_encode({ error = tostring(err) }) }, out) end
vim.cmd('qa!')
"""


def readme_snippet(root):
    text = open(os.path.join(root, "README.md"), encoding="utf-8").read()
    return re.search(r"```lua\n(-- cfgcheck --lsp for the four files.*?)```", text, re.S).group(1)


def utf16(text, column):
    """UTF-16 units before the 1-based code-point column of a line."""
    return len(text[:column - 1].encode("utf-16-le")) // 2


def expected(binary, folder):
    """What Neovim must hold for each file: its --format json findings with
    0-based lines, byte columns (Neovim turns the server's UTF-16 into bytes)
    and related places in UTF-16 units, as the server sends them."""
    args = [binary, "--format", "json"]
    for name in KNOWN:
        args += ["--file", os.path.join(folder, name)]
    doc = json.loads(subprocess.run(args, capture_output=True).stdout)
    lines = {name: open(os.path.join(folder, name), encoding="utf-8").read().split("\n") for name in KNOWN}
    out = {name: [] for name in KNOWN}
    for f in doc["findings"]:
        name = os.path.basename(f["file"])
        text = lines[name][f["line"] - 1]
        related = [[os.path.basename(r["file"]), r["line"] - 1,
                    utf16(lines[os.path.basename(r["file"])][r["line"] - 1], r["column"]), r["message"]]
                   for r in f["related"]]
        out[name].append([f["rule"], f["line"] - 1, len(text[:f["column"] - 1].encode("utf-8")),
                          1 if f["severity"] == "error" else 3, "cfgcheck", f["message"], related])
    return out


def compare(what, got, want):
    failed = 0
    for name in KNOWN:
        g = sorted(json.dumps(d, ensure_ascii=False) for d in got.get(name, []))
        w = sorted(json.dumps(d, ensure_ascii=False) for d in want[name])
        for d in sorted(set(w) - set(g)):
            print(f"{what}: {name}: missing in Neovim: {d}")
        for d in sorted(set(g) - set(w)):
            print(f"{what}: {name}: not a finding of --format json: {d}")
        failed += g != w
    return failed


def replace(path, old, new):
    with open(path, encoding="utf-8") as f:
        text = f.read()
    assert old in text, f"{old} not in {path}"
    with open(path, "w", encoding="utf-8") as f:
        f.write(text.replace(old, new, 1))


def main():
    binary, root = os.path.abspath(sys.argv[1]), sys.argv[2]
    nvim = shutil.which("nvim")
    if not nvim:
        print("neovim is not installed (apt-get install neovim)")
        return 77
    with tempfile.TemporaryDirectory() as tmp:
        tmp = os.path.realpath(tmp)
        work, edited = os.path.join(tmp, "system"), os.path.join(tmp, "edited")
        shutil.copytree(os.path.join(root, "examples", "broken"), work)
        replace(os.path.join(work, "framework.json"), *WIDE)
        shutil.copy(os.path.join(work, "framework.json"), os.path.join(work, "old_framework.json"))
        shutil.copytree(work, edited)
        replace(os.path.join(edited, "framework.json"), *RENAME)
        with open(os.path.join(tmp, "setup.lua"), "w") as f:
            f.write(readme_snippet(root))
        with open(os.path.join(tmp, "test.lua"), "w") as f:
            f.write(SCRIPT)
        out = os.path.join(tmp, "result.json")
        env = dict(os.environ, PATH=os.path.dirname(binary) + os.pathsep + os.environ.get("PATH", ""),
                   CFGCHECK_DIR=work, CFGCHECK_OUT=out, CFGCHECK_FROM=RENAME[0], CFGCHECK_TO=RENAME[1],
                   XDG_CONFIG_HOME=tmp, XDG_DATA_HOME=tmp, XDG_STATE_HOME=tmp, XDG_CACHE_HOME=tmp)
        run = subprocess.run([nvim, "--headless", "--clean", "-n", "-c", "luafile " + os.path.join(tmp, "setup.lua"),
                              "-c", "luafile " + os.path.join(tmp, "test.lua")],
                             env=env, cwd=tmp, capture_output=True, text=True, timeout=120)
        result = json.load(open(out)) if os.path.exists(out) else {"error": "Neovim wrote no result"}
        if "error" in result:
            print(f"Neovim: {result['error']}\n{run.stdout}{run.stderr}")
            log = os.path.join(tmp, "nvim", "lsp.log")
            if os.path.exists(log):
                print(open(log).read()[-4000:])
            return 1
        opened, after = expected(binary, work), expected(binary, edited)
        assert after["servicemgr.json"] != opened["servicemgr.json"], "the edit changes no finding"
        failed = compare("opened", result["opened"], opened) + compare("edited", result["edited"], after)
        checks = ((result["unsaved"], "framework.json's buffer is no longer modified"),
                  (result["other_clients"] == 0, "old_framework.json got a server"),
                  (result["clients"] == 1, f"{result['clients']} servers for one folder"))
        for ok, message in checks:
            if not ok:
                print(message)
                failed += 1
        print(f"{sum(len(v) for v in opened.values())} diagnostics on opening, "
              f"{sum(len(v) for v in after.values())} after the edit: {'FAILED' if failed else 'OK'}")
        return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
