#!/usr/bin/env python3
"""Gang programming on the virtual target, timed on its modelled clock.

    bench/gang_bench.py BUILD

One, two and four factory-new mega328P chips, each on its own FT2232H MPSSE
channel (A and B of one or two FT2232H), and four of which two hang on
parallel ports (ppdev, 1 us per access), are erased, programmed with the full
32 KiB image (every byte different from 0xFF, a serial number at 0x7FFC) and
verified at once by examples/gang-program under `vtarget --deterministic`,
with the table's fixed write delays at the chips' factory 1 MHz (-o1MHz -ew
-v), as bench/programming_run_bench.py times a single chip.

Every zindle process runs on a modelled clock of its own, all starting
together; the station's time is the longest run's "Total time", the time per
chip that divided by the number of chips, the spread the longest run less the
shortest. The model takes the channels'
transfers as independent: each channel pays its own turn-arounds (125 us per
read-back on the H chips) and bulk time (25 ns a byte), and the shared
high-speed bus adds nothing. A chip's run is some 66,000 ISP instructions of
about a dozen bytes of MPSSE commands and answers each, under 1 MB; four
channels move about 0.3 MB/s, under 1 % of the 40 MB/s bulk rate, so waiting
for one another on the bus would change the figures by less than that. The physical
limit is that of one chip on an FT2232H (programming_run_bench.limit): the
chips work side by side, so a station cannot beat its slowest chip.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import programming_run_bench as single  # noqa: E402

FTDI = [("ft2232h:A", "-aft2232h -ps=VT000001A"), ("ft2232h:B", "-aft2232h -ps=VT000001B"),
        ("ft2232h#2:A", "-aft2232h -ps=VT000002A"), ("ft2232h#2:B", "-aft2232h -ps=VT000002B")]
MIXED = FTDI[:2] + [("parport0", "-p/dev/parport0"), ("parport1", "-p/dev/parport1")]
# label: the positions
STATIONS = [("1 chip at once", FTDI[:1]), ("2 chips at once", FTDI[:2]), ("4 chips at once", FTDI),
            ("4, two on LPT ppdev", MIXED)]


def station(build, gang, hex_path, positions):
    """Total times of the positions' runs, in seconds."""
    n = len(positions)
    with tempfile.TemporaryDirectory(prefix="zindle-gang-bench-") as work:
        with open(os.path.join(work, "serial.txt"), "w") as f:
            f.write("1000\n")
        command = [os.path.join(build, "sim", "vtarget"), "--deterministic"]
        command += ["--ftdi", "ft2232h"] * (2 if any(w.startswith("ft2232h#2") for w, _ in positions) else 1)
        for where, _ in positions:
            command += ["--chip-at", "%s=mega328p,state=%s.state" % (where, where.replace(":", "-"))]
        command += ["--", gang, "mega328p", hex_path, "--"] + [switches for _, switches in positions]
        env = dict(os.environ, ZINDLE=os.path.join(build, "zindle"), GANG_OPTIONS="-o1MHz -ew -v",
                   GANG_SERIAL="-c*SERNO4=7FFC")
        done = subprocess.run(command, cwd=work, env=env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)
        if done.returncode != 0:
            sys.exit("station of %d failed (%d):\n%s" % (n, done.returncode, done.stdout.decode("latin-1")))
        with open(os.path.join(work, "gang.log"), encoding="latin-1") as f:
            totals = [single.seconds(t) for t in re.findall(r"^Total time (\S+)$", f.read(), re.M)]
    if len(totals) != n:
        sys.exit("station of %d: %d runs in the log" % (n, len(totals)))
    return totals


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    build = os.path.abspath(parser.parse_args().build)
    gang = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "examples", "gang-program")
    best = single.limit("mega328P", "FT2232H")
    print("%-24s %10s %10s %10s %10s" % ("mega328P 32 KiB, FT2232H", "station", "per chip", "spread", "limit"))
    with tempfile.TemporaryDirectory(prefix="zindle-gang-bench-image-") as images:
        hex_path = os.path.join(images, "mega328P.hex")
        single.image_hex(32768, hex_path)
        for label, positions in STATIONS:
            totals = station(build, gang, hex_path, positions)
            n = len(positions)
            print("%-24s %9.2fs %9.2fs %9.2fs %9.2fs" % (label, max(totals), max(totals) / n,
                                                           max(totals) - min(totals), best), flush=True)


if __name__ == "__main__":
    main()
