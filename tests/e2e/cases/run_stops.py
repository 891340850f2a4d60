# Every stop of the programming run on the virtual target, with the exact
# output and exit status: wrong and unknown chips with and without -!, each
# job on a chip locked at level 1 and 2, fuses that need an erase, blank
# checks that fail with and without -e- (the EEPROM save file), data that
# does not fit, verify failures of code, data and fuses and of a chip whose
# writes are slower than their delays. The chip is inspected afterwards.
from programming_e2e import (END_FAIL, END_OK, FUSES, PP, all_of, chip_holds, command, data, detected, exact,
                             fuses, make_hex, op, padded, parse_hex)
from zindle_e2e import case, step

M8 = "mega8|mega8A"
FLASH_BIN, EEPROM_BIN = data("small_flash.bin", "rb"), data("small_eeprom.bin", "rb")
FILES = {"prog.hex": data("small_flash.hex"), "prog.eep": data("small_eeprom.hex")}
NOT, L1, L2 = "Chip not locked\n", "Chip locked - programming disabled\n", "Chip locked - reading and programming disabled\n"
WRITE = step(["+mega8", "-ew", PP, "prog.hex"], ["--chip", "mega8"])
PROGRAMMED = chip_holds(padded(FLASH_BIN, 8192))
BLANK = chip_holds(b"\xff" * 8192, b"\xff" * 512)
UNKNOWN = "Device connected, but not recognised, ID: 0x1E9999\n"
ERRORS = sum(b != 0xFF for b in FLASH_BIN)


def show_has(*texts):
    def check(work, run_vtarget):
        shown = run_vtarget("--show")
        missing = [t for t in texts if t not in shown]
        return None if not missing else "chip state lacks %r:\n%s" % (missing, shown)
    return check


def hex_file_is(name, content):
    def check(work, run_vtarget):
        with open(work + "/" + name) as f:
            image = parse_hex(f.read())
        have = bytes(image.get(a, -1) & 0xFF for a in range(len(content)))
        return None if sorted(image) == list(range(len(content))) and have == content else "%s differs" % name
    return check


def mega8(name, args, status, body, steps=(), vtarget=("--chip", "mega8"), files=FILES, check=None,
          identified=detected(M8)):
    args = ["+mega8", *args, PP]
    return case(name, args, status, exact(command(*args) + identified + body), files=files,
                vtarget=list(vtarget), vtarget_state="chip.state", steps=list(steps), check=check)


WRITE_REFUSED = "Can't write to locked chip\n" + END_FAIL
READ_REFUSED = "Can't read (blank check, verify) fully locked chip\n" + END_FAIL
ERASE_AND_WRITE = "Device erased\n" + detected(M8) + FUSES["mega8"] + op("Programming CODE memory") + END_OK

# Lock level, job, status, what follows the lock state line, check of the chip.
LOCKED = [
    (1, ["-w", "prog.hex"], 10, WRITE_REFUSED, PROGRAMMED),
    (1, ["-v", "prog.hex"], 0, fuses("mega8", _LOCK="0xFE") + op("Verifying CODE memory", result=" passed\n")
     + END_OK, None),
    (1, ["-r", "-c", "read.hex"], 0, fuses("mega8", _LOCK="0xFE") + op("Reading CODE memory", 8192) + END_OK,
     hex_file_is("read.hex", padded(FLASH_BIN, 8192))),
    (1, ["-bc"], 10, fuses("mega8", _LOCK="0xFE") + "Blank check\nCode:  done (T)\nCode not blank\n" + END_FAIL,
     None),
    (1, ["-w", "-f_LOW=E4"], 10, WRITE_REFUSED, show_has("fuses: low E1 high D9")),
    (1, ["-ew", "prog.hex"], 0, ERASE_AND_WRITE, all_of(PROGRAMMED, show_has("lock: FF"))),
    (1, ["-l2"], 0, fuses("mega8", _LOCK="0xFE") + "Device locked to level 2!\n" + END_OK, show_has("lock: FC")),
    (2, ["-w", "prog.hex"], 10, WRITE_REFUSED, None),
    (2, ["-v", "prog.hex"], 10, READ_REFUSED, None),
    (2, ["-r", "-c", "read.hex"], 10, READ_REFUSED, None),
    (2, ["-r", "-!", "-c", "read.hex"], 0, fuses("mega8", _LOCK="0xFC") + op("Reading CODE memory", 8192) + END_OK,
     None),
    (2, ["-b"], 10, READ_REFUSED, None),
    (2, ["-ew", "prog.hex"], 0, ERASE_AND_WRITE, all_of(PROGRAMMED, show_has("lock: FF"))),
    (2, ["-l1"], 0, fuses("mega8", _LOCK="0xFC")
     + "Warning: device already locked to level 2, can't change lock level!\n" + END_OK, show_has("lock: FC")),
]

CASES = [
    mega8("locked at level %d: %s" % (level, " ".join(job)), job, status, (L1 if level == 1 else L2) + body,
          steps=[WRITE, step(["+mega8", "-l%d" % level, PP])], check=check)
    for level, job, status, body, check in LOCKED
]

TINY12 = ["+tiny12", "-w", "-v", "-fCKSEL=4", PP]
TINY12_FUSES = "  OSCCAL \t= 93\n_LOW = 0x5%d\n  BODLEVEL  \t= 0\n  BODEN     \t= 1\n  SPIEN     \t= 0\n" \
               "  RSTDISBL  \t= 1\n  CKSEL     \t= %d\n"
ONE_DIFFERENCE = bytearray(padded(FLASH_BIN, 8192))
ONE_DIFFERENCE[0x100] ^= 0x01
SPLIT = FLASH_BIN + b"\x00" * (1024 - len(FLASH_BIN))  # a tiny13 FLASH full, then EEPROM data behind it

CASES += [
    # A chip type that takes fuse writes while locked.
    case("locked tiny12 takes a fuse write", TINY12, 0, exact(
        command(*TINY12) + detected("tiny12") + L1 + "Fuses \n" + TINY12_FUSES % (2, 2)
        + "Programming fuses\nNew fuses value\n" + TINY12_FUSES % (4, 4) + "Verifying fuses\npassed\n" + END_OK),
        vtarget=["--chip", "tiny12", "--fault", "locked=write"], vtarget_state="chip.state",
        check=show_has("fuses: low 54")),

    # Requested and detected chips.
    mega8("other chip", ["-ew", "prog.hex"], 30, NOT + "Requested <mega8>, detected <mega16|mega16A>\n"
          "Can't continue\n" + END_FAIL, vtarget=["--chip", "mega16"], identified=detected("mega16|mega16A"),
          check=all_of(show_has("chip erases: 0"), chip_holds(b"\xff" * 16384))),
    case("other chip forced", ["+90S2313", "-ewp", "-v", "-!", PP, "prog.hex"], 0, exact(
        command("+90S2313", "-ewp", "-v", "-!", PP, "prog.hex") + detected("90S4414") + "Lock state unknown\n"
        + "Requested <90S2313>, detected <90S4414>\nDevice type forced to 90S2313\nDevice erased\n"
        + detected("90S4414") + "Requested <90S2313>, detected <90S4414>\nDevice type forced to 90S2313\n"
        + op("Programming CODE memory") + op("Verifying CODE memory", result=" passed\n") + END_OK),
        files=FILES, vtarget=["--chip", "90S4414"], vtarget_state="chip.state",
        check=chip_holds(padded(FLASH_BIN, 4096))),
    mega8("unknown chip, no erase", ["-v", "prog.hex"], 30,
          NOT + "Can't continue\n" + END_FAIL, vtarget=["--fault", "signature=1E9999"],
          identified=UNKNOWN),
    mega8("unknown chip judged after the erase", ["-ew", "prog.hex"], 30,
          NOT + "Device erased\n" + UNKNOWN + "Can't continue\n" + END_FAIL,
          vtarget=["--fault", "signature=1E9999"], identified=UNKNOWN, check=all_of(BLANK, show_has("chip erases: 1"))),
    mega8("unknown chip forced", ["-ew", "-!", "prog.hex"], 0,
          NOT + "Device erased\n" + UNKNOWN + "Device type forced to mega8\n"
          + FUSES["mega8"] + op("Programming CODE memory") + END_OK,
          vtarget=["--fault", "signature=1E9999"], identified=UNKNOWN, check=PROGRAMMED),

    # Fuses: a boot lock field back to 1 needs an erase.
    mega8("fuse change needs an erase", ["-w", "-fBLB1=3"], 10, NOT + fuses("mega8", _LOCK="0xCF", BLB1=0)
          + "Can't write all requested fuses, need to erase chip\n" + END_FAIL,
          steps=[step(["+mega8", "-w", "-fBLB1=0", PP], ["--chip", "mega8"])], vtarget=[], check=show_has("lock: CF")),
    mega8("fuse change after an erase", ["-e", "-w", "-v", "-fBLB1=3"], 0, NOT + "Device erased\n" + detected(M8)
          + FUSES["mega8"] + "Programming fuses\nNew fuses value\n" + FUSES["mega8"][len("Fuses \n"):]
          + "Verifying fuses\npassed\n" + END_OK,
          steps=[step(["+mega8", "-w", "-fBLB1=0", PP], ["--chip", "mega8"])], vtarget=[], check=show_has("lock: FF")),
    mega8("fuse verify fails", ["-v", "-fCKSEL=4"], 10, NOT + FUSES["mega8"]
          + "Verifying fuses\n  CKSEL   : expected 4, read 1\nVerifying of fuses failed\n" + END_FAIL),

    # Blank checks.
    mega8("code not blank", ["-bc"], 10, NOT + FUSES["mega8"] + "Blank check\nCode:  done (T)\nCode not blank\n"
          + END_FAIL, steps=[WRITE], vtarget=[]),
    mega8("data not blank after an erase (EESAVE)", ["-e", "-bd"], 10, NOT + "Device erased\n" + detected(M8)
          + fuses("mega8", EESAVE=0, _HIGH="0xD1") + "Blank check\nData:  done (T)\n  not blank\n" + END_FAIL,
          steps=[step(["+mega8", "-w", "-fEESAVE=ON", PP, "-d", "prog.eep"], ["--chip", "mega8"])], vtarget=[]),
    mega8("EEPROM saved when the blank check fails", ["-e-", "-b"], 10, NOT + "Saving EEPROM\n"
          + op("Reading DATA memory", 512, 32) + "Device erased\n" + detected(M8) + fuses("mega8", EESAVE=0, _HIGH="0xD1")
          + "Blank check\nCode: " + "." * 16 + " done (T)\n  blank\nData:  done (T)\n  not blank\n"
          + 'EEPROM content saved to HEX-file "(eeprom).sav"' + END_FAIL,
          steps=[step(["+mega8", "-w", "-fEESAVE=ON", PP, "-d", "prog.eep"], ["--chip", "mega8"])], vtarget=[],
          check=hex_file_is("(eeprom).sav", padded(EEPROM_BIN, 512))),
    mega8("EEPROM kept over an erase", ["-e-", "-w", "prog.hex"], 0, NOT + "Saving EEPROM\n"
          + op("Reading DATA memory", 512, 32) + "Device erased\n" + detected(M8) + FUSES["mega8"]
          + "Restoring EEPROM\n" + op("Programming DATA memory", 512, 32) + op("Programming CODE memory") + END_OK,
          files=dict(FILES, **{"old.eep": bytes(range(256)) * 2}), vtarget=[],
          steps=[step(None, ["--chip", "mega8", "--eeprom-in", "old.eep"])],
          check=chip_holds(padded(FLASH_BIN, 8192), bytes(range(256)) * 2)),
    mega8("EEPROM of an unknown chip can't be saved", ["-e-", "-w", "prog.hex"], 30,
          NOT + "Can't save EEPROM in unknown chip\n" + END_FAIL, vtarget=["--fault", "signature=1E9999"],
          identified=UNKNOWN, check=show_has("chip erases: 0")),

    # Verify failures.
    mega8("code differs", ["-v", "prog.hex"], 10, NOT + FUSES["mega8"] + "Verifying CODE memory\nfailed, %d errors\n"
          " done (T)\n" % ERRORS + END_FAIL),
    mega8("code differs in one byte", ["-v", "prog.hex"], 10, NOT + FUSES["mega8"]
          + "Verifying CODE memory\nfailed, 1 error \n done (T)\n" + END_FAIL,
          files=dict(FILES, **{"one.bin": bytes(ONE_DIFFERENCE)}), vtarget=[],
          steps=[step(None, ["--chip", "mega8", "--flash-in", "one.bin"])]),
    mega8("data differs", ["-v", "-d", "prog.eep"], 10, NOT + FUSES["mega8"] + "Verifying DATA memory\nfailed, %d errors"
          "\n done (T)\n" % sum(b != 0xFF for b in EEPROM_BIN) + END_FAIL),
    mega8("writes slower than their delays", ["-ew", "-v", "prog.hex"], 10, NOT + "Device erased\n" + detected(M8)
          + FUSES["mega8"] + op("Programming CODE memory") + "Verifying CODE memory\nfailed, <N> errors\n done (T)\n"
          + END_FAIL, vtarget=["--chip", "mega8", "--fault", "busy-longer=30"]),

    # Images larger than the memories.
    case("code does not fit", ["+tiny13", "-w", PP, "-c", "big.hex"], 50, exact(
        command("+tiny13", "-w", PP, "-c", "big.hex") + detected("tiny13|tiny13A") + NOT + FUSES["tiny13"]
        + "Can't fit big.hex in CODE memory\n" + END_FAIL),
        files={"big.hex": data("large_flash.hex")}, vtarget=["--chip", "tiny13"]),
    case("data does not fit", ["+tiny13", "-w", PP, "-d", "big.eep"], 50, exact(
        command("+tiny13", "-w", PP, "-d", "big.eep") + detected("tiny13|tiny13A") + NOT + FUSES["tiny13"]
        + "Can't fit big.eep in DATA memory\n" + END_FAIL),
        files={"big.eep": data("small_flash.hex")}, vtarget=["--chip", "tiny13"]),
    case("data part of one file does not fit", ["+tiny13", "-w", PP, "one.hex"], 50, exact(
        command("+tiny13", "-w", PP, "one.hex") + detected("tiny13|tiny13A") + NOT + FUSES["tiny13"]
        + "Can't fit data part of input file in DATA memory\n" + END_FAIL),
        files={"one.hex": data("small_flash.hex").replace(":00000001FF", "")
               + make_hex({1024: b"\x11" * 65})}, vtarget=["--chip", "tiny13"]),
    case("one file split into FLASH and EEPROM", ["+tiny13", "-ew", PP, "one.hex"], 0, exact(
        command("+tiny13", "-ew", PP, "one.hex") + detected("tiny13|tiny13A") + NOT + "Device erased\n"
        + detected("tiny13|tiny13A") + FUSES["tiny13"] + op("Programming CODE memory", 1024)
        + op("Programming DATA memory", 64, 32) + END_OK),
        files={"one.hex": make_hex({0: SPLIT + bytes(range(64))})},
        vtarget=["--chip", "tiny13"], vtarget_state="chip.state", check=chip_holds(SPLIT, bytes(range(64)))),
]
