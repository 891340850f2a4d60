#!/usr/bin/env python3
"""Whole programming runs on the virtual target, timed as they would be on hardware.

    bench/programming_run_bench.py BUILD [--repeat N]

Each run is zindle under `vtarget --realtime`, where every port access and USB
transfer takes its modelled time for real, so the times zindle prints are what
the wire and the chip would give. Reported per run: the times of programming
and verifying and the total, the best of N repetitions. Compare LPT (ppdev, 1 us
per access) with the FTDI chips, and fixed write delays with polling (-wp).
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile

DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "data", "hex")

# (label, vtarget options, zindle options)
RUNS = [
    ("mega8 LPT ppdev, delays", ["--chip", "mega8"], ["+mega8", "-ew", "-v", "-p/dev/parport0"]),
    ("mega8 LPT ppdev, -wp", ["--chip", "mega8"], ["+mega8", "-e", "-wp", "-v", "-p/dev/parport0"]),
    ("mega8 FT2232C/D, delays", ["--chip", "mega8", "--ftdi", "ft2232c"], ["+mega8", "-ew", "-v", "-aft2232"]),
    ("mega8 FT2232H, delays", ["--chip", "mega8", "--ftdi", "ft2232h"], ["+mega8", "-ew", "-v", "-aft2232h"]),
    ("mega8 FT2232H, -wp", ["--chip", "mega8", "--ftdi", "ft2232h"], ["+mega8", "-e", "-wp", "-v", "-aft2232h"]),
    ("mega8 FT4232H, -wp", ["--chip", "mega8", "--ftdi", "ft4232h"], ["+mega8", "-e", "-wp", "-v", "-aft4232h"]),
]

SECONDS = {"s": 1.0, "ms": 1e-3, "us": 1e-6, "ns": 1e-9}


def seconds(text):
    m = re.fullmatch(r"([\d.]+)(s|ms|us|ns)", text)
    return float(m.group(1)) * SECONDS[m.group(2)]


def one_run(build, vt_options, args):
    with tempfile.TemporaryDirectory(prefix="zindle-bench-") as work:
        command = [os.path.join(build, "sim", "vtarget"), "--realtime", "--state", os.path.join(work, "chip.state")]
        command += vt_options + ["--", os.path.join(build, "zindle")] + args
        command.append(os.path.join(DATA, "small_flash.hex"))
        done = subprocess.run(command, cwd=work, stdout=subprocess.PIPE, stdin=subprocess.DEVNULL)
        text = done.stdout.decode("latin-1")
        if done.returncode != 0:
            sys.exit("run failed (%d): %s\n%s" % (done.returncode, " ".join(args), text))
        program = re.search(r"Programming CODE memory\n\.* done \((\S+)\)", text)
        verify = re.search(r"Verifying CODE memory\n.*? done \((\S+)\)", text, re.S)
        total = re.search(r"Total time (\S+)", text)
        return seconds(program.group(1)), seconds(verify.group(1)), seconds(total.group(1))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("--repeat", type=int, default=3)
    options = parser.parse_args()
    options.build = os.path.abspath(options.build)
    print("%-28s %10s %10s %10s" % ("run (384-byte program)", "program", "verify", "total"), flush=True)
    for label, vt_options, args in RUNS:
        best = min((one_run(options.build, vt_options, args) for _ in range(options.repeat)), key=lambda r: r[2])
        print("%-28s %9.0fms %9.0fms %9.0fms" % ((label,) + tuple(t * 1000 for t in best)), flush=True)


if __name__ == "__main__":
    main()
