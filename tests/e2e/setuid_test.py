#!/usr/bin/env python3
"""setuid_test.py --zindle ZINDLE --vtarget VTARGET: a set-uid root copy run by a user prints what a plain copy prints
and opens files with the user's rights; at the adapter key all its ids are the user's. Needs root (else 77); works
in a mount namespace of its own, the virtual target's libraries laid over the system library directory there alone."""
import shutil
import signal
import sys
import tempfile
from collections import namedtuple

sys.dont_write_bytecode = True
from zindle_e2e import PP, data, main, normalise, os, output, running, subprocess  # noqa: E402

UID, GID, GROUP = 47111, 47111, 47112  # the user (a bare uid and gid, no account) and a supplementary group of his
SECRET = "root-only-secret-line"  # in every root-only file; must never show
MAP = "mosi=D5:miso=ACK:sck=D6:reset=D4:key=~BUSY"  # the default wiring with a key
ENV = {"PATH": "/usr/bin:/bin", "HOME": "/", "ASAN_OPTIONS": "detect_leaks=0"}  # LeakSanitizer can't see set-uid
KEY = b"Press ADAPTER KEY for continue.\n"
DROPPED = {"Uid": "\t".join([str(UID)] * 4), "Gid": "\t".join([str(GID)] * 4), "Groups": str(GROUP),
           "CapPrm": "0" * 16, "CapEff": "0" * 16}
MOUNT = "ZINDLE_SETUID_MOUNT"  # set: running inside the namespace, with the tmpfs to mount there
# kept: (path, content it keeps); same: the plain copy ends alike; steps: (zindle arguments or None, vtarget options).
Case = namedtuple("Case", "name args status message vtarget files steps kept same env",
                  defaults=(None, {}, (), None, True, {}))


def cases():
    t = T
    vt, hex_file, denied = ["--chip", "mega8"], {"prog.hex": data("small_flash.hex")}, "Can't open file '%s'\n" \
        "Permission denied\n"  # the set-uid run reads and writes the user's files as the user
    return [
        Case("a root-only file as HEX input", ["+mega8", "-w", t + "/shadow"], 70, denied % (t + "/shadow")),
        Case("a pin configuration file in a root-only directory", ["+mega8", "-am=" + t + "/secret/pins.cfg"], 70,
             "File '%s/secret/pins.cfg' not found\n" % t),
        Case("ZINDLE_CONFIG_PATH into a root-only directory", ["+mega8", "-am=pins.cfg"], 70,
             "File 'pins.cfg' not found\n", env={"ZINDLE_CONFIG_PATH": t + "/secret"}),
        Case("a root-owned serial number file", ["+mega8", "-ew", "-c*SERNO4=100,%s/serial.txt" % t, PP, "prog.hex"],
             70, denied % (t + "/serial.txt"), vt, hex_file, kept=(t + "/serial.txt", "41\n")),
        Case("-r overwriting a file in a root-only directory", ["+mega8", "-r", "-c", t + "/secret/old.hex", PP], 70,
             denied % (t + "/secret/old.hex"), vt, kept=(t + "/secret/old.hex", SECRET + "\n")),
        Case("a planted (eeprom).sav symlink", ["+mega8", "-e-", "-b", PP], 70, 'saved to HEX-file "(eeprom).sav"'
             + denied % "(eeprom).sav", ["--state", "chip.state"], {"(eeprom).sav": (t + "/target",),
                                                                    "eep.bin": b"\x5a" * 512},
             [(None, vt + ["--state", "chip.state", "--eeprom-in", "eep.bin"]),
              (["+mega8", "-w", "-fEESAVE=ON", PP], ["--state", "chip.state"])], kept=(t + "/target", SECRET + "\n")),
        Case("-p naming a root-only file", ["+mega8", "-p" + t + "/shadow"], 70,
             "Can't open parport device `%s/shadow'\nPermission denied\n" % t),
        Case("-p naming a file of the user's", ["+mega8", "-p" + t + "/mine"], 70,
             "Can't claim parport device `%s/mine'\nInappropriate ioctl for device\n" % t,
             kept=(t + "/mine", "mine\n")),
        *[Case("-p with " + what, ["+mega8", "-p" + port], 70, "Invalid value for switch -p\n\n", [], same=False)
          for what, port in (("the PC's reset control port", "CF7"), ("a base that is no parallel port's", "100"))],
        Case("programming through ppdev", ["+mega8", "-ew", "-v", PP, "prog.hex"], 0, "Verifying CODE memory\n", vt,
             hex_file),
    ]


# Each stops at the key with the hardware open: ppdev, direct I/O (LPT2), FTDI.
KEY_RUNS = [("ppdev", ["+mega8", "-K", "-am:" + MAP, PP], ["--wiring", "map:" + MAP]),
            ("direct I/O", ["+mega8", "-K", "-am:" + MAP], ["--wiring", "map:" + MAP]),
            ("FTDI", ["+mega8", "-K", "-aft2232h:key=~cbus4"], ["--ftdi", "ft2232h", "--wiring", "map:key=~cbus4"])]


def put(path, content, mode=0o644, owner=UID):
    with open(path, "wb" if isinstance(content, bytes) else "w") as f:
        f.write(content)
    os.chown(path, owner, owner)
    os.chmod(path, mode)


def command(copy, args, vtarget, groups="--groups=%d" % GROUP):
    """As the user: a zindle copy under vtarget (unless None), or vtarget alone (args None). The loader of a set-uid
    program ignores a preload named with a '/', as vtarget names it."""
    zindle = [] if args is None else [os.path.join(T, copy, "zindle")] + args
    return ["setpriv", "--reuid=%d" % UID, "--regid=%d" % GID, groups, "--"] + (
        zindle if vtarget is None else [os.path.join(T, "sim", "vtarget")] + vtarget
        + (zindle and ["--", "env", "LD_PRELOAD=libvtlpt.so"] + zindle))


def work_dir(files={}):
    work = tempfile.mkdtemp(dir=T, prefix="run")
    os.chown(work, UID, GID)
    for name, content in files.items():
        if isinstance(content, tuple):
            os.symlink(content[0], os.path.join(work, name))
            os.lchown(os.path.join(work, name), UID, GID)
        else:
            put(os.path.join(work, name), content)
    return work


def run(copy, c):
    """(status, output) of the case's command through one copy, after its steps, in a new directory."""
    work, env = work_dir(c.files), dict(ENV, **c.env)
    for args, vtarget in c.steps:
        subprocess.run(command("plain", args, vtarget), cwd=work, env=env, stdout=subprocess.DEVNULL, check=True)
    status, text = output(command(copy, c.args, c.vtarget), work, 60, env=env)
    return status, normalise(text)


def run_case(c):
    status, text = run("setuid", c)
    problems = [] if status == c.status else ["exit status %d, expected %d" % (status, c.status)]
    problems += [] if c.message in text else ["missing %r" % c.message]
    problems += ["root's file shown"] if SECRET in text else []
    if c.kept:
        now = open(c.kept[0]).read() if os.path.exists(c.kept[0]) else None
        problems += [] if now == c.kept[1] else ["%s now holds %r" % (c.kept[0], now)]
    if c.same and run("plain", c) != (status, text):
        problems.append("the plain copy ended otherwise")
    return "\n".join(problems + ["--- output ---\n" + text]) if problems else None


def identities_at_key(args, vtarget, groups="--groups=%d" % GROUP):
    """Stops the set-uid run at the adapter key and compares its identities with the user's."""
    proc, text, program = running(command("setuid", args, vtarget, groups), KEY, cwd=work_dir(), env=ENV,
                                  stderr=subprocess.STDOUT)
    if program is None or KEY not in text:
        proc.kill()
        proc.wait()
        return "no key wait:\n" + text.decode("latin-1")
    with open("/proc/%d/status" % program) as f:
        found = dict(line.rstrip("\n").split(":\t", 1) for line in f if ":\t" in line)
    os.kill(program, signal.SIGTERM)
    proc.communicate(timeout=30)
    return "\n".join("%s: %r, expected %r" % (name, found.get(name, "").strip(), value)
                     for name, value in dict(DROPPED, **({"Groups": ""} if groups == "--clear-groups" else {})).items()
                     if found.get(name, "").strip() != value) or None


def installed(o, work):
    """On the tmpfs: the two copies, the virtual target, its libraries (the one preloaded into the set-uid copy
    set-uid in a directory the loader trusts) and root's files. The program names no library directory of its own
    (a set-uid loader would search it as root)."""
    try:
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=0755", "zindle-setuid", T], check=True)
        sim = os.path.dirname(o.vtarget)
        for source, name, mode in [(o.zindle, "setuid/zindle", 0o4755), (o.zindle, "plain/zindle", 0o755),
                                   (o.vtarget, "sim/vtarget", 0o755)] + [
                (os.path.join(sim, library), where + os.path.basename(library),
                 0o4755 if where + library == "lib/libvtlpt.so" else 0o755)
                for library in ("libvtlpt.so", "libvtbench.so", "ftdi/libftd2xx.so") for where in ("sim/", "lib/")]:
            os.makedirs(os.path.dirname(os.path.join(T, name)), exist_ok=True)
            shutil.copy(source, os.path.join(T, name))
            os.chmod(os.path.join(T, name), mode)
        # The directory of this process's C library: one the dynamic loader trusts.
        system = next(os.path.dirname(os.path.realpath(line.split()[-1])) for line in open("/proc/self/maps")
                      if "/libc.so" in line)
        subprocess.run(["mount", "-t", "overlay", "overlay", "-o", "lowerdir=%s/lib:%s" % (T, system), system],
                       check=True)
    except subprocess.CalledProcessError as e:
        print("skipped: no private tmpfs or overlay here (%s)" % " ".join(e.cmd[:3]))
        sys.exit(77)
    os.mkdir(os.path.join(T, "secret"), 0o700)
    for name, content, mode, owner in [("shadow", SECRET, 0o600, 0), ("serial.txt", "41", 0o644, 0),
                                       ("target", SECRET, 0o644, 0), ("mine", "mine", 0o644, UID),
                                       ("secret/pins.cfg", SECRET, 0o644, 0), ("secret/old.hex", SECRET, 0o644, 0)]:
        put(os.path.join(T, name), content + "\n", mode, owner)
    return "has a library path" if "PATH)" in output(["readelf", "-d", o.zindle], T)[1] else None


T = os.environ.get(MOUNT)
if __name__ == "__main__" and T:
    main([("installed, no RPATH or RUNPATH in the program", installed)]
         + [(c.name, lambda o, work, c=c: run_case(c)) for c in cases()]
         + [("identities after opening " + name, lambda o, work, a=args, v=vt: identities_at_key(a, v))
            for name, args, vt in KEY_RUNS]
         + [("identities of a user without supplementary groups", lambda o, work: identities_at_key(
             *KEY_RUNS[0][1:], groups="--clear-groups"))])
elif __name__ == "__main__":
    if os.geteuid() != 0 or subprocess.run(["unshare", "--mount", "true"], stderr=subprocess.DEVNULL).returncode:
        print("skipped: making a set-uid install needs root and a mount namespace")
        sys.exit(77)
    mount_point = tempfile.mkdtemp(prefix="zindle-setuid-")
    try:
        sys.exit(subprocess.run(["unshare", "--mount", "--propagation", "private", sys.executable] + sys.argv,
                                env=dict(os.environ, **{MOUNT: mount_point})).returncode)
    finally:
        os.rmdir(mount_point)
