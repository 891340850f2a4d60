#!/usr/bin/env python3
"""gang_test.py --zindle ZINDLE --vtarget VTARGET --gang GANG_PROGRAM: four mega328P boards at once, one zindle
per adapter channel; each chip holds the image with its own serial number, failed boards' numbers are not used."""
import random
import sys
from functools import partial

sys.dont_write_bytecode = True
from zindle_e2e import main, make_hex, os, output, put, subprocess  # noqa: E402

SIZE, SERIAL_AT = 4096, 0xFF0  # the image, every byte written and verified; where the serial number goes
IMAGE = bytes(random.Random(1000).randrange(255) for _ in range(SIZE))
FT4232H_2232H = (["--ftdi", "ft4232h", "--ftdi", "ft2232h"],
                 [("ft4232h:A", "-aft4232h -ps=VT000001A"), ("ft4232h:B", "-aft4232h -ps=VT000001B"),
                  ("ft2232h:A", "-aft2232h -ps=VT000002A"), ("ft2232h:B", "-aft2232h -ps=VT000002B")])
FT2232H_LPT = (["--ftdi", "ft2232h", "--ftdi", "ft2232h"],
               [("ft2232h:A", "-aft2232h -ps=VT000001A"), ("ft2232h#2:B", "-aft2232h -ps=VT000002B"),
                ("parport0", "-p/dev/parport0"), ("parport1", "-p/dev/parport1")])
UNUSED = "FAIL status %s; serial number %d not used"


def gang(setup, faults, expected_status, verdicts, serial_left, o, work):
    """Runs the gang over `setup` (`faults`: position index -> chip fault) from serial number 1000."""
    (ftdi, positions), problems = setup, []
    put(work, {"prog.hex": make_hex({0: IMAGE}), "serial.txt": "1000\n"})
    command = [o.vtarget, "--deterministic", *ftdi] + sum(
        (["--chip-at", "%s=mega328p,state=%d.state%s" % (where, n, faults.get(n, ""))]
         for n, (where, _) in enumerate(positions)), [])
    out = output(command + ["--", "sh", "-c", '"$0" "$@"; echo "status $?"', o.gang, "mega328p", "prog.hex", "--"]
                 + [switches for _, switches in positions], work, 600,
                 env=dict(os.environ, ZINDLE=o.zindle, GANG_SERIAL="-c*SERNO4=FF0"))[1]
    serial_file = open(os.path.join(work, "serial.txt")).read()
    if out.splitlines() != verdicts + ["status %d" % expected_status] or serial_file != serial_left:
        problems.append("serial file %r:\n%s" % (serial_file, out))
    for n, verdict in enumerate(verdicts[:-1]):
        subprocess.run([o.vtarget, "--state", "%d.state" % n, "--flash-out", "%d.bin" % n], cwd=work, check=True)
        chip = open(os.path.join(work, "%d.bin" % n), "rb").read()
        expected = IMAGE[:SERIAL_AT] + (1000 + n).to_bytes(4, "little") + IMAGE[SERIAL_AT + 4:]
        if " PASS " in verdict and chip != expected + b"\xff" * (len(chip) - SIZE):
            problems.append("position %d: FLASH does not hold the image with serial number %d" % (n + 1, 1000 + n))
        elif "status 40" in verdict and chip != b"\xff" * len(chip):
            problems.append("position %d did not answer but its FLASH was written" % (n + 1))
    return "\n".join(problems) or None


def one_channel_twice(o, work):
    """A second zindle on a channel the first holds (waiting on a FIFO for its serial number) gets the bus's refusal."""
    script = r'''mkfifo ftdi.sn lpt.sn
for k in ftdi lpt; do
  if [ $k = ftdi ]; then channel="-aft2232h -ps=VT000001A"; else channel=-p/dev/parport0; fi
  $ZINDLE +mega328p $channel -v "-c*SERNO4=10,$k.sn" prog.hex > $k.first 2>&1 &
  exec 3> $k.sn
  $ZINDLE +mega328p $channel -v prog.hex > $k.second 2>&1; s=$?; grep -qFf $k.expected $k.second; echo "$k second $s $?"
  echo 7 >&3; exec 3>&-
  wait $!; echo "$k first $?"
done'''
    put(work, {"prog.hex": make_hex({0: bytes(range(256)) * 2}), "lpt.expected": "Can't claim parport device `/dev/parport0'",
               "ftdi.expected": 'Can\'t open FTDI device with serial number "VT000001A" (FT_DEVICE_NOT_OPENED)'})
    out = output([o.vtarget, "--deterministic", "--ftdi", "ft2232h", "--chip-at", "ft2232h:A=mega328p", "--chip-at",
                  "parport0=mega328p", "--", "sh", "-c", script], work, env=dict(os.environ, ZINDLE=o.zindle))[1]
    # the second ends with 70 and the refusal; the first, verifying a blank chip, with 10
    expected = ["ftdi second 70 0", "ftdi first 10", "lpt second 70 0", "lpt first 10"]
    return None if out.splitlines() == expected else out


if __name__ == "__main__":
    main([("four boards on an FT4232H and an FT2232H", partial(gang, FT4232H_2232H, {}, 0, [
        "POSITION %d PASS serial number %d" % (n, 999 + n) for n in range(1, 5)] + ["4 passed, 0 failed"], "1004\n")),
          ("two of four boards fail", partial(gang, FT2232H_LPT, {1: ",fault=no-answer", 3: ",fault=busy-longer=30"},
                                              40, [
              "POSITION 1 PASS serial number 1000", "POSITION 2 " + UNUSED % ("40, no contact with the chip", 1001),
              "POSITION 3 PASS serial number 1002",
              "POSITION 4 " + UNUSED % ("10, the chip failed (erase, write, verify)", 1003) + ", back in serial.txt",
              "2 passed, 2 failed"], "1003\n")),
          ("two processes on one channel", one_channel_twice)], "--gang")
