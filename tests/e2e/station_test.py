#!/usr/bin/env python3
"""station_test.py --zindle ZINDLE --vtarget VTARGET --station STATION --config-dir DIR: five boards (virtual targets
with the kaldo-key.cfg wiring, key pressed after 1 s) pass the station, which tells each verdict from the status."""
import shlex
import sys

sys.dont_write_bytecode = True
from zindle_e2e import DATA, EEPROM_BIN, main, os, output, put, subprocess  # noqa: E402

# vtarget options per board, and the verdict's start.
BOARDS = [("--chip mega8", "PASS board 1: serial number 1000"),
          ("--chip mega8 --fault no-answer", "FAIL board 2: no contact with the chip"),
          ("--chip tiny13", "FAIL board 3: wrong chip"),
          ("--chip mega8 --fault busy-longer=30", "FAIL board 4: the chip failed"),
          ("--chip mega8", "PASS board 5: serial number 1001")]


def check_line(o, work):
    """Runs the station over the boards; every zindle run is a new board."""
    with open(os.path.join(o.config_dir, "kaldo-key.cfg")) as f:  # the cable zindle is told about, as vtarget's map
        entries = [line.split("#")[0].split(";")[0].replace(" ", "").strip() for line in f]
    wiring = "map:" + ":".join(e for e in entries if e and not e.lower().startswith("name"))
    put(work, {"serial.txt": "1000\n", **{"board%d.options" % n: options for n, (options, _) in enumerate(BOARDS, 1)},
               # the ZINDLE command: the next board's vtarget around zindle
               "line": '#!/bin/sh\nn=$(( $(cat count 2>/dev/null || echo 0) + 1 )); echo $n > count\n'
                       'exec %s --state board$n.state --wiring %s --key 1000 $(cat board$n.options) -- %s "$@"\n'
                       % (shlex.quote(o.vtarget), shlex.quote(wiring), shlex.quote(o.zindle))})
    os.chmod(os.path.join(work, "line"), 0o755)
    status, out = output([o.station, "-n", "5", "mega8"] + [os.path.join(DATA, "hex", name) for name in (
        "small_flash.hex", "small_eeprom.hex")], work, 300, env=dict(
        os.environ, ZINDLE=os.path.join(work, "line"), ZINDLE_CONFIG_PATH=o.config_dir, STATION_PORT="-p/dev/parport0"))
    serial = open(os.path.join(work, "serial.txt")).read()
    verdicts = [line for line in out.splitlines() if line.split(" ")[0] in ("PASS", "FAIL", "STOP")]
    problems = [] if status == 0 and len(verdicts) == 5 and out.splitlines()[-1] == "2 passed, 3 failed" and \
        serial == "1002\n" and all(v.startswith(expected) for (_, expected), v in zip(BOARDS, verdicts)) else \
        ["station ended with %d, serial file %r:\n%s" % (status, serial, out)]
    for n, number in ((1, 1000), (5, 1001)):  # the number, little-endian, at EEPROM 0x12
        subprocess.run([o.vtarget, "--state", "board%d.state" % n, "--eeprom-out", "eeprom.bin"], cwd=work, check=True)
        if open(os.path.join(work, "eeprom.bin"), "rb").read()[:len(EEPROM_BIN)] != \
                EEPROM_BIN[:0x12] + number.to_bytes(4, "little") + EEPROM_BIN[0x16:]:
            problems.append("board %d's EEPROM does not hold the image with serial number %d" % (n, number))
    return "\n".join(problems) or None


if __name__ == "__main__":
    main([("a line of five boards", check_line)], "--station", "--config-dir")
