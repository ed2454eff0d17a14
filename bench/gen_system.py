#!/usr/bin/env python3
"""Generates benchmark input for cfgcheck.

  gen_system.py N OUTDIR            a sound system of N processes: framework.json,
                                    servicemgr.json, servicemgr_restart.json and
                                    uvkstartup.json, which check clean together
  gen_system.py --mb SIZE OUTFILE   one framework-shaped file of about SIZE MB
                                    (10**6 bytes), sound on its own
  gen_system.py --many COUNT OUTDIR COUNT small JSON files

A system is realistic by default: names of 4 to 24 characters made of words,
ids and ports drawn at random, declarations and command lists in random order,
one to three comm targets per process over 128 nodes. --sorted writes the
older layout instead: counter names, ids and ports in declaration order,
command lists in that order too, two or three targets over 32 nodes.

Options: --nodes K spreads the processes over K nodes; --seed S; --findings F
breaks F processes of a system, spread over the file, in turn: a priority
written as a string, an id that an earlier process has, a key no process
takes (for the cost of findings and their places).
Output is deterministic for a seed. Lines stay short (the known files are
parsed with a line limit of 255); the generator fails if one does not.
"""

import argparse
import json
import os
import random
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

class Proc:
    """One ordinary process: what its entry says and what the other files need."""

    __slots__ = ("name", "id", "port", "own", "targets", "resman", "form", "apps", "bundle", "level", "fault")

    def __init__(self):
        self.apps = []  # application names it declares (bundle names are declared too, not listed)
        self.bundle = None
        self.fault = None  # with --findings: what is wrong with its entry


class Sorted:
    """Counter names and numbers in declaration order: name, id and port grow together."""

    def __init__(self, nodes):
        self.nodes = ["node%02d" % k for k in range(nodes)]

    def shuffled(self, items):
        return items

    def domain_name(self, d):
        return "domain%05d" % d

    def proc(self, i):
        p = Proc()
        nodes = len(self.nodes)
        p.name, p.id, p.port, p.level = "p%06d" % i, i + 1, 20000 + i, i % 20
        p.own = i % nodes
        p.targets = [p.own, (p.own + 1) % nodes] + ([(p.own + 7) % nodes] if i % 3 == 1 else [])
        p.resman = i % 3 == 0
        form = i % 8
        if form in (0, 1, 4, 5):
            p.apps = ["a%06d" % i]
        elif form in (2, 6):
            p.bundle = "b%06d" % i
            p.apps = ["a%06dx" % i, "a%06dy" % i]
        p.form = "single" if form in (0, 1, 4, 5) else "bundle" if form in (2, 6) else \
            "external" if form == 3 else None
        return p


WORDS = """audio video nav route map tile cache gps radio tuner media player phone call sms contact
voice speech tts asr hmi display cluster head unit seat climate fan heat door window mirror light
lamp sensor radar lidar camera park assist lane keep brake steer drive power battery charge grid
diag log trace dump update ota flash boot watch dog health monitor guard policy auth cert key vault
crypto net wifi blue tooth usb can bus gate way proxy broker router link sync time clock alarm event
queue store db index search input touch knob shell mgr service agent daemon worker host client server
front rear left right main aux backup local remote user admin core base ext app rt io dsp gpu
ui ux shared common vehicle state mode energy thermal ecu body chassis safety""".split()


class Realistic:
    """Names made of words, numbers drawn at random, everything in random order."""

    def __init__(self, nodes, seed):
        self.rng = random.Random(seed)
        self.taken = set()
        self.ids = set()
        self.ports = set()
        self.nodes = [self.name() for _ in range(nodes)]

    def shuffled(self, items):
        items = list(items)
        self.rng.shuffle(items)
        return items

    def name(self):
        """A fresh name of 4 to 24 characters: one to three words, sometimes a number."""
        rng = self.rng
        while True:
            words = rng.sample(WORDS, rng.choice((1, 2, 2, 3, 3, 3)))
            sep = rng.choice(("_", "-", ""))
            if sep == "":
                words = [words[0]] + [w.capitalize() for w in words[1:]]
            text = sep.join(words)
            if rng.random() < 0.3:
                text += str(rng.randrange(1, 100))
            if 4 <= len(text) <= 24 and text not in self.taken:
                self.taken.add(text)
                return text

    def draw(self, used, low, high):
        while True:
            value = self.rng.randrange(low, high)
            if value not in used:
                used.add(value)
                return value

    def domain_name(self, d):
        return self.name()

    def proc(self, i):
        rng = self.rng
        p = Proc()
        nodes = len(self.nodes)
        p.name = self.name()
        p.id = self.draw(self.ids, 1, 10**7)
        p.port = self.draw(self.ports, 1024, 10**6)  # unique, so every connection string is too
        p.level = rng.randrange(20)
        p.own = rng.randrange(nodes)
        p.targets = rng.sample(range(nodes), min(nodes, rng.randint(1, 3)))
        p.resman = p.own in p.targets and rng.random() < 1 / 3
        p.form = rng.choice(("single", "single", "single", "single", "bundle", "bundle", "external", None))
        if p.form == "single":
            p.apps = [self.name()]
        elif p.form == "bundle":
            p.bundle = self.name()
            p.apps = [self.name() for _ in range(rng.randint(1, 3))]
        return p


def node_entry(style, k):
    own = style.nodes[k]
    address = "10.%d.%d.1" % (1 + k // 250, k % 250)
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


def proc_entry(style, p):
    comm = {}
    for t in p.targets:
        comm[style.nodes[t]] = ({"resman": {"path": "/" + p.name}} if p.resman and t == p.own
                                else {"tcpip": {"port": p.port}})
    entry = {
        "name": p.name,
        "exec": "bin/" + p.name,
        "priority": 10 + p.level,
        "id": p.id,
        "node": style.nodes[p.own],
        "environment": {"LOG_LEVEL": str(p.level % 4), "HOME": "/var/run/" + p.name},
        "transport": {"comm": comm},
    }
    if p.form == "single":
        entry["servicemgr"] = {"singleapp": True, "name": p.apps[0]}
    elif p.form == "bundle":
        entry["servicemgr"] = {"bundles": [{"name": p.bundle, "lib": "lib%s.so" % p.bundle, "apps": p.apps}]}
    elif p.form == "external":
        entry["servicemgr"] = {"external": True}
    if p.fault == "priority":
        entry["priority"] = "high"
    elif p.fault is not None and p.fault[0] == "id":
        entry["id"] = p.fault[1]
    elif p.fault == "key":
        entry["prio"] = 1
    return entry


def traceserver_entry(style):
    tracing = {"*": {"serializer": "trace"}}
    for node in style.shuffled(style.nodes):
        tracing[node] = {"serializer": "trace"}
    return {"name": "traceserver", "exec": "bin/traceserver", "priority": 5,
            "node": style.nodes[0], "transport": {"tracing": tracing}}


def write_framework(path, style, count, stop_at_bytes=None, findings=0):
    """Writes `count` processes (the trace server is one of them), or as many
    as reach `stop_at_bytes`; `findings` of them broken. Returns the ordinary
    processes."""
    w = Writer(path)
    w.open_object("nodes")
    for k in style.shuffled(range(len(style.nodes))):
        w.item(node_entry(style, k), key=style.nodes[k])
    w.close("}")
    w.open_array("procs")
    # the sorted layout declares the trace server first
    trace_at = 0 if stop_at_bytes is not None or isinstance(style, Sorted) else style.rng.randrange(count)
    procs = []
    faults = random.Random(findings)
    broken = set(faults.sample(range(1, count - 1), findings)) if findings else set()
    sound = []
    i = 0
    while (len(procs) + 1 < count) if stop_at_bytes is None else (w.bytes < stop_at_bytes):
        if i == trace_at:
            w.item(traceserver_entry(style))
        p = style.proc(i)
        if i in broken:
            kind = len(broken) % 3
            broken.discard(i)
            p.fault = ("priority", ("id", faults.choice(sound).id), "key")[kind]
        w.item(proc_entry(style, p))
        procs.append(p)
        if p.fault is None:
            sound.append(p)  # ids that stand in the file
        i += 1
    if trace_at >= i:
        w.item(traceserver_entry(style))
    w.close("]")
    w.finish()
    return procs


def app_list(procs):
    return [a for p in procs for a in p.apps]


def write_servicemgr(path, style, procs):
    apps = app_list(procs)
    w = Writer(path)
    w.open_array("startup")
    w.item({"cmd": "set_sys_runmode", "sysrunmode": "RM_NORMAL", "timeout": 1000, "blocking": True})
    w.item({"cmd": "set_system_persistence", "ps_access": "PS_ACC_READ_WRITE", "timeout": 500})
    w.item({"cmd": "restore_persistence", "timeout": 500})
    for n, p in enumerate(style.shuffled(procs)):
        w.item({"cmd": "procstart", "app": p.name, "params": "-n " + p.name, "timeout": 2000, "blocking": n % 2 == 0})
        if n % 1000 == 999:
            w.item({"cmd": "sleep", "timeout": 10})
    for n, a in enumerate(style.shuffled(apps)):
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
    for n, a in enumerate(style.shuffled(apps)):
        w.item({"cmd": "stop", "app": a, "timeout": 1000})
        if n % 100 == 0:
            w.item({"cmd": "ps_flush", "app": a, "ps_access": "PS_ACC_NONE", "timeout": 500, "blocking": True})
            w.item({"cmd": "wait_stopped", "app": a, "timeout": 1000})
    for n, p in enumerate(style.shuffled(procs)):
        w.item({"cmd": "procstop", "app": p.name, "timeout": 1000})
        if n % 500 == 0:
            w.item({"cmd": "prockill", "app": p.name, "blocking": False})
    w.item({"cmd": "disable_persistence", "timeout": 100})
    w.item({"cmd": "shutdown", "timeout": 10000})
    w.close("]")
    w.finish()


def write_restart(path, style, procs):
    w = Writer(path)
    w.member("abort_on_reset", False)
    w.member("__default__", {
        "process": {"restart_cnt": 3, "restart_cnt_reset_time": 60000, "on_restart_failed": "reset"},
        "application": {"restart_cnt": 1, "enabled": True,
                        "error": {"commands": [{"cmd": "sleep", "timeout": 100}]}},
    })
    for n, p in enumerate(style.shuffled(procs)):
        if n % 4 == 0:
            w.member(p.name, {
                "restart_cnt": 3, "restart_cnt_reset_time": 60000, "on_restart_failed": "ignore", "enabled": True,
                "failed": {"commands": [{"cmd": "procstop", "app": p.name, "timeout": 1000},
                                        {"cmd": "procstart", "app": p.name, "params": "--recover"}]},
                "watchdog": {"commands": [{"cmd": "prockill", "app": p.name}]},
            })
        if n % 4 == 1 and p.apps:
            a = p.apps[0]
            w.member(a, {
                "restart_cnt": 0, "enabled": True,
                "died": {"commands": [{"cmd": "stop", "app": a}, {"cmd": "run", "app": a, "blocking": True}]},
                "stopped": {"commands": []},
                "default": {"commands": [{"cmd": "wait_jobs_finished"}]},
            })
    w.finish()


DOMAIN_SIZE = 50  # applications per launcher domain


def write_uvk(path, style, procs):
    apps = style.shuffled(app_list(procs))
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
        }, key=style.domain_name(d // DOMAIN_SIZE))
    w.close("}")
    w.member("on_startup_normal", [{"cmd": "run", "app": a, "blocking": True} for a in style.shuffled(launchers)])
    w.member("on_startup_download", [{"cmd": "set_sys_runmode", "sysrunmode": "RM_DOWNLOAD"}])
    w.member("on_startup_kt_production", [{"cmd": "set_sys_runmode", "sysrunmode": "RM_DIAG"}])
    w.member("on_postdomain", [{"cmd": "inject_userevent", "event": 7}])
    w.member("on_restart", [{"cmd": "sleep", "timeout": 50}])
    w.member("on_fastshutdown", [{"cmd": "shutdown", "timeout": 100}])
    w.member("on_shutdown", [{"cmd": "stop", "app": a, "timeout": 1000} for a in style.shuffled(launchers)]
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
    ap.add_argument("--nodes", type=int, help="default 128, or 32 with --sorted")
    ap.add_argument("--sorted", action="store_true", help="the older layout: everything in declaration order")
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--findings", type=int, default=0, metavar="F", help="break F processes of a system")
    mode = ap.add_mutually_exclusive_group()
    mode.add_argument("--mb", type=float, metavar="SIZE")
    mode.add_argument("--many", type=int, metavar="COUNT")
    ap.add_argument("args", nargs="+")
    opts = ap.parse_args()
    if opts.nodes is None:
        opts.nodes = 32 if opts.sorted else 128
    if opts.nodes < 1:
        ap.error("--nodes must be at least 1")
    style = Sorted(opts.nodes) if opts.sorted else Realistic(opts.nodes, opts.seed)

    if opts.mb is not None:
        if len(opts.args) != 1:
            ap.error("--mb SIZE OUTFILE")
        write_framework(opts.args[0], style, 0, stop_at_bytes=int(opts.mb * 1e6))
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
        if not 0 <= opts.findings <= count - 2:
            ap.error("--findings takes 0 to N-2")
        procs = write_framework(os.path.join(outdir, "framework.json"), style, count, findings=opts.findings)
        write_servicemgr(os.path.join(outdir, "servicemgr.json"), style, procs)
        write_restart(os.path.join(outdir, "servicemgr_restart.json"), style, procs)
        write_uvk(os.path.join(outdir, "uvkstartup.json"), style, procs)


if __name__ == "__main__":
    main()
