# Write polling end to end: with -wp a write ends when the chip reports it
# done, so on a chip whose real write time is shorter than the table's delay
# (here stretched with -5) programming takes a fraction of the fixed-delay
# run; a chip slower than four times its delay ends the run with the poll
# timeout message. The polls themselves are counted in the virtual target's
# trace.
import os
import re

from programming_e2e import (END_FAIL, END_OK, FUSES, PP, chip_holds, command, data, detected, exact, op, padded)
from zindle_e2e import case

FLASH_BIN, EEPROM_BIN = data("small_flash.bin", "rb"), data("small_eeprom.bin", "rb")
FILES = {"prog.hex": data("small_flash.hex"), "prog.eep": data("small_eeprom.hex")}
T13, M8 = "tiny13|tiny13A", "mega8|mega8A"
WRITES = sum(b != 0xFF for b in EEPROM_BIN)  # 0xFF is not written on an erased chip
UNITS = {"us": 1e-3, "ms": 1.0, "s": 1e3, "min": 6e4}
programming_ms = {}  # case label -> how long "Programming DATA memory" took


def trace(work):
    """The trace's lines as fields without the time stamp; the repeat count of an instruction ("x5") left out."""
    with open(os.path.join(work, "run.trace")) as f:
        return [[w for w in line.split()[1:] if not re.fullmatch(r"x\d+", w)] for line in f]


def eeprom_run(label, letters, compare_with=None):
    """tiny13 EEPROM written with RDY/BSY polling or fixed delays, the delays stretched five times."""
    args = ["+tiny13", letters, "-5", PP, "-d", "prog.eep"]
    expected = exact(command(*args) + detected(T13) + "Chip not locked\nDevice erased\n" + detected(T13)
                     + FUSES["tiny13"] + op("Programming DATA memory") + END_OK)

    def stdout(text):
        problem = expected(text)
        if problem:
            return problem
        number, unit = re.search(r"Programming DATA memory\n done \(([\d.]+)(\w+)\)", text).groups()
        programming_ms[label] = float(number) * UNITS[unit]
        if compare_with and not programming_ms[label] < programming_ms[compare_with] / 2:
            return "polling took %g ms, fixed delays %g ms" % (programming_ms[label], programming_ms[compare_with])
        return None

    def polls(work, run_vtarget):
        lines = [l for l in trace(work) if l[0] == "isp"]
        writes = [i for i, l in enumerate(lines) if l[1] == "C0"]
        if len(writes) != WRITES:
            return "%d EEPROM writes, expected %d" % (len(writes), WRITES)
        for start, end in zip(writes, writes[1:] + [len(lines)]):
            between = [l for l in lines[start + 1:end] if l[1] == "F0"]
            if compare_with is None and between:
                return "RDY/BSY polls without -wp"
            if compare_with is not None and (not between or between[-1][-1] != "FE" or
                                              any(l[-1] != "FF" for l in between[:-1])):
                return "write %s not followed by busy polls ending ready: %s" % (lines[start], between)
        return chip_holds(eeprom=padded(EEPROM_BIN, 64))(work, run_vtarget)

    return case("EEPROM with %s" % label, args, 0, stdout, files=FILES,
                vtarget=["--chip", "tiny13", "--trace", "run.trace"], vtarget_state="chip.state", check=polls)


def page_polls(work, run_vtarget):
    """Data polling: every page write is followed by reads that answer 0xFF while the chip is busy,
    until the polled byte is there."""
    lines = [l for l in trace(work) if l[0] == "isp"]
    pages = [i for i, l in enumerate(lines) if l[1] == "4C"]
    if len(pages) != (len(FLASH_BIN) + 63) // 64:
        return "%d page writes" % len(pages)
    for start in pages:
        reads = []  # the reads of one location right after the page write
        for l in lines[start + 1:]:
            if l[1] not in ("20", "28") or reads and l[1:4] != reads[0][1:4]:
                break
            reads.append(l)
        if not reads or reads[-1][-1] == "FF" or any(l[-1] != "FF" for l in reads[:-1]):
            return "page write %s followed by %s" % (" ".join(lines[start]), reads[:4])
    return chip_holds(padded(FLASH_BIN, 8192))(work, run_vtarget)


SLOW_PAGES = ["+mega8", "-ewp", PP, "prog.hex"]
SLOW_BYTES = ["+tiny13", "-ewp", PP, "-d", "prog.eep"]
FIRST = next(a for a, b in enumerate(EEPROM_BIN) if b != 0xFF)

CASES = [
    eeprom_run("fixed delays", "-ew"),
    eeprom_run("RDY/BSY polling", "-ewp", compare_with="fixed delays"),
    case("FLASH pages with data polling", ["+mega8", "-ewp", "-v", PP, "prog.hex"], 0, exact(
        command("+mega8", "-ewp", "-v", PP, "prog.hex") + detected(M8) + "Chip not locked\nDevice erased\n"
        + detected(M8) + FUSES["mega8"] + op("Programming CODE memory") + op("Verifying CODE memory", result=" passed\n")
        + END_OK), files=FILES, vtarget=["--chip", "mega8", "--trace", "run.trace"], vtarget_state="chip.state",
        check=page_polls),
    case("page write slower than four delays", SLOW_PAGES, 10, exact(
        command(*SLOW_PAGES) + detected(M8) + "Chip not locked\nDevice erased\n" + detected(M8) + FUSES["mega8"]
        + "Programming CODE memory\nPoll: can't write page at 0x0\n" + END_FAIL),
        files=FILES, vtarget=["--chip", "mega8", "--fault", "busy-longer=40"]),
    case("byte write slower than four delays", SLOW_BYTES, 10, exact(
        command(*SLOW_BYTES) + detected(T13) + "Chip not locked\nDevice erased\n" + detected(T13) + FUSES["tiny13"]
        + "Programming DATA memory\nPoll: can't write byte to DATA memory at 0x%X\n" % FIRST + END_FAIL),
        files=FILES, vtarget=["--chip", "tiny13", "--fault", "busy-longer=40"]),
]
