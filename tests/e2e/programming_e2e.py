"""Shared pieces of the programming-run case files (cases/run_*.py).

The output of a run holds times (" done (...)", "Total time ...") and, on a
fast machine, the parallel port's cycle warning; `exact` compares everything
else byte for byte. The chip side is checked through the virtual target's
exports against the toolchain's raw images and the chips' datasheet sizes.
"""

import difflib
import os
import re

from zindle_e2e import echo

DATA = os.environ.get("ZINDLE_TEST_DATA", os.path.join(os.path.dirname(__file__), "..", "data"))
PP = "-p/dev/parport0"  # the fast ppdev emulation

# Datasheet sizes: FLASH, EEPROM.
SIZES = {"mega8": (8192, 512), "tiny13": (1024, 64), "90S2313": (2048, 128), "tiny2313": (2048, 128),
         "mega88": (8192, 512), "mega2560": (262144, 4096), "mega16": (16384, 512), "tiny12": (1024, 64)}


def data(name, mode="r"):
    with open(os.path.join(DATA, "hex", name), mode) as f:
        return f.read()


def normalise(text):
    text = re.sub(r"Warning: incredibly fast LPT found, min write cycle time [^\n]*\n"
                  r"Cycle time forced to [^\n]*\n", "", text)
    text = re.sub(r" done \([^)\n]*\)", " done (T)", text)
    return re.sub(r"Total time [^\n]*\n", "Total time T\n", text)


def exact(expected):
    """The whole output after the banner, times written as T; in `expected` <N> stands for any count
    and <*> for any text within a line."""
    parts = re.split(r"(<N>|<\*>)", expected)
    pattern = re.compile("".join({"<N>": r"\d+", "<*>": r"[^\n]*"}.get(p, re.escape(p)) for p in parts), re.S)

    def check(text):
        text = normalise(text)
        if pattern.fullmatch(text):
            return None
        return "".join(difflib.unified_diff(expected.splitlines(True), text.splitlines(True), "expected", "actual"))
    return check


def command(*args):
    return echo(*args)


def detected(name):
    return "Device connected, %s detected\n" % name


def dots(count, step):
    return "." * (count // step)


def op(title, count=0, step=512, result=""):
    """An operation line: title, a dot per `step` bytes, the result word, done."""
    return title + "\n" + dots(count, step) + result + " done (T)\n"


END_OK = "Total time T\nReset pin released\n"
END_FAIL = "\nReset pin released\n"  # the failure's empty line, then power-down

# The fuse read-outs of factory-new chips, "Fuses " then the calibration bytes and the fields.
FUSES = {
    "mega8": "Fuses \n  OSCCALs\t= A6 AE AD AA\n_LOCK = 0xFF\n  BLB1      \t= 3\n  BLB0      \t= 3\n"
             "_LOW = 0xE1\n  BODLEVEL  \t= 1\n  BODEN     \t= 1\n  SUT       \t= 2\n  CKSEL     \t= 1\n"
             "_HIGH = 0xD9\n  RSTDISBL  \t= 1\n  WDTON     \t= 1\n  CKOPT     \t= 1\n  EESAVE    \t= 1\n"
             "  BOOTSZ    \t= 0\n  BOOTRST   \t= 1\n",
    "tiny13": "Fuses \n  OSCCALs\t= AE A4\n_LOW = 0x6A\n  EESAVE    \t= 1\n  WDTON     \t= 1\n"
              "  CKDIV     \t= 0\n  SUT       \t= 2\n  CKSEL     \t= 2\n_HIGH = 0xFF\n  SELFPRGEN \t= 1\n"
              "  DWEN      \t= 1\n  BODLEVEL  \t= 3\n  RSTDISBL  \t= 1\n",
    "90S2313": "",
    "mega2560": "Fuses \n  OSCCAL \t= 9D\n_LOCK = 0xFF\n  BLB1      \t= 3\n  BLB0      \t= 3\n"
                "_LOW = 0x62\n  CKDIV     \t= 0\n  CKOUT     \t= 1\n  SUT       \t= 2\n  CKSEL     \t= 2\n"
                "_HIGH = 0x99\n  OCDEN     \t= 1\n  JTAGEN    \t= 0\n  WDTON     \t= 1\n  EESAVE    \t= 1\n"
                "  BOOTSZ    \t= 0\n  BOOTRST   \t= 1\n_EXT = 0xFF\n  BODLEVEL  \t= 7\n",
}


def fuses(chip, **changes):
    """A chip's factory read-out with some field lines changed, e.g. EESAVE=0, or _LOW='0xE4'."""
    text = FUSES[chip]
    for name, value in changes.items():
        if name.startswith("_"):
            text = re.sub(r"(?m)^%s = \S+$" % name, "%s = %s" % (name, value), text)
        else:
            text = re.sub(r"(?m)^(  %-10s\t= )\S+$" % name, r"\g<1>%X" % value, text)
    return text


def padded(content, size):
    return content + b"\xff" * (size - len(content))


def parse_hex(text):
    """An Intel HEX text as {address: byte}: data, extended segment and extended linear records."""
    memory, base = {}, 0
    for line in text.split():
        raw = bytes.fromhex(line[1:])
        if sum(raw) & 0xFF:
            raise ValueError("bad checksum: " + line)
        length, address, kind = raw[0], raw[1] << 8 | raw[2], raw[3]
        if kind == 0:
            for i, b in enumerate(raw[4:4 + length]):
                memory[base + address + i] = b
        elif kind == 2:
            base = (raw[4] << 8 | raw[5]) << 4
        elif kind == 4:
            base = (raw[4] << 8 | raw[5]) << 16
        elif kind == 1:
            break
    return memory


def make_hex(pieces):
    """Intel HEX with extended linear address records for {address: bytes}."""
    lines, upper = [], -1

    def record(kind, address, payload):
        raw = bytes([len(payload), address >> 8 & 0xFF, address & 0xFF, kind]) + payload
        lines.append(":" + (raw + bytes([-sum(raw) & 0xFF])).hex().upper())
    for start in sorted(pieces):
        content = pieces[start]
        for offset in range(0, len(content), 16):
            address = start + offset
            if address >> 16 != upper:
                upper = address >> 16
                record(4, 0, bytes([upper >> 8, upper & 0xFF]))
            record(0, address & 0xFFFF, content[offset:offset + 16])
    record(1, 0, b"")
    return "\n".join(lines) + "\n"


def memories(run_vtarget, work):
    """The chip's whole FLASH and EEPROM."""
    run_vtarget("--flash-out", "flash.out", "--eeprom-out", "eeprom.out")
    with open(os.path.join(work, "flash.out"), "rb") as f, open(os.path.join(work, "eeprom.out"), "rb") as g:
        return f.read(), g.read()


def chip_holds(flash=None, eeprom=None):
    """A check: the chip's FLASH and EEPROM equal these whole images (None: not checked)."""
    def check(work, run_vtarget):
        got = memories(run_vtarget, work)
        for name, want, have in (("FLASH", flash, got[0]), ("EEPROM", eeprom, got[1])):
            if want is None or want == have:
                continue
            if len(want) != len(have):
                return "%s holds %d bytes, expected %d" % (name, len(have), len(want))
            first = next(i for i in range(len(want)) if want[i] != have[i])
            return "%s differs first at 0x%X: %02X, expected %02X" % (name, first, have[first], want[first])
        return None
    return check


def isp_sent(work):
    """The bytes of every ISP instruction in the virtual target's trace (run.trace), in order."""
    with open(os.path.join(work, "run.trace")) as f:
        return [" ".join(line.split()[2:6]) for line in f if " isp " in line]


def sends(*instructions):
    """A check: the chip received these instructions one right after the other."""
    def check(work, run_vtarget):
        sent, n = isp_sent(work), len(instructions)
        if any(tuple(sent[i:i + n]) == instructions for i in range(len(sent))):
            return None
        return "instructions %s not sent in a row" % (instructions,)
    return check


def all_of(*checks):
    def check(work, run_vtarget):
        for c in checks:
            problem = c(work, run_vtarget)
            if problem is not None:
                return problem
        return None
    return check


def file_is(name, content):
    def check(work, run_vtarget):
        path = os.path.join(work, name)
        if not os.path.exists(path):
            return "no file %s" % name
        with open(path) as f:
            have = f.read()
        return None if have == content else "%s holds %r, expected %r" % (name, have, content)
    return check
