# Write polling: with -wp a write ends when the chip reports it done, so on a chip faster than the table's delay
# (here stretched with -5) programming takes a fraction of the fixed-delay run; a chip slower than four delays ends
# the run with the poll timeout message. The polls themselves are counted in the virtual target's trace.
import re

from zindle_e2e import *  # noqa: F401,F403

UNITS = {"us": 1e-3, "ms": 1.0, "s": 1e3, "min": 6e4}
programming_ms = {}  # case label -> how long "Programming DATA memory" took
ERASED = "Chip not locked\nDevice erased\n"
FIRST = next(a for a, b in enumerate(EEPROM_BIN) if b != 0xFF)


def isp(work):
    """The instructions of the trace as fields, the repeat count ("x5") left out."""
    return [[w for w in line if not re.fullmatch(r"x\d+", w)] for line in trace(work) if line[0] == "isp"]


def eeprom_run(label, letters, compare_with=None):
    """tiny13 EEPROM written with RDY/BSY polling or fixed delays, the delays stretched five times."""
    run = prog("EEPROM with " + label, [letters, "-5", PP, "-d", "prog.eep"], 0, ERASED + detected(T13)
               + FUSES["tiny13"] + op("Programming DATA memory") + END_OK, chip="tiny13", port=None,
               vtarget=["--trace", "run.trace"])
    expected = run.stdout

    def stdout(text):
        if expected(text):
            return expected(text)
        number, unit = re.search(r"Programming DATA memory\n done \(([\d.]+)(\w+)\)", text).groups()
        programming_ms[label] = float(number) * UNITS[unit]
        if compare_with and not programming_ms[label] < programming_ms[compare_with] / 2:
            return "polling took %g ms, fixed delays %g ms" % (programming_ms[label], programming_ms[compare_with])
        return None

    def polls(work, run_vtarget):
        lines = isp(work)
        writes = [i for i, line in enumerate(lines) if line[1] == "C0"]
        if len(writes) != sum(b != 0xFF for b in EEPROM_BIN):  # 0xFF is not written on an erased chip
            return "%d EEPROM writes" % len(writes)
        for start, end in zip(writes, writes[1:] + [len(lines)]):
            between = [line for line in lines[start + 1:end] if line[1] == "F0"]
            if compare_with is None and between:
                return "RDY/BSY polls without -wp"
            if compare_with and (not between or between[-1][-1] != "FE" or any(p[-1] != "FF" for p in between[:-1])):
                return "write %s not followed by busy polls ending ready: %s" % (lines[start], between)
        return chip_holds(eeprom=padded(EEPROM_BIN, 64))(work, run_vtarget)
    run.stdout, run.check = stdout, polls
    return run


def page_polls(work, run_vtarget):
    """Data polling: every page write is followed by reads that answer 0xFF while the chip is busy, until the
    polled byte is there."""
    lines = isp(work)
    pages = [i for i, line in enumerate(lines) if line[1] == "4C"]
    if len(pages) != (len(FLASH_BIN) + 63) // 64:
        return "%d page writes" % len(pages)
    for start in pages:
        reads = []  # the reads of one location right after the page write
        for line in lines[start + 1:]:
            if line[1] not in ("20", "28") or reads and line[1:4] != reads[0][1:4]:
                break
            reads.append(line)
        if not reads or reads[-1][-1] == "FF" or any(r[-1] != "FF" for r in reads[:-1]):
            return "page write %s followed by %s" % (" ".join(lines[start]), reads[:4])
    return chip_holds(padded(FLASH_BIN, 8192))(work, run_vtarget)


CASES = [
    eeprom_run("fixed delays", "-ew"),
    eeprom_run("RDY/BSY polling", "-ewp", compare_with="fixed delays"),
    prog("FLASH pages with data polling", ["-ewp", "-v", "prog.hex"], 0, ERASED + detected(M8) + FUSES["mega8"]
         + op("Programming CODE memory") + op("Verifying CODE memory", result=" passed\n") + END_OK,
         vtarget=["--trace", "run.trace"], check=page_polls),
    prog("page write slower than four delays", ["-ewp", "prog.hex"], 10, ERASED + detected(M8) + FUSES["mega8"]
         + "Programming CODE memory\nPoll: can't write page at 0x0\n" + END_FAIL, vtarget=["--fault", "busy-longer=40"]),
    prog("byte write slower than four delays", ["-ewp", "-d", "prog.eep"], 10, ERASED + detected(T13)
         + FUSES["tiny13"] + "Programming DATA memory\nPoll: can't write byte to DATA memory at 0x%X\n" % FIRST
         + END_FAIL, chip="tiny13", vtarget=["--fault", "busy-longer=40"]),
]
