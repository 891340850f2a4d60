#!/usr/bin/env python3
"""A set-uid root install of zindle, run by a user who is not root.

    setuid_test.py --zindle BUILD/zindle --vtarget BUILD/sim/vtarget

Each case runs one command as that user through a set-uid root copy and
through a plain copy of the same binary: the set-uid run must end with the
expected status and message, print what the plain run prints, and leave
root's files and the user's as they were. Three more runs stop at the adapter
key, once the parport device, the I/O ports or the FTDI channel is open, and
read the process's identities from /proc: real, effective and saved ids must
all be the user's, his supplementary group kept, no capability left. Ends with
the line "N passed, N failed".

It needs root (otherwise it reports itself skipped, exit status 77) and
changes nothing on the machine: it runs in a mount namespace of its own, with
the copies and the files on a private tmpfs, and lays the virtual target's
libraries over the system library directory there alone. A set-uid program
preloads only set-uid libraries found there by bare name, and its dlopen
finds libftd2xx.so only there. The user is a bare uid and gid, no account.
"""

import argparse
import os
import shutil
import signal
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field
from typing import Callable, Dict, List, Optional

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from programming_e2e import PP, data, normalise  # noqa: E402
from signal_test import child_of  # noqa: E402

UID, GID, GROUP = 47111, 47111, 47112  # the user and a supplementary group of his
SKIPPED = 77
SECRET = "root-only-secret-line"  # in every root-only file; must never show
MAP = "mosi=D5:miso=ACK:sck=D6:reset=D4:key=~BUSY"  # the default wiring with a key
# LeakSanitizer cannot look into a set-uid process (a sanitizer build's runs).
ENV = {"PATH": "/usr/bin:/bin", "HOME": "/", "ASAN_OPTIONS": "detect_leaks=0"}
KEY = "Press ADAPTER KEY for continue.\n"


@dataclass
class case:
    name: str
    args: List[str]
    status: int
    message: str  # in the set-uid run's output
    vtarget: Optional[List[str]] = None  # run as: vtarget OPTIONS -- zindle ARGS
    env: Dict[str, str] = field(default_factory=dict)
    files: Dict[str, object] = field(default_factory=dict)  # in the user's run directory; a tuple: a symlink
    steps: List[tuple] = field(default_factory=list)  # (zindle args or None, vtarget options), plain copy, first
    same: bool = True  # the plain copy prints the same
    check: Optional[Callable[[], Optional[str]]] = None  # after the set-uid run


def unchanged(path, content):
    def check():
        if not os.path.exists(path):
            return None if content is None else "%s is gone" % path
        with open(path) as f:
            text = f.read()
        return None if text == content else "%s now holds %r" % (path, text)
    return check


def cases(t):
    vt = ["--chip", "mega8"]
    hex_file = {"prog.hex": data("small_flash.hex")}
    denied = "Permission denied\n"
    return [
        case("a root-only file as HEX input", ["+mega8", "-w", t + "/shadow"], 70,
             "Can't open file '%s/shadow'\n%s" % (t, denied)),
        case("a root-only pin configuration file", ["+mega8", "-am=" + t + "/shadow"], 70,
             "Can't open file '%s/shadow'\n%s" % (t, denied)),
        case("a pin configuration file in a root-only directory", ["+mega8", "-am=" + t + "/secret/pins.cfg"], 70,
             "File '%s/secret/pins.cfg' not found\n" % t),
        case("ZINDLE_CONFIG_PATH into a root-only directory", ["+mega8", "-am=pins.cfg"], 70,
             "File 'pins.cfg' not found\n", env={"ZINDLE_CONFIG_PATH": t + "/secret"}),
        case("a root-owned serial number file", ["+mega8", "-ew", "-c*SERNO4=100,%s/serial.txt" % t, PP, "prog.hex"],
             70, "Can't open file '%s/serial.txt'\n%s" % (t, denied), vtarget=vt, files=hex_file,
             check=unchanged(t + "/serial.txt", "41\n")),
        case("-r creating a file in a root-only directory", ["+mega8", "-r", "-c", t + "/secret/new.hex", PP], 70,
             "Can't open file '%s/secret/new.hex'\n%s" % (t, denied), vtarget=vt,
             check=unchanged(t + "/secret/new.hex", None)),
        case("-r overwriting a file in a root-only directory", ["+mega8", "-r", "-c", t + "/secret/old.hex", PP], 70,
             "Can't open file '%s/secret/old.hex'\n%s" % (t, denied), vtarget=vt,
             check=unchanged(t + "/secret/old.hex", SECRET + "\n")),
        case("a planted (eeprom).sav symlink", ["+mega8", "-e-", "-b", PP], 70,
             'saved to HEX-file "(eeprom).sav"Can\'t open file \'(eeprom).sav\'\n' + denied,
             vtarget=["--state", "chip.state"], files={"(eeprom).sav": (t + "/target",), "eep.bin": b"\x5a" * 512},
             steps=[(None, vt + ["--state", "chip.state", "--eeprom-in", "eep.bin"]),
                    (["+mega8", "-w", "-fEESAVE=ON", PP], ["--state", "chip.state"])],
             check=unchanged(t + "/target", SECRET + "\n")),
        case("-p naming a root-only file", ["+mega8", "-p" + t + "/shadow"], 70,
             "Can't open parport device `%s/shadow'\n%s" % (t, denied)),
        case("-p naming a file of the user's", ["+mega8", "-p" + t + "/mine"], 70,
             "Can't claim parport device `%s/mine'\nInappropriate ioctl for device\n" % t,
             check=unchanged(t + "/mine", "mine\n")),
        case("-p with the PC's reset control port", ["+mega8", "-pCF7"], 70, "Invalid value for switch -p\n\n",
             vtarget=[], same=False),
        case("-p with a base that is no parallel port's", ["+mega8", "-p100"], 70, "Invalid value for switch -p\n\n",
             vtarget=[], same=False),
        case("programming through ppdev", ["+mega8", "-ew", "-v", PP, "prog.hex"], 0,
             "Verifying CODE memory\n", vtarget=vt, files=hex_file),
        case("identification through direct I/O at LPT3", ["+mega8", "-p3BC"], 0,
             "Device connected, mega8|mega8A detected\n", vtarget=vt),
        case("identification through an FT2232H", ["+mega8", "-aft2232h"], 0,
             "Device connected, mega8|mega8A detected\n", vtarget=vt + ["--ftdi", "ft2232h"]),
        case("the FTDI device listing", ["-aft2232h", "-p?"], 0, "2 FTDI devices detected\n",
             vtarget=["--ftdi", "ft2232h"]),
    ]


# Each stops at the key with the hardware open: ppdev, direct I/O (LPT2), FTDI.
KEY_RUNS = [
    ("ppdev", ["+mega8", "-K", "-am:" + MAP, PP], ["--wiring", "map:" + MAP]),
    ("direct I/O", ["+mega8", "-K", "-am:" + MAP], ["--wiring", "map:" + MAP]),
    ("FTDI", ["+mega8", "-K", "-aft2232h:key=~cbus4"], ["--ftdi", "ft2232h", "--wiring", "map:key=~cbus4"]),
]
DROPPED = {"Uid": "%d\t%d\t%d\t%d" % ((UID,) * 4), "Gid": "%d\t%d\t%d\t%d" % ((GID,) * 4), "Groups": str(GROUP),
           "CapPrm": "0" * 16, "CapEff": "0" * 16}


class installation:
    """The two copies, the virtual target and root's files on the tmpfs at t."""

    def __init__(self, t, zindle, vtarget):
        self.t = t
        sim = os.path.dirname(vtarget)
        libraries = [os.path.join(sim, "libvtlpt.so"), os.path.join(sim, "libvtbench.so"),
                     os.path.join(sim, "ftdi", "libftd2xx.so")]
        for copy, mode in (("setuid", 0o4755), ("plain", 0o755)):
            self.put(zindle, "%s/zindle" % copy, mode)
        self.put(vtarget, "sim/vtarget", 0o755)
        for library in libraries:
            self.put(library, os.path.relpath(library, os.path.dirname(sim)), 0o755)
            self.put(library, "lib/" + os.path.basename(library), 0o4755 if "vtlpt" in library else 0o755)
        system = system_library_dir()
        subprocess.run(["mount", "-t", "overlay", "overlay", "-o", "lowerdir=%s/lib:%s" % (t, system), system],
                       check=True)
        self.write("shadow", SECRET + "\n", 0o600)  # a root-only file in a directory everybody reads
        self.write("serial.txt", "41\n", 0o644)  # root's: the user may read it, not write it
        self.write("target", SECRET + "\n", 0o644)
        self.write("mine", "mine\n", 0o644, owner=(UID, GID))
        os.mkdir(os.path.join(t, "secret"), 0o700)
        self.write("secret/pins.cfg", SECRET + "\n", 0o644)
        self.write("secret/old.hex", SECRET + "\n", 0o644)
        self.runs = 0

    def put(self, source, name, mode):
        path = os.path.join(self.t, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        shutil.copy(source, path)
        os.chmod(path, mode)

    def write(self, name, content, mode, owner=(0, 0)):
        path = os.path.join(self.t, name)
        with open(path, "wb" if isinstance(content, bytes) else "w") as f:
            f.write(content)
        os.chown(path, *owner)
        os.chmod(path, mode)

    def command(self, copy, args, vtarget):
        zindle = [os.path.join(self.t, copy, "zindle")] + args
        if vtarget is None:
            return zindle
        # The loader of a set-uid program ignores a preload named with a '/', as vtarget names it.
        return [os.path.join(self.t, "sim", "vtarget")] + vtarget + ["--", "env", "LD_PRELOAD=libvtlpt.so"] + zindle

    def work_dir(self, files):
        self.runs += 1
        work = os.path.join(self.t, "run%d" % self.runs)
        os.mkdir(work)
        os.chown(work, UID, GID)
        for name, content in files.items():
            path = os.path.join(work, name)
            if isinstance(content, tuple):
                os.symlink(content[0], path)
                os.lchown(path, UID, GID)
            else:
                self.write(os.path.relpath(path, self.t), content, 0o644, owner=(UID, GID))
        return work

    def run(self, copy, c):
        """(status, output) of the case's command through one copy, after its steps, in a new directory."""
        work = self.work_dir(c.files)
        env = dict(ENV, **c.env)
        for args, vtarget in c.steps:
            command = [os.path.join(self.t, "sim", "vtarget")] + vtarget if args is None else \
                self.command("plain", args, vtarget)
            subprocess.run(as_user(command), cwd=work, env=env, stdout=subprocess.DEVNULL, check=True, timeout=60)
        done = subprocess.run(as_user(self.command(copy, c.args, c.vtarget)), cwd=work, env=env,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
        return done.returncode, normalise(done.stdout.decode("latin-1"))


def as_user(command):
    return ["setpriv", "--reuid=%d" % UID, "--regid=%d" % GID, "--groups=%d" % GROUP, "--"] + command


def system_library_dir():
    """The directory this process's C library comes from: one the dynamic loader trusts."""
    with open("/proc/self/maps") as f:
        for line in f:
            if "/libc.so" in line:
                return os.path.dirname(os.path.realpath(line.split()[-1]))
    raise RuntimeError("no C library in /proc/self/maps")


def run_case(inst, c):
    status, text = inst.run("setuid", c)
    problems = []
    if status != c.status:
        problems.append("exit status %d, expected %d" % (status, c.status))
    if c.message not in text:
        problems.append("missing %r" % c.message)
    if SECRET in text:
        problems.append("root's file shown")
    changed = c.check() if c.check is not None else None
    if changed:
        problems.append(changed)
    if c.same:
        plain_status, plain_text = inst.run("plain", c)
        if (plain_status, plain_text) != (status, text):
            problems.append("the plain copy ended with %d and printed\n%s" % (plain_status, plain_text))
    return "\n".join(problems + ["--- output ---\n" + text] if problems else [])


def identities_at_key(inst, args, vtarget):
    """Stops the set-uid run at the adapter key and compares its identities with the user's."""
    work = inst.work_dir({})
    proc = subprocess.Popen(as_user(inst.command("setuid", args, vtarget)), cwd=work, env=ENV,
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    output = b""
    while KEY.encode() not in output:
        piece = proc.stdout.read1(4096)
        if not piece:
            break
        output += piece
    program = child_of(proc.pid)
    if program is None or KEY.encode() not in output:
        proc.kill()
        proc.wait()
        return "no key wait:\n" + output.decode("latin-1")
    with open("/proc/%d/status" % program) as f:
        found = dict(line.rstrip("\n").split(":\t", 1) for line in f if ":\t" in line)
    os.kill(program, signal.SIGTERM)
    proc.communicate(timeout=30)
    problems = ["%s: %r, expected %r" % (name, found.get(name, "").strip(), value)
                for name, value in DROPPED.items() if found.get(name, "").strip() != value]
    return "\n".join(problems) or None


def no_library_path(zindle):
    """The program names no library directory of its own (a set-uid loader would search it as root)."""
    dynamic = subprocess.run(["readelf", "-d", zindle], stdout=subprocess.PIPE, check=True).stdout.decode()
    return "has %s" % [line for line in dynamic.splitlines() if "PATH" in line] if "PATH)" in dynamic else None


def skipped(why):
    print("skipped: " + why)
    print("0 passed, 0 failed, 1 skipped")
    return SKIPPED


def inside(t, zindle, vtarget):
    try:
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=0755", "zindle-setuid", t], check=True)
        inst = installation(t, zindle, vtarget)
    except subprocess.CalledProcessError as e:
        return skipped("no private tmpfs or overlay here (%s)" % " ".join(e.cmd[:3]))
    results = [("no RPATH or RUNPATH in the program", no_library_path(zindle))]
    results += [(c.name, run_case(inst, c) or None) for c in cases(t)]
    results += [("identities after opening " + name, identities_at_key(inst, args, vt)) for name, args, vt in KEY_RUNS]
    for name, problem in results:
        print(("ok    %s" % name) if problem is None else ("FAIL  %s\n%s" % (name, problem)))
    failed = sum(problem is not None for _, problem in results)
    print("%d passed, %d failed" % (len(results) - failed, failed))
    return 1 if failed else 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--zindle", required=True)
    parser.add_argument("--vtarget", required=True)
    parser.add_argument("--inside", help=argparse.SUPPRESS)
    options = parser.parse_args()
    zindle, vtarget = os.path.abspath(options.zindle), os.path.abspath(options.vtarget)
    if options.inside:
        return inside(options.inside, zindle, vtarget)
    if os.geteuid() != 0 or subprocess.run(["unshare", "--mount", "true"], stderr=subprocess.DEVNULL).returncode:
        return skipped("making a set-uid install needs root and a mount namespace")
    mount_point = tempfile.mkdtemp(prefix="zindle-setuid-")
    try:
        return subprocess.run(["unshare", "--mount", "--propagation", "private", sys.executable, __file__,
                               "--zindle", zindle, "--vtarget", vtarget, "--inside", mount_point]).returncode
    finally:
        os.rmdir(mount_point)


if __name__ == "__main__":
    sys.exit(main())
