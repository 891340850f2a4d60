# Write polling: with -wp a write ends when the chip reports it done, so on a chip faster than the table's delay
# (here stretched with -5) programming takes a fraction of the fixed-delay run; a chip slower than four delays ends
# the run with the poll timeout message. The polls themselves are counted in the virtual target's trace.
from zindle_e2e import *  # noqa: F401,F403

UNITS = {"us": 1e-3, "ms": 1.0, "s": 1e3, "min": 6e4}
TAKES = {}  # polling or not -> how long "Programming DATA memory" took, in ms
ERASED = "Chip not locked\nDevice erased\n"


def polls(write, count, polling, chip_check):
    """`count` writes (instruction byte `write`), each followed by repeats of one reading instruction (polls) that
    answer 0xFF while the chip is busy and end with another answer; none without polling."""
    def check(work, run_vtarget):
        lines = [[w for w in line if not re.fullmatch(r"x\d+", w)] for line in trace(work) if line[0] == "isp"]
        writes = [i for i, line in enumerate(lines) if line[1] == write]
        for start in writes:
            reads = []
            for line in lines[start + 1:]:
                if line[1] not in ("F0", "20", "28") or reads and line[1:4] != reads[0][1:4]:
                    break
                reads.append(line)
            if bool(reads) != polling or reads and (reads[-1][-1] == "FF" or any(r[-1] != "FF" for r in reads[:-1])):
                return "write %s followed by %s" % (" ".join(lines[start]), reads[:4])
        return "%d writes, expected %d" % (len(writes), count) if len(writes) != count else chip_check(work, run_vtarget)
    return check


def timed(whole, polling):
    """The whole output; -wp programs the EEPROM in less than half the time of fixed delays."""
    def check(text):
        m = re.search(r"Programming DATA memory\n done \(([\d.]+)(\w+)\)", text)
        if whole(text) or not m:
            return whole(text) or "no programming time"
        TAKES[polling] = float(m.group(1)) * UNITS[m.group(2)]
        return None if not polling or TAKES[True] < TAKES[False] / 2 else \
            "polling took %g ms, delays %g ms" % (TAKES[True], TAKES[False])
    return check


CASES = [prog("EEPROM with " + letters, [letters, "-5", PP, "-d", "prog.eep"], 0, ERASED + detected(T13)
              + FUSES["tiny13"] + op("Programming DATA memory") + END_OK, chip="tiny13", port=None,
              vtarget=["--trace", "run.trace"], check=polls("C0", sum(b != 0xFF for b in EEPROM_BIN), "p" in letters,
                                                            chip_holds(eeprom=padded(EEPROM_BIN, 64))))
         for letters in ("-ew", "-ewp")]
for c in CASES:
    c.stdout = timed(c.stdout, "p" in c.args[1])
CASES += [
    prog("FLASH pages with data polling", ["-ewp", "-v", "prog.hex"], 0, ERASED + detected(M8) + FUSES["mega8"]
         + op("Programming CODE memory") + op("Verifying CODE memory", result=" passed\n") + END_OK,
         vtarget=["--trace", "run.trace"], check=polls("4C", (len(FLASH_BIN) + 63) // 64, True,
                                                       chip_holds(padded(FLASH_BIN, 8192)))),
    prog("byte write slower than four delays", ["-ewp", "-d", "prog.eep"], 10, ERASED + detected(T13) + FUSES["tiny13"]
         + "Programming DATA memory\nPoll: can't write byte to DATA memory at 0x%X\n" % next(
             a for a, b in enumerate(EEPROM_BIN) if b != 0xFF) + END_FAIL, chip="tiny13",
         vtarget=["--fault", "busy-longer=40"]),
]
