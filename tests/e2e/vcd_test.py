#!/usr/bin/env python3
"""vcd_test.py --zindle ZINDLE --vtarget VTARGET: sigrok-cli's SPI decoder reads from a run's VCD exactly the bytes
its trace lists, both ways; the file is well-formed; recording does not change the run (77: no sigrok-cli)."""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from zindle_e2e import DATA, PP, report  # noqa: E402

HEX = os.path.join(DATA, "hex", "small_flash.hex")
ALL_LINES = ["sck", "mosi", "miso", "reset", "xtal", "power", "enable", "led_ok", "led_error", "key"]
INSTRUCTION = re.compile(r"\s*[0-9.]+ isp ((?:[0-9A-F]{2} ){4})-> ((?:[0-9A-F]{2} ?){4})(?: x(\d+))?$")


def trace_bytes(path):
    """The instruction bytes the trace lists: (to the chip, from the chip)."""
    mosi, miso = [], []
    for m in filter(None, map(INSTRUCTION.match, open(path))):
        mosi += [int(b, 16) for b in m.group(1).split()] * int(m.group(3) or 1)
        miso += [int(b, 16) for b in m.group(2).split()] * int(m.group(3) or 1)
    return mosi, miso


def decoded(vcd, line):
    """The bytes sigrok's SPI decoder (mode 0, no chip select) reads on one data line."""
    # compress: sigrok's VCD input would otherwise make one sample of every nanosecond.
    out = subprocess.run(["sigrok-cli", "-I", "vcd:compress=20", "-i", vcd, "-P",
                          "spi:clk=sck:%s=%s:cpol=0:cpha=0:bitorder=msb-first:wordsize=8" % (line, line),
                          "-A", "spi=%s-data" % line], stdout=subprocess.PIPE, check=True, universal_newlines=True)
    return [int(word, 16) for word in re.findall(r"^spi-1: ([0-9A-F]{2})$", out.stdout, re.M)]


def check_vcd(path, lines, released):
    """None when the file is a well-formed recording of `lines` (ending with RESET released), else what is wrong."""
    names, values, last_time, in_defs, dumps = {}, {}, -1, True, 0
    for number, line in enumerate(open(path), 1):
        word = line.split()
        if in_defs:
            if word[:3] == ["$var", "wire", "1"]:
                names[word[3]] = word[4]
            elif word[:1] == ["$enddefinitions"]:
                in_defs = False
                if sorted(names.values()) != sorted(lines):
                    return "wires %s, expected %s" % (sorted(names.values()), sorted(lines))
        elif line.startswith("#"):
            if int(line[1:]) <= last_time:
                return "line %d: time %s after %d" % (number, line.strip(), last_time)
            last_time = int(line[1:])
            if values.get("reset") == "1" and values.get("miso") != "z":
                return "line %d: MISO driven (%s) with RESET high" % (number, values.get("miso"))
        elif line[0] in "01xz" and line[1:].strip() in names:
            values[names[line[1:].strip()]] = line[0]
        elif word[0] == "$dumpvars":
            dumps += 1
            if dumps > 1:
                return "line %d: a second $dumpvars" % number
        elif word[0] != "$end":
            return "line %d: %r" % (number, line)
    if released and (values.get("reset") != "1" or values.get("miso") != "z"):
        return "at the end RESET %s, MISO %s (expected released, floating)" % (values.get("reset"), values.get("miso"))
    return None


def recorded(vtarget, work, name, options, program, plain_too):
    """None when a run under vtarget with a trace and a VCD is recorded right, else what is wrong."""
    def run(name, record):
        done = subprocess.run([vtarget, "--deterministic", "--chip", "mega8"] + options + record + [
            "--trace", os.path.join(work, name + ".trace"), "--"] + program, cwd=work, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=600)
        return done.returncode, done.stdout.decode("latin-1"), open(os.path.join(work, name + ".trace")).read()
    vcd = os.path.join(work, name + ".vcd")
    status, output, trace = run(name, ["--vcd", vcd])
    if status != 0:
        return "exit status %d\n%s" % (status, output)
    problem = check_vcd(vcd, ALL_LINES[:4] if "--vcd-lines" in options else ALL_LINES, "program" not in program)
    if problem:
        return problem
    mosi, miso = trace_bytes(os.path.join(work, name + ".trace"))
    got_mosi, got_miso = decoded(vcd, "mosi"), decoded(vcd, "miso")
    if not mosi or got_mosi != mosi or got_miso != miso:
        return "the decoder reads %d/%d bytes to/from the chip, the trace lists %d/%d" % (
            len(got_mosi), len(got_miso), len(mosi), len(miso))
    # The same run without a recording: same status, output and trace.
    return "output or trace differ with --vcd" if plain_too and run(name + "-plain", []) != (status, output, trace) \
        else None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--zindle", required=True)
    parser.add_argument("--vtarget", required=True)
    args = parser.parse_args()
    if not shutil.which("sigrok-cli"):
        print("sigrok-cli is not installed: skipped")
        return 77
    zindle, vtarget = os.path.abspath(args.zindle), os.path.abspath(args.vtarget)
    client = os.path.join(os.path.dirname(vtarget), "vt_lpt_client")
    runs = [
        ("zindle over ppdev", [], [zindle, "+mega8", "-ew", "-v", PP, HEX]),
        ("zindle over direct I/O", [], [zindle, "+mega8", "-ew", "-v", HEX]),
        ("zindle over an FT2232H, ISP lines only", ["--ftdi", "ft2232h", "--vcd-lines", "isp"],
         [zindle, "+mega8", "-aft2232h", "-ew", "-v", HEX]),
        ("the plain client programming a whole mega8 over ppdev", [], [client, "ppdev", "/dev/parport0", "program",
                                                                       "5"]),
        # Each program's clock starts at 0: the second continues the first one's recording.
        ("a script writing, then verifying in a second zindle", [],
         ["sh", "-c", '"$0" +mega8 -ew -p/dev/parport0 "$1" && "$0" +mega8 -v "$1"', zindle, HEX]),
    ]
    with tempfile.TemporaryDirectory() as work:
        return report([(what, recorded(vtarget, work, "run%d" % n, options, program, n == 0))
                       for n, (what, options, program) in enumerate(runs)])


if __name__ == "__main__":
    sys.exit(main())
