#!/usr/bin/env python3
"""zindle_e2e.py --zindle ZINDLE --vtarget VTARGET cases/FILE.py...: runs each file's CASES (case records, under the
virtual target's deterministic clock) and TESTS ((name, test(options, work directory) -> problem or None)); 77: a
file's SKIP says why it can't run. Also the shared pieces: expected output, checks of the chip and files afterwards."""
import argparse
import difflib
import importlib.util
import os
import re
import subprocess
import sys
import tempfile
from collections import namedtuple
from types import SimpleNamespace

DATA = os.environ.get("ZINDLE_TEST_DATA", os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data"))
PP = "-p/dev/parport0"  # the fast ppdev emulation
HINT = "For short help type\n\tzindle -h"
BANNER = re.compile(r"\nzindle/Linux32  -  AVR controllers programmer[^\n]*\n"
                    r"v\d+(\.\d+)*[a-z]\d+ \([A-Z][a-z]{2} [ \d]\d \d{4} \d\d:\d\d:\d\d\)  \S+\n"
                    r"bug-reports, suggestions and so on mail to \S+@\S+\n")
M8, T13, NOT = "mega8|mega8A", "tiny13|tiny13A", "Chip not locked\n"
NAMES = {"mega8": M8, "tiny13": T13}
# Datasheet sizes: FLASH, EEPROM.
SIZES = {"mega8": (8192, 512), "tiny13": (1024, 64), "90S2313": (2048, 128), "mega2560": (262144, 4096)}
END_OK = "Total time T\nReset pin released\n"
END_FAIL = "\nReset pin released\n"  # the failure's empty line, then the release

def readout(osccal, *fuse_bytes):
    """A fuse printout: the calibration bytes, then per byte "NAME VALUE FIELD=VALUE..." its line and fields."""
    return "Fuses \n  OSCCAL%s\t= %s\n" % ("s" if " " in osccal else " ", osccal) + "".join(
        "_%s = 0x%s\n" % tuple(byte.split()[:2]) + "".join("  %-10s\t= %s\n" % tuple(f.split("="))
                                                         for f in byte.split()[2:]) for byte in fuse_bytes)


# The fuse read-outs of factory-new chips.
FUSES = {"mega8": readout("A6 AE AD AA", "LOCK FF BLB1=3 BLB0=3", "LOW E1 BODLEVEL=1 BODEN=1 SUT=2 CKSEL=1",
                          "HIGH D9 RSTDISBL=1 WDTON=1 CKOPT=1 EESAVE=1 BOOTSZ=0 BOOTRST=1"),
         "tiny13": readout("AE A4", "LOW 6A EESAVE=1 WDTON=1 CKDIV=0 SUT=2 CKSEL=2",
                           "HIGH FF SELFPRGEN=1 DWEN=1 BODLEVEL=3 RSTDISBL=1"),
         "90S2313": "",
         "mega2560": readout("9D", "LOCK FF BLB1=3 BLB0=3", "LOW 62 CKDIV=0 CKOUT=1 SUT=2 CKSEL=2",
                             "HIGH 99 OCDEN=1 JTAGEN=0 WDTON=1 EESAVE=1 BOOTSZ=0 BOOTRST=1", "EXT FF BODLEVEL=7")}


def data(name, mode="r"):
    return open(os.path.join(DATA, "hex", name), mode).read()


FLASH_BIN, EEPROM_BIN = data("small_flash.bin", "rb"), data("small_eeprom.bin", "rb")
FILES = {"prog.hex": data("small_flash.hex"), "prog.eep": data("small_eeprom.hex")}


def echo(*args):
    """The command echo; arguments holding a blank or a tab are quoted."""
    return "Command:\n " + "".join(' "%s"' % a if re.search("[ \t]", a) else " " + a for a in args) + "\n"


def detected(name):
    return "Device connected, %s detected\n" % name


def op(title, count=0, step=512, result=""):
    """An operation line: title, a dot per `step` bytes, the result word, done."""
    return title + "\n" + "." * (count // step) + result + " done (T)\n"


def fuses(chip, **changes):
    """A chip's factory read-out with some field lines changed, e.g. EESAVE=0, or _LOW='0xE4'."""
    text = FUSES[chip]
    for name, value in changes.items():
        text = re.sub(r"(?m)^(%s = |  %-10s\t= )\S+$" % (name, name), r"\g<1>" + str(value), text)
    return text


def padded(content, size):
    return content + b"\xff" * (size - len(content))


def image(size, pieces, base=b""):
    memory = bytearray(padded(base, size))
    for address, content in pieces.items():
        memory[address:address + len(content)] = content
    return bytes(memory)


def make_hex(pieces):
    """Intel HEX of {address: bytes} as srec_cat writes it: 16-byte records, extended linear addresses."""
    with tempfile.TemporaryDirectory() as t:
        put(t, {"%d.bin" % n: content for n, content in enumerate(pieces.values())})
        inputs = sum(([os.path.join(t, "%d.bin" % n), "-binary", "-offset", str(a)] for n, a in enumerate(pieces)), [])
        return output(["srec_cat", *inputs, "-o", "-", "-intel", "-obs=16"], t)[1]


def normalise(text):
    """Times written as T; the parallel port's cycle warning of a fast machine left out."""
    text = re.sub(r"Warning: incredibly fast LPT found, [^\n]*\nCycle time forced to [^\n]*\n", "", text)
    text = re.sub(r" done \([^)\n]*\)", " done (T)", text)
    return re.sub(r"Total time [^\n]*\n", "Total time T\n", text)


def exact(expected):
    """The whole output, normalised; in `expected` <*> stands for any text in a line."""
    pattern = re.compile("[^\n]*".join(map(re.escape, expected.split("<*>"))), re.S)
    return lambda text: None if pattern.fullmatch(normalise(text)) else "".join(difflib.unified_diff(
        expected.splitlines(True), normalise(text).splitlines(True), "expected", "actual"))


def expect(*parts, absent=(), last=None):
    """Every part appears, in this order; no absent text appears; the trace ends with `last`."""
    pattern = re.compile(".*?".join(map(re.escape, parts)) + (r".*\d\.\d+ " + re.escape(last) + r"\Z" if last else ""),
                         re.S)
    return lambda text: None if pattern.search(text) and not any(a in text for a in absent) else \
        "expected in order %r, absent %r, last %r:\n%s" % (parts, absent, last, text)


# A run before the case's command in the same directory, on the same chip; args None: vtarget alone (--flash-in ...).
step = namedtuple("step", "args vtarget status", defaults=((), 0))


def case(name, args, status, stdout, files={}, vtarget=None, steps=(), state=False, check=None):
    """stdout: the exact text after the banner, or a check (None when right); files: written into the run directory;
    vtarget: run as vtarget OPTIONS -- zindle ARGS; state: each vtarget run of the case gets --state chip.state;
    check(workdir, run_vtarget): None when the chip and files are right afterwards."""
    return SimpleNamespace(**locals())


def prog(name, args, status, body, chip="mega8", ident=None, files=FILES, vtarget=(), steps=(), check=None, port=PP):
    """A programming run through ppdev on a saved chip: the whole output after the echo is `body`."""
    args = ["+" + chip, *args] + ([port] if port else [])
    return case(name, args, status, exact(echo(*args) + (ident or detected(NAMES.get(chip, chip))) + body),
                files=files, vtarget=["--chip", chip, *vtarget], state=True, steps=steps, check=check)


def chip_holds(flash=None, eeprom=None):
    """The chip's FLASH and EEPROM equal these whole images (None: not checked)."""
    def check(work, run_vtarget):
        run_vtarget("--flash-out", "flash.out", "--eeprom-out", "eeprom.out")
        for name, want in (("flash", flash), ("eeprom", eeprom)):
            have = open(os.path.join(work, name + ".out"), "rb").read()
            if want is not None and want != have:
                first = next((i for i, (a, b) in enumerate(zip(want, have)) if a != b), None)
                return "%s (%d bytes) differs from the expected %d first at %s" % (name, len(have), len(want), first)
    return check


def show_has(*texts):
    """vtarget --show prints these texts about the chip."""
    return lambda work, run_vtarget: next(("chip state lacks %r:\n%s" % (t, shown) for shown in [run_vtarget("--show")]
                                          for t in texts if t not in shown), None)


def file_is(name, content, hex_file=False):
    """The file holds `content`; a HEX file read by srec_cat holds exactly these bytes from address 0."""
    def check(work, run_vtarget):
        path = os.path.join(work, name)
        have = None if not os.path.exists(path) else subprocess.run(
            ["srec_cat", path, "-intel", "-o", "-", "-binary"], stdout=subprocess.PIPE, check=True).stdout \
            if hex_file else open(path).read()
        return None if have == content else "%s holds %r, expected %r" % (name, have[:64], content[:64])
    return check


def trace(work):
    """The virtual target's trace (run.trace) as lines of fields without the time stamp."""
    return [line.split()[1:] for line in open(os.path.join(work, "run.trace"))]


def sends(*instructions, in_a_row=True):
    """The chip received instructions beginning so in this order, one right after the other unless not in_a_row."""
    def check(work, run_vtarget):
        sent = "".join("\n" + " ".join(line[1:5]) for line in trace(work) if line[0] == "isp")
        pattern = (r"[^\n]*\n" if in_a_row else r".*\n").join(map(re.escape, instructions))
        return None if re.search("\n" + pattern, sent, re.S) else "instructions %s not sent" % (instructions,)
    return check


def all_of(*checks):
    return lambda work, run_vtarget: next(filter(None, (c(work, run_vtarget) for c in checks)), None)


def put(work, files):
    for name, content in files.items():
        with open(os.path.join(work, name), "wb" if isinstance(content, bytes) else "w") as f:
            f.write(content)


def output(command, cwd, timeout=120, **options):
    """(exit status, standard output and error) of a command run to its end."""
    done = subprocess.run(command, cwd=cwd, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=timeout, **options)
    return done.returncode, done.stdout.decode("latin-1")


def running(command, mark, **options):
    """Starts vtarget and reads its output up to `mark`: (process, output, pid of the program it started or None)."""
    proc, text, piece = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, **options), b"", 1
    while mark not in text and piece:
        piece = proc.stdout.read1(4096)
        text += piece
    try:
        with open("/proc/%d/task/%d/children" % (proc.pid, proc.pid)) as f:
            return proc, text, int(f.read().split()[0])
    except (OSError, IndexError):
        return proc, text, None


def run_case(c, o, work):
    """None when the case's command ends as expected, else what is wrong."""
    put(work, c.files)
    state = ["--state", os.path.join(work, "chip.state")] if c.state else []

    def run(command, status=None):
        done = subprocess.run(command, cwd=work, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=120)
        if status is not None and done.returncode != status:
            raise RuntimeError("%s: exit status %d, expected %d\n%s" % (" ".join(command[1:]), done.returncode, status,
                                                                       (done.stdout + done.stderr).decode("latin-1")))
        return done
    for s in c.steps:
        run([o.vtarget, "--deterministic", *state, *s.vtarget] + ([] if s.args is None else ["--", o.zindle, *s.args]),
            s.status)
    done = run([o.zindle] + c.args if c.vtarget is None else [o.vtarget, "--deterministic", *state, *c.vtarget, "--",
                                                             o.zindle, *c.args])
    checked = c.check and c.check(work, lambda *options: run([o.vtarget, *state, *options], 0).stdout.decode())
    text = done.stdout.decode("latin-1")
    banner = BANNER.match(text)
    text = text[banner.end():] if banner else text
    return "\n".join(filter(None, [
        None if done.returncode == c.status else "exit status %d, expected %d" % (done.returncode, c.status),
        None if banner else "no banner at the start of the output",
        c.stdout(text) if callable(c.stdout) else None if text == c.stdout else "output %r\nexpected %r" % (
            text, c.stdout),
        "wrote to standard error: %r" % done.stderr if done.stderr and c.vtarget is None else None, checked])) or None


def main(tests=(), *options):
    """Runs `tests` (a standalone script's, with its `options`) or those of the case files named; exits with 0 when
    all pass, 1 when any fails, 77 when a case file's SKIP says why it can't run."""
    parser = argparse.ArgumentParser()
    for option in ("--zindle", "--vtarget") + options:
        parser.add_argument(option, required=True, type=os.path.abspath)
    parser.add_argument("case_files", nargs="*")
    o, tests, results = parser.parse_args(), list(tests), []
    for path in o.case_files:
        found = importlib.util.spec_from_file_location(os.path.splitext(os.path.basename(path))[0], path)
        module = importlib.util.module_from_spec(found)
        found.loader.exec_module(module)
        if getattr(module, "SKIP", None):
            print(module.SKIP)
            sys.exit(77)
        tests += [("%s: zindle %s" % (c.name, " ".join(c.args)), lambda o, work, c=c: run_case(c, o, work))
                  for c in getattr(module, "CASES", [])] + getattr(module, "TESTS", [])
    for name, test in tests:
        with tempfile.TemporaryDirectory(prefix="zindle-e2e-") as work:
            try:
                results.append((name, test(o, work)))
            except Exception as e:  # a broken step or check is a failed test, not a crashed runner
                results.append((name, "%s: %s" % (type(e).__name__, e)))
    print("".join("FAIL  %s\n%s\n" % r if r[1] else "ok    %s\n" % r[0] for r in results)
          + "%d passed, %d failed" % (sum(not p for _, p in results), sum(bool(p) for _, p in results)))
    sys.exit(1 if not results or any(p for _, p in results) else 0)


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    main()
