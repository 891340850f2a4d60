# How a run ends: the OK LED after success, the error LED after any failure, then reset released, buffer disabled
# and power off in that order (as the trace records them), under the virtual target's faults, on the parallel port
# and on each FTDI chip. Also the place of the lock bits around a fuse write.
from zindle_e2e import *  # noqa: F401,F403

MAP = "mosi=D0:miso=BUSY:sck=D1:reset=D2:enable=~D7:led_ok=D3:led_error=D4:power=D5"
ADAPTER = {"lpt": ["-am:" + MAP, PP], "ft2232c": ["-aft2232"], "ft2232h": ["-aft2232h"], "ft4232h": ["-aft4232h"]}
LPT_LINES = ["--wiring", "map:" + MAP, "--power", "adapter"]
ERASED = "Device erased\n" + detected(M8) + FUSES["mega8"]
UP, DOWN = "Adapter ''\nPower ON\nAdapter enabled\n", "Reset pin released\nAdapter disabled\nPower OFF\n"


def released(switches, want, order=True):
    """At exit the last line changes are `want` in this order (unless not `order`) and the exit line shows them; a
    channel put into MPSSE mode has been given back to its reset mode, unless -az keeps its pins as inputs."""
    def check(work, run_vtarget):
        lines = [line for line in trace(work) if line[0] != "isp"]
        last = [" ".join(line) for line in lines[-len(want) - 1:-1]]
        if order and last != want:
            return "last line changes %s, expected %s" % (last, want)
        levels = dict(zip(lines[-1][1::2], lines[-1][2::2]))
        if any(levels.get(w.split()[0]) != w.split()[1] for w in want if "led" not in w):
            return "exit line %s" % " ".join(lines[-1])
        modes = [line[-1] for line in lines if line[-3:-1] == ["bit", "mode"]]
        if "-az" not in switches and modes and modes[-1] != "00":
            return "bit modes %s: the channel was not reset" % modes
    return check


def down(led):
    return [led + " high", "reset high", "enable low", "power low"]


CHIP = ("lpt", "ft2232c", "ft2232h", "ft4232h")
# Fault, switches, status, message; the adapters it applies to.
FAULTS = [
    ("no-answer", ["-ew", "prog.hex"], 40, "Can't resync\n", CHIP),
    ("out-of-step=2", [], 0, "Total time ", CHIP),
    ("lose-step=40", ["-ew", "prog.hex"], 40, "\nSynchronisation lost\n", CHIP),
    ("busy-longer=40", ["-ewp", "prog.hex"], 10, "Poll: can't write page at 0x0\n", CHIP),
    ("signature=1E9999", ["-ew", "prog.hex"], 30, "Can't continue\n", CHIP),
    ("locked", ["-w", "prog.hex"], 10, "Can't write to locked chip\n", CHIP),
    ("ppdev-release-error", [], 70, "Power OFF\nCan't release parport device", CHIP[:1]),
    ("usb-read-error=2", [], 70, "Can't read from FTDI chip (FT_IO_ERROR)\n", CHIP[1:]),
    ("usb-read-error=2", ["-az"], 70, "FT2232 left in MPSSE mode with programming pins configured as inputs\n",
     CHIP[1:]),
    ("usb-write-error=6", [], 70, "Can't write to FTDI chip (FT_IO_ERROR)\n", CHIP[1:]),
    ("usb-short-read=2", [], 70, "Can't read from FTDI chip\n", CHIP[1:]),
    ("usb-short-write=6", [], 70, "Can't write to FTDI chip\n", CHIP[1:]),
]
CASES = [case("%s on %s %s" % (fault, adapter, " ".join(switches)), ["+mega8", *ADAPTER[adapter], *switches],
              status, expect(message), files=FILES,
              vtarget=[*(LPT_LINES if adapter == "lpt" else ["--ftdi", adapter]), "--fault", fault, "--trace",
                       "run.trace"],
              check=released(switches, ["reset high"], False) if adapter != "lpt" else
              released(switches, down("led_error" if status else "led_ok"), "release" not in fault))
         for fault, switches, status, message, adapters in FAULTS for adapter in adapters]

LOCK_FIRST, LOCK_LAST = ["-l+2", "-w", "-fCKSEL=4"], ["-l2", "-w", "-fCKSEL=4"]
LOCKED = "Device locked to level 2!\n"
NEW = "New fuses value"


CASES += [
    # The whole output of a failed run with power, buffer and LEDs.
    prog("lines at exit: poll timeout", ["-am:" + MAP, PP, "-ewp", "prog.hex"], 10, NOT + ERASED
         + "Programming CODE memory\nPoll: can't write page at 0x0\n\n" + DOWN, ident=UP + detected(M8), port=None,
         vtarget=LPT_LINES + ["--trace", "run.trace", "--fault", "busy-longer=40"],
         check=released([], down("led_error"))),
    # Locked first, the chip takes no more fuse changes: the read-back shows the old CKSEL.
    prog("lock bits before the fuses", LOCK_FIRST, 0, NOT + FUSES["mega8"] + LOCKED + "Programming fuses\n"
         + fuses("mega8", _LOCK="0xFC").replace("Fuses ", NEW) + END_OK, vtarget=["--trace", "run.trace"],
         check=sends("AC E0", "AC A0", in_a_row=False)),
    prog("lock bits after the fuses", LOCK_LAST, 0, NOT + FUSES["mega8"] + "Programming fuses\n"
         + fuses("mega8", _LOW="0xE4", CKSEL=4).replace("Fuses ", NEW) + LOCKED + END_OK,
         vtarget=["--trace", "run.trace"], check=sends("AC A0", "AC E0", in_a_row=False)),
]
