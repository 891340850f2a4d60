#!/usr/bin/env python3
"""Gang programming (examples/gang-program) on a virtual target with one chip per channel.

    gang_test.py --zindle ZINDLE --vtarget VTARGET --gang GANG_PROGRAM

Four mega328P boards at once, each run by its own zindle process under one
vtarget: an FT4232H's two MPSSE channels and an FT2232H's two; then two
FT2232H channels and two parallel ports with a board that does not answer and
one whose writes never end; then a missing HEX file. Each chip's FLASH must
hold the image with its own serial number (four bytes, little-endian, at
0xFF0), a board that does not answer must stay blank, the failed boards'
numbers must be reported unused (those after the last good board back in the
file), the file must hold the next unused number, and the exit status must be
0 or the highest of zindle's statuses. Last, two zindle processes on one FTDI
channel and on one parallel port: the second gets the bus's answer while the
first holds the channel (it waits for its serial number from a FIFO; a
verify-only run of the blank chip, status 10).
"""

import argparse
import os
import random
import subprocess
import sys
import tempfile

SIZE = 4096                 # the image: every byte written and verified
SERIAL_AT = 0xFF0
FT4232H_2232H = (["--ftdi", "ft4232h", "--ftdi", "ft2232h"],
                 [("ft4232h:A", "-aft4232h -ps=VT000001A"), ("ft4232h:B", "-aft4232h -ps=VT000001B"),
                  ("ft2232h:A", "-aft2232h -ps=VT000002A"), ("ft2232h:B", "-aft2232h -ps=VT000002B")])
FT2232H_LPT = (["--ftdi", "ft2232h", "--ftdi", "ft2232h"],
               [("ft2232h:A", "-aft2232h -ps=VT000001A"), ("ft2232h#2:B", "-aft2232h -ps=VT000002B"),
                ("parport0", "-p/dev/parport0"), ("parport1", "-p/dev/parport1")])


def write_hex(data, path):
    with open(path, "w") as f:
        for address in range(0, len(data), 16):
            raw = bytes([16, address >> 8, address & 0xFF, 0]) + data[address:address + 16]
            f.write(":%s%02X\n" % (raw.hex().upper(), -sum(raw) & 0xFF))
        f.write(":00000001FF\n")


def flash(o, state):
    out = state + ".bin"
    subprocess.run([o.vtarget, "--state", state, "--flash-out", out], check=True)
    with open(out, "rb") as f:
        return f.read()


def gang(o, work, setup, faults, first, hex_file="prog.hex"):
    """Runs the gang over `setup`; `faults` maps a position index to a chip fault."""
    ftdi, positions = setup
    image = bytes(random.Random(first).randrange(255) for _ in range(SIZE))
    write_hex(image, os.path.join(work, "prog.hex"))
    with open(os.path.join(work, "serial.txt"), "w") as f:
        f.write("%d\n" % first)
    command = [o.vtarget, "--deterministic"] + ftdi
    for n, (where, _) in enumerate(positions):
        command += ["--chip-at", "%s=mega328p,state=%d.state%s" % (where, n, faults.get(n, ""))]
    command += ["--", o.gang, "mega328p", hex_file, "--"] + [switches for _, switches in positions]
    env = dict(os.environ, ZINDLE=o.zindle, GANG_SERIAL="-c*SERNO4=%X" % SERIAL_AT)
    done = subprocess.run(command, cwd=work, env=env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=600)
    with open(os.path.join(work, "serial.txt")) as f:
        master = f.read()
    chips = [flash(o, os.path.join(work, "%d.state" % n)) for n in range(len(positions))]
    return done.returncode, done.stdout.decode("latin-1"), master, image, chips


def check_gang(o, setup, faults, expected_status, verdicts, master, hex_file="prog.hex"):
    problems = []
    with tempfile.TemporaryDirectory(prefix="zindle-gang-") as work:
        status, out, serial_file, image, chips = gang(o, work, setup, faults, 1000, hex_file)
        lines = out.splitlines()
        if status != expected_status or lines != verdicts or serial_file != master:
            problems.append("status %d, serial file %r:\n%s" % (status, serial_file, out))
        for n, (chip, verdict) in enumerate(zip(chips, verdicts)):
            if " PASS " in verdict:
                number = 1000 + n
                expected = image[:SERIAL_AT] + number.to_bytes(4, "little") + image[SERIAL_AT + 4:]
                if chip[:SIZE] != expected or chip[SIZE:] != b"\xff" * (len(chip) - SIZE):
                    problems.append("position %d: FLASH does not hold the image with serial number %d" % (n + 1,
                                                                                                          number))
            elif "status 40" in verdict and chip != b"\xff" * len(chip):
                problems.append("position %d did not answer but its FLASH was written" % (n + 1))
    return problems


def four_boards(o):
    verdicts = ["POSITION %d PASS serial number %d" % (n, 999 + n) for n in range(1, 5)]
    return check_gang(o, FT4232H_2232H, {}, 0, verdicts + ["4 passed, 0 failed"], "1004\n")


def two_boards_fail(o):
    """The second board's number is a gap; the fourth's goes back into the file."""
    verdicts = ["POSITION 1 PASS serial number 1000",
                "POSITION 2 FAIL status 40, no contact with the chip; serial number 1001 not used",
                "POSITION 3 PASS serial number 1002",
                "POSITION 4 FAIL status 10, the chip failed (erase, write, verify); serial number 1003 not used, "
                "back in serial.txt",
                "2 passed, 2 failed"]
    return check_gang(o, FT2232H_LPT, {1: ",fault=no-answer", 3: ",fault=busy-longer=30"}, 40, verdicts, "1003\n")


def setup_error(o):
    """A missing HEX file fails every board and uses up no number."""
    message = "status 70, setup error (adapter, port, permissions or files)"
    verdicts = ["POSITION %d FAIL %s; serial number %d not used, back in serial.txt" % (n, message, 999 + n)
                for n in range(1, 5)]
    return check_gang(o, FT4232H_2232H, {}, 70, verdicts + ["0 passed, 4 failed"], "1000\n", "missing.hex")


def one_channel_twice(o):
    """The first zindle holds each channel while it waits to read its serial number from a FIFO."""
    script = r'''
mkfifo ftdi.sn lpt.sn
for k in ftdi lpt; do
  if [ $k = ftdi ]; then channel="-aft2232h -ps=VT000001A"; else channel=-p/dev/parport0; fi
  $ZINDLE +mega328p $channel -v "-c*SERNO4=10,$k.sn" prog.hex > $k.first 2>&1 &
  exec 3> $k.sn      # opens once the first has the channel and reads the FIFO
  $ZINDLE +mega328p $channel -v prog.hex > $k.second 2>&1
  echo "$k second $?"
  echo 7 >&3; exec 3>&-
  wait $!; echo "$k first $?"
done
'''
    with tempfile.TemporaryDirectory(prefix="zindle-gang-") as work:
        write_hex(bytes(range(256)) * 2, os.path.join(work, "prog.hex"))
        done = subprocess.run([o.vtarget, "--deterministic", "--ftdi", "ft2232h", "--chip-at",
                               "ft2232h:A=mega328p", "--chip-at", "parport0=mega328p", "--", "sh", "-c", script],
                              cwd=work, env=dict(os.environ, ZINDLE=o.zindle), stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300)
        out = done.stdout.decode("latin-1")
        seconds = {k: open(os.path.join(work, k + ".second"), encoding="latin-1").read() for k in ("ftdi", "lpt")}
    problems = []
    if out.split("\n") != ["ftdi second 70", "ftdi first 10", "lpt second 70", "lpt first 10", ""]:
        problems.append("statuses:\n" + out)
    if "Can't open FTDI device with serial number \"VT000001A\" (FT_DEVICE_NOT_OPENED)\n" not in seconds["ftdi"]:
        problems.append("second process on the FTDI channel:\n" + seconds["ftdi"])
    if "Can't claim parport device `/dev/parport0'\n" not in seconds["lpt"]:
        problems.append("second process on the parallel port:\n" + seconds["lpt"])
    return problems


def main():
    parser = argparse.ArgumentParser()
    for option in ("--zindle", "--vtarget", "--gang"):
        parser.add_argument(option, required=True)
    o = parser.parse_args()
    for name, value in vars(o).items():
        setattr(o, name, os.path.abspath(value))
    failed = 0
    for name, check in (("four boards on an FT4232H and an FT2232H", four_boards),
                        ("two of four boards fail", two_boards_fail),
                        ("a setup error", setup_error),
                        ("two processes on one channel", one_channel_twice)):
        problems = check(o)
        failed += bool(problems)
        print("%s  %s%s" % ("FAIL" if problems else "ok  ", name, "".join("\n" + p for p in problems)))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
