#!/usr/bin/env python3
"""The production station script (examples/station), end to end on the virtual target.

    station_test.py --zindle ZINDLE --vtarget VTARGET --station STATION --config-dir DIR

A line of five boards passes the station: good, no contact, wrong chip, a chip
whose writes never end, good. Each board is a virtual target with the
kaldo-key.cfg wiring (taken from DIR) whose key is pressed 1 s after the
start. The station must tell each verdict from zindle's exit status, go on
after board failures, use serial numbers 1000 and 1001 for the two good boards
(stored in their EEPROM) and leave 1002 in the file. A second line with a
missing HEX file must stop the station at its first board with status 70 and
the serial number unchanged. Ends with the line "N passed, N failed".
"""

import argparse
import os
import shlex
import subprocess
import sys
import tempfile

DATA = os.environ.get("ZINDLE_TEST_DATA", os.path.join(os.path.dirname(__file__), "..", "data"))

# vtarget options per board: (chip, extra options, the verdict's start).
BOARDS = [("mega8", [], "PASS board 1: serial number 1000"),
          ("mega8", ["--fault", "no-answer"], "FAIL board 2: no contact with the chip"),
          ("tiny13", [], "FAIL board 3: wrong chip"),
          ("mega8", ["--fault", "busy-longer=30"], "FAIL board 4: the chip failed"),
          ("mega8", [], "PASS board 5: serial number 1001")]


def wiring(config_dir):
    """The entries of kaldo-key.cfg as vtarget's map: the cable zindle is told about."""
    entries = []
    with open(os.path.join(config_dir, "kaldo-key.cfg")) as f:
        for line in f:
            line = line.split("#")[0].split(";")[0].strip()
            if line and not line.lower().startswith("name"):
                entries.append(line.replace(" ", ""))
    return "map:" + ":".join(entries)


def station(o, work, hex_files, boards):
    """Runs the station over `boards`; every zindle run is one board, a virtual target of its own."""
    line = os.path.join(work, "line")
    with open(line, "w") as f:  # the ZINDLE command: the next board's vtarget around zindle
        f.write('#!/bin/sh\nn=$(( $(cat count 2>/dev/null || echo 0) + 1 )); echo $n > count\n'
                'exec %s --state board$n.state --wiring %s --key 1000 $(cat board$n.options) -- %s "$@"\n'
                % (shlex.quote(o.vtarget), shlex.quote(wiring(o.config_dir)), shlex.quote(o.zindle)))
    os.chmod(line, 0o755)
    for n, (chip, extra, _) in enumerate(boards, 1):
        with open(os.path.join(work, "board%d.options" % n), "w") as f:
            f.write(" ".join(["--chip", chip] + extra))
    env = dict(os.environ, ZINDLE=line, ZINDLE_CONFIG_PATH=o.config_dir, STATION_PORT="-p/dev/parport0")
    done = subprocess.run([o.station, "-n", str(len(boards)), "mega8"] + hex_files, cwd=work, env=env,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300)
    return done.returncode, done.stdout.decode("latin-1")


def eeprom(o, work, n):
    path = os.path.join(work, "eeprom%d.bin" % n)
    subprocess.run([o.vtarget, "--state", os.path.join(work, "board%d.state" % n), "--eeprom-out", path], check=True)
    with open(path, "rb") as f:
        return f.read()


def check_line(o):
    problems = []
    with tempfile.TemporaryDirectory(prefix="zindle-station-") as work:
        with open(os.path.join(work, "serial.txt"), "w") as f:
            f.write("1000\n")
        flash, data = (os.path.join(DATA, "hex", name) for name in ("small_flash.hex", "small_eeprom.hex"))
        status, out = station(o, work, [flash, data], BOARDS)
        verdicts = [line for line in out.splitlines() if line.split(" ")[0] in ("PASS", "FAIL", "STOP")]
        if status != 0 or len(verdicts) != 5 or out.splitlines()[-1] != "2 passed, 3 failed":
            problems.append("station ended with %d:\n%s" % (status, out))
        for (_, _, expected), verdict in zip(BOARDS, verdicts):
            if not verdict.startswith(expected):
                problems.append("expected %r, got %r" % (expected, verdict))
        with open(os.path.join(work, "serial.txt")) as f:
            if f.read() != "1002\n":
                problems.append("serial.txt should hold 1002")
        with open(os.path.join(DATA, "hex", "small_eeprom.bin"), "rb") as f:
            image = f.read()
        for n, number in ((1, 1000), (5, 1001)):  # the number, little-endian, at EEPROM 0x12
            expected = image[:0x12] + number.to_bytes(4, "little") + image[0x16:]
            if eeprom(o, work, n)[:len(image)] != expected:
                problems.append("board %d's EEPROM does not hold the image with serial number %d" % (n, number))
        with open(os.path.join(work, "station.log")) as f:
            if f.read().count("=== board") != 5:
                problems.append("station.log does not hold the five runs")
    return problems


def check_setup_error(o):
    with tempfile.TemporaryDirectory(prefix="zindle-station-") as work:
        with open(os.path.join(work, "serial.txt"), "w") as f:
            f.write("1000\n")
        status, out = station(o, work, ["missing.hex"], BOARDS[:2])
        with open(os.path.join(work, "serial.txt")) as f:
            serial = f.read()
    lines = out.splitlines()
    if status != 70 or "STOP: setup error" not in out or "Can't open file 'missing.hex'" not in out \
            or "Board 2" in out or lines[-1] != "0 passed, 0 failed" or serial != "1000\n":
        return ["a missing HEX file: status %d, serial %r:\n%s" % (status, serial, out)]
    return []


def main():
    parser = argparse.ArgumentParser()
    for option in ("--zindle", "--vtarget", "--station", "--config-dir"):
        parser.add_argument(option, required=True)
    o = parser.parse_args()
    for name, value in vars(o).items():
        setattr(o, name, os.path.abspath(value))
    passed = failed = 0
    for name, check in (("a line of five boards", check_line), ("a missing HEX file stops the station",
                                                                   check_setup_error)):
        problems = check(o)
        if problems:
            failed += 1
            print("FAIL  %s\n%s" % (name, "\n".join(problems)))
        else:
            passed += 1
            print("ok    %s" % name)
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
