#!/usr/bin/env python3
"""Whole programming runs on the virtual target, timed on its modelled clock.

    bench/programming_run_bench.py BUILD [--only TEXT]

Each run is zindle erasing, programming and verifying the whole FLASH of a
factory-new chip (mega8 8 KiB, mega328P 32 KiB, mega2560 256 KiB, every byte
different from 0xFF) under `vtarget --deterministic`, on the parallel port
(ppdev, 1 us per access) and on each FTDI chip, with the table's fixed write
delays (-ew -v) and with polling (-ewp -v). The chips run at their factory
1 MHz and zindle is told so (-o1MHz). The times are modelled: what the wire
and the chip would take, the same on any host, however loaded.

Beside each run stands the physical limit of the same job: every instruction
bit at the chip's fastest SCK (an SCK phase must last more than two clock
periods: 4 us per bit at 1 MHz), the page writes and the erase for their
datasheet times, and on USB one turn-around per read-back of 512 bytes; then
the ratio of the two. Erase is the time from the Chip Erase instruction to
the next event in the trace (zindle's erase wait; its identification of the
chip afterwards, a few reset pulses, is left out), program and verify are
zindle's own figures.
"""

import argparse
import os
import random
import re
import subprocess
import sys
import tempfile

# chip: (FLASH bytes, page bytes, datasheet page write ms, datasheet erase ms)
CHIPS = {
    "mega8": (8192, 64, 4.5, 9.0),
    "mega328P": (32768, 128, 2.6, 10.5),
    "mega2560": (262144, 256, 4.5, 9.0),
}
SCK_BIT_US = 4.0  # more than 2 + 2 clock periods at 1 MHz
# adapter label: (vtarget options, zindle options, USB turn-around in us or 0)
ADAPTERS = {
    "LPT ppdev": ([], ["-p/dev/parport0"], 0),
    "FT2232C/D": (["--ftdi", "ft2232c"], ["-aft2232"], 1000),
    "FT2232H": (["--ftdi", "ft2232h"], ["-aft2232h"], 125),
    "FT4232H": (["--ftdi", "ft4232h"], ["-aft4232h"], 125),
}
MODES = {"delays": ["-ew", "-v"], "-wp": ["-ewp", "-v"]}
SECONDS = {"s": 1.0, "ms": 1e-3, "us": 1e-6, "ns": 1e-9}


def image_hex(size, path):
    """Intel HEX of `size` pseudo-random bytes, none of them 0xFF (so every page is written)."""
    rng = random.Random(size)
    data = bytes(rng.randrange(255) for _ in range(size))
    lines, upper = [], -1
    for address in range(0, size, 32):
        if address >> 16 != upper:
            upper = address >> 16
            raw = bytes([2, 0, 0, 4, upper >> 8, upper & 0xFF])
            lines.append(":" + (raw + bytes([-sum(raw) & 0xFF])).hex().upper())
        chunk = data[address:address + 32]
        raw = bytes([len(chunk), address >> 8 & 0xFF, address & 0xFF, 0]) + chunk
        lines.append(":" + (raw + bytes([-sum(raw) & 0xFF])).hex().upper())
    lines.append(":00000001FF")
    with open(path, "w") as f:
        f.write("\n".join(lines) + "\n")


def seconds(text):
    m = re.fullmatch(r"([\d.]+)(s|ms|us|ns)", text)
    return float(m.group(1)) * SECONDS[m.group(2)]


def erase_seconds(trace):
    """From the Chip Erase instruction to the next event, in the trace."""
    with open(trace) as f:
        erase = None
        for line in f:
            stamp, event = line.split(None, 1)
            if erase is not None:
                return (float(stamp) - erase) * 1e-6
            if event.startswith("isp AC 80 00 00"):
                erase = float(stamp)
    raise RuntimeError("no chip erase in the trace")


def one_run(build, chip, adapter, mode, hex_path):
    vt_options, zindle_options, _ = ADAPTERS[adapter]
    with tempfile.TemporaryDirectory(prefix="zindle-bench-") as work:
        trace = os.path.join(work, "run.trace")
        command = [os.path.join(build, "sim", "vtarget"), "--deterministic", "--chip", chip, "--trace", trace]
        command += vt_options + ["--", os.path.join(build, "zindle"), "+" + chip, "-o1MHz"]
        command += MODES[mode] + zindle_options + [hex_path]
        done = subprocess.run(command, cwd=work, stdout=subprocess.PIPE, stdin=subprocess.DEVNULL)
        text = done.stdout.decode("latin-1")
        if done.returncode != 0:
            sys.exit("run failed (%d): %s\n%s" % (done.returncode, " ".join(command), text))
        program = seconds(re.search(r"Programming CODE memory\n\.* done \((\S+)\)", text).group(1))
        verify = seconds(re.search(r"Verifying CODE memory\n.*? done \((\S+)\)", text, re.S).group(1))
        return erase_seconds(trace), program, verify


def limit(chip, adapter):
    flash, page, page_ms, erase_ms = CHIPS[chip]
    pages = flash // page
    banks = (flash + 0x1FFFF) // 0x20000 if flash > 0x20000 else 0  # Load Extended Address once per 128 KB
    instructions = 1 + flash + pages + banks + flash  # erase; page loads, page writes; a read per byte
    turn_us = ADAPTERS[adapter][2]
    return (instructions * 32 * SCK_BIT_US * 1e-6 + pages * page_ms * 1e-3 + erase_ms * 1e-3
            + (flash // 512) * turn_us * 1e-6)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("--only", default="", help="run only the cases whose label holds this text")
    options = parser.parse_args()
    build = os.path.abspath(options.build)
    print("%-30s %8s %9s %9s %9s %9s %6s" % ("run (erase, program, verify)", "erase", "program", "verify", "total",
                                           "limit", "ratio"), flush=True)
    with tempfile.TemporaryDirectory(prefix="zindle-bench-images-") as images:
        for chip, (flash, _, _, _) in CHIPS.items():
            hex_path = os.path.join(images, chip + ".hex")
            image_hex(flash, hex_path)
            for adapter in ADAPTERS:
                for mode in MODES:
                    label = "%s %s, %s" % (chip, adapter, mode)
                    if options.only not in label:
                        continue
                    erase, program, verify = one_run(build, chip, adapter, mode, hex_path)
                    total, best = erase + program + verify, limit(chip, adapter)
                    print("%-30s %7.3fs %8.2fs %8.2fs %8.2fs %8.2fs %6.2f" % (
                        label, erase, program, verify, total, best, total / best), flush=True)


if __name__ == "__main__":
    main()
