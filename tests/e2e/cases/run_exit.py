# How a run ends on the adapter: after success the OK LED, after any failure
# the error LED, and in every case reset released, buffer disabled and power
# off, in that order (the virtual target's trace records the line changes and
# the levels at exit), also under every fault the virtual target can inject, on
# the parallel port and on each FTDI chip. Also the place of the lock bits
# around a fuse write.
import os

from programming_e2e import END_FAIL, END_OK, FUSES, PP, command, data, detected, exact, fuses, isp_sent, op
from zindle_e2e import case, expect as contains

M8 = "mega8|mega8A"
MAP = "mosi=D0:miso=BUSY:sck=D1:reset=D2:enable=~D7:led_ok=D3:led_error=D4:power=D5"
FILES = {"prog.hex": data("small_flash.hex")}
UP = "Adapter ''\nPower ON\nAdapter enabled\n"
DOWN_OK = "Total time T\nReset pin released\nAdapter disabled\nPower OFF\n"
DOWN_FAIL = "\nReset pin released\nAdapter disabled\nPower OFF\n"


def trace(work):
    with open(os.path.join(work, "run.trace")) as f:
        return [line.split()[1:] for line in f if " isp " not in line]


def ends_with(*events):
    """The last line changes are these, in this order, and the exit line shows them."""
    def check(work, run_vtarget):
        lines = trace(work)
        last = [" ".join(l) for l in lines[-len(events) - 1:-1]]
        if last != list(events):
            return "last line changes %s, expected %s" % (last, list(events))
        levels = dict(zip(lines[-1][1::2], lines[-1][2::2]))
        for event in events:
            signal, level = event.split()
            if levels.get(signal) != level:
                return "exit line %s" % " ".join(lines[-1])
        return None
    return check


OK_END = ends_with("led_ok high", "reset high", "enable low", "power low")
ERROR_END = ends_with("led_error high", "reset high", "enable low", "power low")
ERASED = "Device erased\n" + detected(M8) + FUSES["mega8"]

# Name, vtarget faults, switches, status, output between power-up and power-down, check.
ENDINGS = [
    ("success", [], ["-ew"], 0, detected(M8) + "Chip not locked\n" + ERASED + op("Programming CODE memory"), OK_END),
    ("unknown chip", ["--fault", "signature=1E9999"], ["-ew"], 30,
     "Device connected, but not recognised, ID: 0x1E9999\nChip not locked\nDevice erased\n"
     "Device connected, but not recognised, ID: 0x1E9999\nCan't continue\n", ERROR_END),
    ("no answer", ["--fault", "no-answer"], ["-ew"], 40, "Can't resync\n", ERROR_END),
    ("poll timeout", ["--fault", "busy-longer=40"], ["-ewp"], 10, detected(M8) + "Chip not locked\n" + ERASED
     + "Programming CODE memory\nPoll: can't write page at 0x0\n", ERROR_END),
]


def ending(name, faults, switches, status, body, check):
    args = ["+mega8", "-am:" + MAP, PP, *switches, "prog.hex"]
    return case("lines at exit: %s" % name, args, status, exact(
        command(*args) + UP + body + (DOWN_OK if status == 0 else DOWN_FAIL)), files=FILES,
        vtarget=["--wiring", "map:" + MAP, "--power", "adapter", "--trace", "run.trace", *faults], check=check)


def instruction_order(first, second):
    """In the trace, the instruction beginning `first` comes before the one beginning `second`."""
    def check(work, run_vtarget):
        isp = isp_sent(work)
        where = [next((i for i, l in enumerate(isp) if l.startswith(p)), None) for p in (first, second)]
        return None if None not in where and where[0] < where[1] else "order of %s and %s: %s" % (first, second, where)
    return check


# Every fault of the virtual target on the parallel port and on each FTDI chip:
# status, message, and the lines as the release leaves them.
# Fault, switches and files, status, message; the adapters it applies to.
CHIP = ("lpt", "ft2232c", "ft2232h", "ft4232h")
FAULTS = [
    ("no-answer", ["-ew", "prog.hex"], 40, "Can't resync\n", CHIP),
    ("out-of-step=2", [], 0, "Total time ", CHIP),
    ("lose-step=40", ["-ew", "prog.hex"], 40, "\nSynchronisation lost\n", CHIP),
    ("busy-longer=40", ["-ewp", "prog.hex"], 10, "Poll: can't write page at 0x0\n", CHIP),
    ("miso=1", [], 40, "Can't resync\n", CHIP),
    ("signature=1E9999", ["-ew", "prog.hex"], 30, "Can't continue\n", CHIP),
    ("locked", ["-w", "prog.hex"], 10, "Can't write to locked chip\n", CHIP),
    ("ppdev-release-error", [], 70, "Power OFF\nCan't release parport device", CHIP[:1]),
    ("usb-read-error=2", [], 70, "Can't read from FTDI chip (FT_IO_ERROR)\n", CHIP[1:]),
    ("usb-read-error=2", ["-az"], 70, "FT2232 left in MPSSE mode with programming pins configured as inputs\n",
     CHIP[1:]),
    ("usb-write-error=6", [], 70, "Can't write to FTDI chip (FT_IO_ERROR)\n", CHIP[1:]),
    ("usb-short-read=2", [], 70, "Can't read from FTDI chip\n", CHIP[1:]),
    ("usb-short-write=6", [], 70, "Can't write to FTDI chip\n", CHIP[1:]),
    ("missing-function=FT_Write", [], 70, "Can't get function 'FT_Write'", CHIP[1:]),
    ("no-ftdi", [], 70, "Can't open FTDI device with description", CHIP[1:]),
]
ADAPTER = {"lpt": ["-am:" + MAP, PP], "ft2232c": ["-aft2232"], "ft2232h": ["-aft2232h"], "ft4232h": ["-aft4232h"]}


def released(adapter, switches):
    """At exit reset is released (on the port also buffer and power off); a channel put into MPSSE
    mode has been given back to its reset mode, unless -az keeps it with the programming pins as inputs."""
    def check(work, run_vtarget):
        lines = trace(work)
        if not lines:
            return None  # the library was refused before anything was driven
        levels = dict(zip(lines[-1][1::2], lines[-1][2::2]))
        want = {"reset": "high"} if adapter != "lpt" else {"reset": "high", "enable": "low", "power": "low"}
        if any(levels.get(k) != v for k, v in want.items()):
            return "exit line %s" % " ".join(lines[-1])
        modes = [l[-1] for l in lines if l[-3:-1] == ["bit", "mode"]]
        if "-az" not in switches and modes and modes[-1] != "00":
            return "bit modes %s: the channel was not reset" % modes
        return None
    return check


def fault_end(fault, switches, status, message, adapter):
    args = ["+mega8", *ADAPTER[adapter], *switches]
    where = ["--wiring", "map:" + MAP, "--power", "adapter"] if adapter == "lpt" else ["--ftdi", adapter]
    return case("%s on %s %s" % (fault, adapter, " ".join(switches)), args, status, contains(message), files=FILES,
                vtarget=[*where, "--fault", fault, "--trace", "run.trace"], check=released(adapter, switches))


LOCK_FIRST = ["+mega8", "-l+2", "-w", "-fCKSEL=4", PP]
LOCK_LAST = ["+mega8", "-l2", "-w", "-fCKSEL=4", PP]
LOCKED = "Device locked to level 2!\n"

CASES = [ending(*row) for row in ENDINGS] + [
    fault_end(*row[:4], adapter) for row in FAULTS for adapter in row[4]] + [
    # The default adapter on the default port (LPT2 through direct I/O).
    case("default adapter after a failure", ["+mega8", "-ew", "prog.hex"], 30, exact(
        command("+mega8", "-ew", "prog.hex") + detected("mega16|mega16A") + "Chip not locked\n"
        + "Requested <mega8>, detected <mega16|mega16A>\nCan't continue\n" + END_FAIL), files=FILES,
        vtarget=["--chip", "mega16", "--trace", "run.trace"], check=ends_with("reset high")),
    # Locked first, the chip takes no more fuse changes: the read-back shows the old CKSEL.
    case("lock bits before the fuses", LOCK_FIRST, 0, exact(
        command(*LOCK_FIRST) + detected(M8) + "Chip not locked\n" + FUSES["mega8"] + LOCKED
        + "Programming fuses\n" + fuses("mega8", _LOCK="0xFC").replace("Fuses ", "New fuses value") + END_OK),
        vtarget=["--trace", "run.trace"], check=instruction_order("AC E0", "AC A0")),
    case("lock bits after the fuses", LOCK_LAST, 0, exact(
        command(*LOCK_LAST) + detected(M8) + "Chip not locked\n" + FUSES["mega8"] + "Programming fuses\n"
        + fuses("mega8", _LOW="0xE4", CKSEL=4).replace("Fuses ", "New fuses value") + LOCKED + END_OK),
        vtarget=["--trace", "run.trace"], check=instruction_order("AC A0", "AC E0")),
]
