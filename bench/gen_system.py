#!/usr/bin/env python3
"""Generates benchmark input for cfgcheck.

  gen_system.py N OUTDIR            a sound system of N processes: framework.json,
                                    servicemgr.json, servicemgr_restart.json and
                                    uvkstartup.json, which check clean together
  gen_system.py --mb SIZE OUTFILE   one framework-shaped file of about SIZE MB
                                    (10**6 bytes), sound on its own
  gen_system.py --many COUNT OUTDIR COUNT small JSON files

Options: --nodes K (default 32) spreads the processes over K nodes.
Output is deterministic. Lines stay short (the known files are parsed with a
line limit of 255); the generator fails if one does not.
"""

import argparse
import json
import os
import sys

MAX_LINE = 255
ONE_LINE_WIDTH = 112  # containers that fit this stay on one line, like hand-written files


def emit(value, indent, out):
    """Appends the indented text of `value` to the list `out`."""
    if isinstance(value, (dict, list)) and value:
        small = len(value) <= 12
        if small:
            flat = json.dumps(value)
            if len(flat) + indent <= ONE_LINE_WIDTH:
                out.append(flat)
                return
        pad = " " * (indent + 2)
        if isinstance(value, dict):
            out.append("{\n")
            last = len(value) - 1
            for n, (key, child) in enumerate(value.items()):
                out.append(pad + json.dumps(key) + ": ")
                emit(child, indent + 2, out)
                out.append(",\n" if n < last else "\n")
            out.append(" " * indent + "}")
        else:
            out.append("[\n")
            last = len(value) - 1
            for n, child in enumerate(value):
                out.append(pad)
                emit(child, indent + 2, out)
                out.append(",\n" if n < last else "\n")
            out.append(" " * indent + "]")
    else:
        out.append(json.dumps(value))


class Writer:
    """Streams one top-level object whose big members are written piece by piece."""

    def __init__(self, path):
        self.f = open(path, "w", encoding="ascii", newline="\n")
        self.bytes = 0
        self.members = 0
        self.longest = 0
        self._write("{\n")

    def _write(self, text):
        for line in text.split("\n"):
            self.longest = max(self.longest, len(line))
        self.f.write(text)
        self.bytes += len(text)

    def _key(self, key):
        self._write((",\n" if self.members else "") + "  " + json.dumps(key) + ": ")
        self.members += 1

    def member(self, key, value):
        out = []
        emit(value, 2, out)
        self._key(key)
        self._write("".join(out))

    def open_array(self, key):
        self._key(key)
        self._write("[")
        self._items = 0

    def open_object(self, key):
        self._key(key)
        self._write("{")
        self._items = 0

    def item(self, value, key=None):
        out = ["\n" if self._items == 0 else ",\n", "    "]
        if key is not None:
            out.append(json.dumps(key) + ": ")
        emit(value, 4, out)
        self._write("".join(out))
        self._items += 1

    def close(self, bracket):
        self._write(("\n  " if self._items else "") + bracket)

    def finish(self):
        self._write("\n}\n")
        self.f.close()
        if self.longest > MAX_LINE:
            sys.exit(f"gen_system: {self.f.name} has a line of {self.longest} characters")


# ---- the system ----

def node_name(k):
    return "node%02d" % k


def node_entry(k):
    own = node_name(k)
    address = "10.1.%d.1" % k
    return {
        "transport": {
            "comm": {
                "*": {"serializer": "binary", "tcpip": {"address": address}},
                # loopback to itself is allowed beside the node's one address
                own: {"serializer": "binary", "tcpip": {"address": "127.0.0.1"},
                      "resman": {"root_path": "/dev/fw/" + own}},
            },
            "tracing": {"*": {"serializer": "trace", "tcpip": {"address": address}}},
        }
    }


class Proc:
    """What the other files need to know about one ordinary process."""

    __slots__ = ("index", "name", "apps")

    def __init__(self, index):
        self.index = index
        self.name = "p%06d" % index
        self.apps = []  # application names it declares (bundle names are declared too, not listed)


def proc_entry(p, nodes):
    i = p.index
    own = i % nodes
    port = 20000 + i  # unique per process, so every connection string is too
    comm = {}
    comm[node_name(own)] = ({"resman": {"path": "/" + p.name}} if i % 3 == 0
                            else {"tcpip": {"port": port}})
    comm[node_name((own + 1) % nodes)] = {"tcpip": {"port": port}}
    if i % 3 == 1:
        comm[node_name((own + 7) % nodes)] = {"tcpip": {"port": port}}
    entry = {
        "name": p.name,
        "exec": "bin/" + p.name,
        "priority": 10 + i % 20,
        "id": i + 1,
        "node": node_name(own),
        "environment": {"LOG_LEVEL": str(i % 4), "HOME": "/var/run/" + p.name},
        "transport": {"comm": comm},
    }
    form = i % 8
    if form in (0, 1, 4, 5):
        p.apps = ["a%06d" % i]
        entry["servicemgr"] = {"singleapp": True, "name": p.apps[0]}
    elif form in (2, 6):
        bundle = "b%06d" % i
        apps = ["a%06dx" % i, "a%06dy" % i]
        p.apps = apps
        entry["servicemgr"] = {"bundles": [{"name": bundle, "lib": "lib%s.so" % bundle, "apps": apps}]}
    elif form == 3:
        entry["servicemgr"] = {"external": True}
    # form 7: not service-managed
    return entry


def traceserver_entry(nodes):
    tracing = {"*": {"serializer": "trace"}}
    for k in range(nodes):
        tracing[node_name(k)] = {"serializer": "trace"}
    return {"name": "traceserver", "exec": "bin/traceserver", "priority": 5,
            "node": node_name(0), "transport": {"tracing": tracing}}


def write_framework(path, count, nodes, stop_at_bytes=None):
    """Writes `count` processes (the trace server is one of them), or as many
    as reach `stop_at_bytes`. Returns the ordinary processes."""
    w = Writer(path)
    w.open_object("nodes")
    for k in range(nodes):
        w.item(node_entry(k), key=node_name(k))
    w.close("}")
    w.open_array("procs")
    w.item(traceserver_entry(nodes))
    procs = []
    i = 0
    while (len(procs) + 1 < count) if stop_at_bytes is None else (w.bytes < stop_at_bytes):
        p = Proc(i)
        w.item(proc_entry(p, nodes))
        procs.append(p)
        i += 1
    w.close("]")
    w.finish()
    return procs


def app_list(procs):
    return [a for p in procs for a in p.apps]


def write_servicemgr(path, procs):
    apps = app_list(procs)
    w = Writer(path)
    w.open_array("startup")
    w.item({"cmd": "set_sys_runmode", "sysrunmode": "RM_NORMAL", "timeout": 1000, "blocking": True})
    w.item({"cmd": "set_system_persistence", "ps_access": "PS_ACC_READ_WRITE", "timeout": 500})
    w.item({"cmd": "restore_persistence", "timeout": 500})
    for n, p in enumerate(procs):
        w.item({"cmd": "procstart", "app": p.name, "params": "-n " + p.name, "timeout": 2000, "blocking": n % 2 == 0})
        if n % 1000 == 999:
            w.item({"cmd": "sleep", "timeout": 10})
    for n, a in enumerate(apps):
        w.item({"cmd": "init", "app": a, "apprunmode": 1, "ps_access": "PS_ACC_READ", "timeout": 1000})
        w.item({"cmd": "run", "app": a, "timeout": 1000, "blocking": False})
        if n % 100 == 0:
            w.item({"cmd": "wait_running", "app": a, "timeout": 3000})
            w.item({"cmd": "set_app_runmode", "app": a, "apprunmode": 2, "blocking": True})
            w.item({"cmd": "set_ps_access", "app": a, "ps_access": "PS_ACC_READ_WRITE"})
    w.item({"cmd": "wait_jobs_finished", "timeout": 5000})
    w.item({"cmd": "inject_userevent", "event": 3})
    if apps:
        w.item({"cmd": "wait_initialized", "app": apps[0], "timeout": 100})
        w.item({"cmd": "trigger_systemevent", "app": apps[0], "event": "startup_complete", "blocking": False})
    w.close("]")
    w.open_array("shutdown")
    if apps:
        w.item({"cmd": "trigger_systemevent", "app": apps[0], "event": "lowmem"})
    for n, a in enumerate(apps):
        w.item({"cmd": "stop", "app": a, "timeout": 1000})
        if n % 100 == 0:
            w.item({"cmd": "ps_flush", "app": a, "ps_access": "PS_ACC_NONE", "timeout": 500, "blocking": True})
            w.item({"cmd": "wait_stopped", "app": a, "timeout": 1000})
    for n, p in enumerate(procs):
        w.item({"cmd": "procstop", "app": p.name, "timeout": 1000})
        if n % 500 == 0:
            w.item({"cmd": "prockill", "app": p.name, "blocking": False})
    w.item({"cmd": "disable_persistence", "timeout": 100})
    w.item({"cmd": "shutdown", "timeout": 10000})
    w.close("]")
    w.finish()


def write_restart(path, procs):
    w = Writer(path)
    w.member("abort_on_reset", False)
    w.member("__default__", {
        "process": {"restart_cnt": 3, "restart_cnt_reset_time": 60000, "on_restart_failed": "reset"},
        "application": {"restart_cnt": 1, "enabled": True,
                        "error": {"commands": [{"cmd": "sleep", "timeout": 100}]}},
    })
    for p in procs:
        if p.index % 4 == 0:
            w.member(p.name, {
                "restart_cnt": 3, "restart_cnt_reset_time": 60000, "on_restart_failed": "ignore", "enabled": True,
                "failed": {"commands": [{"cmd": "procstop", "app": p.name, "timeout": 1000},
                                        {"cmd": "procstart", "app": p.name, "params": "--recover"}]},
                "watchdog": {"commands": [{"cmd": "prockill", "app": p.name}]},
            })
        if p.index % 4 == 1 and p.apps:
            a = p.apps[0]
            w.member(a, {
                "restart_cnt": 0, "enabled": True,
                "died": {"commands": [{"cmd": "stop", "app": a}, {"cmd": "run", "app": a, "blocking": True}]},
                "stopped": {"commands": []},
                "default": {"commands": [{"cmd": "wait_jobs_finished"}]},
            })
    w.finish()


DOMAIN_SIZE = 50  # applications per launcher domain


def write_uvk(path, procs):
    apps = app_list(procs)
    w = Writer(path)
    w.member("version", 3)
    w.member("default_startup_mode", "on_startup_normal")
    w.member("systracker", {"filename": "/var/log/systracker.bin", "size": 1024})
    w.member("wait_for_ooc", False)
    w.member("irc_disabled", True)
    w.member("dm_supervision_enabled", True)
    w.member("send_indication_unrecoverable", False)
    w.member("domain_request_timeout", 5000)
    w.member("hmi_supervision_ms", 2000)
    w.member("uvksystem_expected_sec", 30)
    w.member("wait_for_ooc_timeout_ms", 0)
    w.member("hmi_errordump_port", 5555)
    w.open_object("launcher")
    launchers = []
    for d in range(0, len(apps), DOMAIN_SIZE):
        group = apps[d:d + DOMAIN_SIZE]
        launchers.append(group[0])
        w.item({
            "launcher": group[0],
            "always_ack": d % 2 == 0,
            "on_start": [{"cmd": "wait_running", "app": a, "timeout": 500} for a in group],
            "on_restart": [{"cmd": "run", "app": group[0]}],
            "restart_param": {"restart_cnt": 2, "restart_cnt_reset_time": 1000, "on_restart_failed": "ignore"},
            "domain_request_timeout": 3000,
        }, key="domain%05d" % (d // DOMAIN_SIZE))
    w.close("}")
    w.member("on_startup_normal", [{"cmd": "run", "app": a, "blocking": True} for a in launchers])
    w.member("on_startup_download", [{"cmd": "set_sys_runmode", "sysrunmode": "RM_DOWNLOAD"}])
    w.member("on_startup_kt_production", [{"cmd": "set_sys_runmode", "sysrunmode": "RM_DIAG"}])
    w.member("on_postdomain", [{"cmd": "inject_userevent", "event": 7}])
    w.member("on_restart", [{"cmd": "sleep", "timeout": 50}])
    w.member("on_fastshutdown", [{"cmd": "shutdown", "timeout": 100}])
    w.member("on_shutdown", [{"cmd": "stop", "app": a, "timeout": 1000} for a in launchers]
             + [{"cmd": "shutdown", "timeout": 10000}])
    w.finish()


# ---- many small files ----

def write_many(outdir, count):
    os.makedirs(outdir, exist_ok=True)
    for n in range(count):
        doc = {
            "id": n,
            "name": "settings%05d" % n,
            "enabled": n % 2 == 0,
            "limits": {"cpu": n % 100, "mem_kb": 1024 * (n % 16 + 1), "files": [1, 2, 3, n]},
            "peers": ["host%d.local" % ((n + k) % 97) for k in range(8)],
            "channels": [{"name": "ch%d" % k, "rate": 0.5 * k, "tags": ["a", "b"]} for k in range(6)],
        }
        out = []
        emit(doc, 0, out)
        with open(os.path.join(outdir, "cfg%05d.json" % n), "w", encoding="ascii") as f:
            f.write("".join(out) + "\n")


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--nodes", type=int, default=32)
    mode = ap.add_mutually_exclusive_group()
    mode.add_argument("--mb", type=float, metavar="SIZE")
    mode.add_argument("--many", type=int, metavar="COUNT")
    ap.add_argument("args", nargs="+")
    opts = ap.parse_args()
    if opts.nodes < 1:
        ap.error("--nodes must be at least 1")

    if opts.mb is not None:
        if len(opts.args) != 1:
            ap.error("--mb SIZE OUTFILE")
        write_framework(opts.args[0], 0, opts.nodes, stop_at_bytes=int(opts.mb * 1e6))
    elif opts.many is not None:
        if len(opts.args) != 1:
            ap.error("--many COUNT OUTDIR")
        write_many(opts.args[0], opts.many)
    else:
        if len(opts.args) != 2:
            ap.error("N OUTDIR")
        count = int(opts.args[0])
        if count < 2:
            ap.error("N must be at least 2 (the trace server and one process)")
        outdir = opts.args[1]
        os.makedirs(outdir, exist_ok=True)
        procs = write_framework(os.path.join(outdir, "framework.json"), count, opts.nodes)
        write_servicemgr(os.path.join(outdir, "servicemgr.json"), procs)
        write_restart(os.path.join(outdir, "servicemgr_restart.json"), procs)
        write_uvk(os.path.join(outdir, "uvkstartup.json"), procs)


if __name__ == "__main__":
    main()
