#!/usr/bin/env python3
"""setuid_test.py --zindle ZINDLE --vtarget VTARGET: a set-uid root copy run by a user prints what a plain copy prints
and opens files with the user's rights; at the adapter key all its ids are the user's. Needs root (else 77); works
in a mount namespace of its own, the virtual target's libraries laid over the system library directory there alone."""
import argparse
import os
import shutil
import signal
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from zindle_e2e import PP, child_of, data, normalise, read_until, report  # noqa: E402

UID, GID, GROUP = 47111, 47111, 47112  # the user (a bare uid and gid, no account) and a supplementary group of his
SECRET = "root-only-secret-line"  # in every root-only file; must never show
MAP = "mosi=D5:miso=ACK:sck=D6:reset=D4:key=~BUSY"  # the default wiring with a key
ENV = {"PATH": "/usr/bin:/bin", "HOME": "/", "ASAN_OPTIONS": "detect_leaks=0"}  # LeakSanitizer can't see set-uid
KEY = b"Press ADAPTER KEY for continue.\n"
DENIED = "Permission denied\n"
DROPPED = {"Uid": "\t".join([str(UID)] * 4), "Gid": "\t".join([str(GID)] * 4), "Groups": str(GROUP),
           "CapPrm": "0" * 16, "CapEff": "0" * 16}


def case(name, args, status, message, vtarget=None, files=None, steps=(), same=True, kept=None):
    """`kept`: (path, content) that must be as it was after the set-uid run (content None: no such file)."""
    return dict(name=name, args=args, status=status, message=message, vtarget=vtarget, files=files or {},
                steps=steps, same=same, kept=kept, env={})


def cases(t):
    vt, hex_file = ["--chip", "mega8"], {"prog.hex": data("small_flash.hex")}
    config_path = case("ZINDLE_CONFIG_PATH into a root-only directory", ["+mega8", "-am=pins.cfg"], 70,
                       "File 'pins.cfg' not found\n")
    config_path["env"] = {"ZINDLE_CONFIG_PATH": t + "/secret"}
    return [
        case("a root-only file as HEX input", ["+mega8", "-w", t + "/shadow"], 70,
             "Can't open file '%s/shadow'\n%s" % (t, DENIED)),
        case("a root-only pin configuration file", ["+mega8", "-am=" + t + "/shadow"], 70,
             "Can't open file '%s/shadow'\n%s" % (t, DENIED)),
        case("a pin configuration file in a root-only directory", ["+mega8", "-am=" + t + "/secret/pins.cfg"], 70,
             "File '%s/secret/pins.cfg' not found\n" % t),
        config_path,
        case("a root-owned serial number file", ["+mega8", "-ew", "-c*SERNO4=100,%s/serial.txt" % t, PP, "prog.hex"],
             70, "Can't open file '%s/serial.txt'\n%s" % (t, DENIED), vt, hex_file, kept=(t + "/serial.txt", "41\n")),
        case("-r creating a file in a root-only directory", ["+mega8", "-r", "-c", t + "/secret/new.hex", PP], 70,
             "Can't open file '%s/secret/new.hex'\n%s" % (t, DENIED), vt, kept=(t + "/secret/new.hex", None)),
        case("-r overwriting a file in a root-only directory", ["+mega8", "-r", "-c", t + "/secret/old.hex", PP], 70,
             "Can't open file '%s/secret/old.hex'\n%s" % (t, DENIED), vt, kept=(t + "/secret/old.hex", SECRET + "\n")),
        case("a planted (eeprom).sav symlink", ["+mega8", "-e-", "-b", PP], 70,
             'saved to HEX-file "(eeprom).sav"Can\'t open file \'(eeprom).sav\'\n' + DENIED, ["--state", "chip.state"],
             {"(eeprom).sav": (t + "/target",), "eep.bin": b"\x5a" * 512},
             [(None, vt + ["--state", "chip.state", "--eeprom-in", "eep.bin"]),
              (["+mega8", "-w", "-fEESAVE=ON", PP], ["--state", "chip.state"])], kept=(t + "/target", SECRET + "\n")),
        case("-p naming a root-only file", ["+mega8", "-p" + t + "/shadow"], 70,
             "Can't open parport device `%s/shadow'\n%s" % (t, DENIED)),
        case("-p naming a file of the user's", ["+mega8", "-p" + t + "/mine"], 70,
             "Can't claim parport device `%s/mine'\nInappropriate ioctl for device\n" % t, kept=(t + "/mine", "mine\n")),
        case("-p with the PC's reset control port", ["+mega8", "-pCF7"], 70, "Invalid value for switch -p\n\n", [],
             same=False),
        case("-p with a base that is no parallel port's", ["+mega8", "-p100"], 70, "Invalid value for switch -p\n\n",
             [], same=False),
        case("programming through ppdev", ["+mega8", "-ew", "-v", PP, "prog.hex"], 0, "Verifying CODE memory\n", vt,
             hex_file),
        case("identification through direct I/O at LPT3", ["+mega8", "-p3BC"], 0,
             "Device connected, mega8|mega8A detected\n", vt),
        case("identification through an FT2232H", ["+mega8", "-aft2232h"], 0,
             "Device connected, mega8|mega8A detected\n", vt + ["--ftdi", "ft2232h"]),
        case("the FTDI device listing", ["-aft2232h", "-p?"], 0, "2 FTDI devices detected\n", ["--ftdi", "ft2232h"]),
    ]


# Each stops at the key with the hardware open: ppdev, direct I/O (LPT2), FTDI.
KEY_RUNS = [("ppdev", ["+mega8", "-K", "-am:" + MAP, PP], ["--wiring", "map:" + MAP]),
            ("direct I/O", ["+mega8", "-K", "-am:" + MAP], ["--wiring", "map:" + MAP]),
            ("FTDI", ["+mega8", "-K", "-aft2232h:key=~cbus4"], ["--ftdi", "ft2232h", "--wiring", "map:key=~cbus4"])]


def as_user(command):
    return ["setpriv", "--reuid=%d" % UID, "--regid=%d" % GID, "--groups=%d" % GROUP, "--"] + command


class installation:
    """The two copies, the virtual target and root's files on the tmpfs at t."""

    def __init__(self, t, zindle, vtarget):
        self.t, self.runs, sim = t, 0, os.path.dirname(vtarget)
        for source, name, mode in [(zindle, "setuid/zindle", 0o4755), (zindle, "plain/zindle", 0o755),
                                   (vtarget, "sim/vtarget", 0o755)]:
            self.put(source, name, mode)
        for library in ("libvtlpt.so", "libvtbench.so", "ftdi/libftd2xx.so"):
            self.put(os.path.join(sim, library), "sim/" + library, 0o755)
            self.put(os.path.join(sim, library), "lib/" + os.path.basename(library), 0o4755 if "vtlpt" in library
                     else 0o755)
        # The directory of this process's C library: one the dynamic loader trusts.
        system = next(os.path.dirname(os.path.realpath(line.split()[-1])) for line in open("/proc/self/maps")
                      if "/libc.so" in line)
        subprocess.run(["mount", "-t", "overlay", "overlay", "-o", "lowerdir=%s/lib:%s" % (t, system), system],
                       check=True)
        os.mkdir(os.path.join(t, "secret"), 0o700)
        for name, content, mode, owner in [("shadow", SECRET, 0o600, 0), ("serial.txt", "41", 0o644, 0),
                                           ("target", SECRET, 0o644, 0), ("mine", "mine", 0o644, UID),
                                           ("secret/pins.cfg", SECRET, 0o644, 0), ("secret/old.hex", SECRET, 0o644, 0)]:
            self.write(name, content + "\n", mode, owner)

    def put(self, source, name, mode):
        path = os.path.join(self.t, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        shutil.copy(source, path)
        os.chmod(path, mode)

    def write(self, name, content, mode, owner):
        path = os.path.join(self.t, name)
        with open(path, "wb" if isinstance(content, bytes) else "w") as f:
            f.write(content)
        os.chown(path, owner, owner)
        os.chmod(path, mode)

    def command(self, copy, args, vtarget):
        zindle = [os.path.join(self.t, copy, "zindle")] + args
        # The loader of a set-uid program ignores a preload named with a '/', as vtarget names it.
        return zindle if vtarget is None else \
            [os.path.join(self.t, "sim", "vtarget")] + vtarget + ["--", "env", "LD_PRELOAD=libvtlpt.so"] + zindle

    def work_dir(self, files):
        self.runs += 1
        work = os.path.join(self.t, "run%d" % self.runs)
        os.mkdir(work)
        os.chown(work, UID, GID)
        for name, content in files.items():
            if isinstance(content, tuple):
                os.symlink(content[0], os.path.join(work, name))
                os.lchown(os.path.join(work, name), UID, GID)
            else:
                self.write(os.path.join(work, name), content, 0o644, UID)
        return work

    def run(self, copy, c):
        """(status, output) of the case's command through one copy, after its steps, in a new directory."""
        work, env = self.work_dir(c["files"]), dict(ENV, **c["env"])
        for args, vtarget in c["steps"]:
            command = [os.path.join(self.t, "sim", "vtarget")] + vtarget if args is None else \
                self.command("plain", args, vtarget)
            subprocess.run(as_user(command), cwd=work, env=env, stdout=subprocess.DEVNULL, check=True, timeout=60)
        done = subprocess.run(as_user(self.command(copy, c["args"], c["vtarget"])), cwd=work, env=env,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
        return done.returncode, normalise(done.stdout.decode("latin-1"))


def run_case(inst, c):
    status, text = inst.run("setuid", c)
    problems = [] if status == c["status"] else ["exit status %d, expected %d" % (status, c["status"])]
    problems += [] if c["message"] in text else ["missing %r" % c["message"]]
    problems += ["root's file shown"] if SECRET in text else []
    if c["kept"]:
        path, content = c["kept"]
        now = open(path).read() if os.path.exists(path) else None
        problems += [] if now == content else ["%s now holds %r" % (path, now)]
    if c["same"] and inst.run("plain", c) != (status, text):
        problems.append("the plain copy ended otherwise")
    return "\n".join(problems + ["--- output ---\n" + text]) if problems else None


def identities_at_key(inst, args, vtarget):
    """Stops the set-uid run at the adapter key and compares its identities with the user's."""
    proc = subprocess.Popen(as_user(inst.command("setuid", args, vtarget)), cwd=inst.work_dir({}), env=ENV,
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    output, program = read_until(proc.stdout, KEY), child_of(proc.pid)
    if program is None or KEY not in output:
        proc.kill()
        proc.wait()
        return "no key wait:\n" + output.decode("latin-1")
    with open("/proc/%d/status" % program) as f:
        found = dict(line.rstrip("\n").split(":\t", 1) for line in f if ":\t" in line)
    os.kill(program, signal.SIGTERM)
    proc.communicate(timeout=30)
    return "\n".join("%s: %r, expected %r" % (name, found.get(name, "").strip(), value)
                     for name, value in DROPPED.items() if found.get(name, "").strip() != value) or None


def inside(t, zindle, vtarget):
    try:
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=0755", "zindle-setuid", t], check=True)
        inst = installation(t, zindle, vtarget)
    except subprocess.CalledProcessError as e:
        print("skipped: no private tmpfs or overlay here (%s)" % " ".join(e.cmd[:3]))
        return 77
    # The program names no library directory of its own (a set-uid loader would search it as root).
    dynamic = subprocess.run(["readelf", "-d", zindle], stdout=subprocess.PIPE, check=True).stdout.decode()
    results = [("no RPATH or RUNPATH in the program", "has a library path" if "PATH)" in dynamic else None)]
    results += [(c["name"], run_case(inst, c)) for c in cases(t)]
    return report(results + [("identities after opening " + name, identities_at_key(inst, args, vt))
                             for name, args, vt in KEY_RUNS])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--zindle", required=True)
    parser.add_argument("--vtarget", required=True)
    parser.add_argument("--inside", help=argparse.SUPPRESS)
    o = parser.parse_args()
    zindle, vtarget = os.path.abspath(o.zindle), os.path.abspath(o.vtarget)
    if o.inside:
        return inside(o.inside, zindle, vtarget)
    if os.geteuid() != 0 or subprocess.run(["unshare", "--mount", "true"], stderr=subprocess.DEVNULL).returncode:
        print("skipped: making a set-uid install needs root and a mount namespace")
        return 77
    mount_point = tempfile.mkdtemp(prefix="zindle-setuid-")
    try:
        return subprocess.run(["unshare", "--mount", "--propagation", "private", sys.executable, __file__,
                               "--zindle", zindle, "--vtarget", vtarget, "--inside", mount_point]).returncode
    finally:
        os.rmdir(mount_point)


if __name__ == "__main__":
    sys.exit(main())
