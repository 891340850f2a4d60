# Every stop of a programming run, with exact output, exit status and the chip afterwards: wrong and unknown
# chips with and without -!, each job on a chip locked at level 1 and 2, fuses that need an erase, failing blank
# checks (with the EEPROM save file of -e-), data that does not fit, verify failures.
from zindle_e2e import *  # noqa: F401,F403

L1, L2 = "Chip locked - programming disabled\n", "Chip locked - reading and programming disabled\n"
WRITE = step(["+mega8", "-ew", PP, "prog.hex"], ["--chip", "mega8"])
EESAVE = step(["+mega8", "-w", "-fEESAVE=ON", PP, "-d", "prog.eep"], ["--chip", "mega8"])
BLB1 = step(["+mega8", "-w", "-fBLB1=0", PP], ["--chip", "mega8"])
PROGRAMMED = chip_holds(padded(FLASH_BIN, 8192))
UNKNOWN, UNKNOWN_CHIP = "Device connected, but not recognised, ID: 0x1E9999\n", ["--fault", "signature=1E9999"]
WRITE_REFUSED = "Can't write to locked chip\n" + END_FAIL
READ_REFUSED = "Can't read (blank check, verify) fully locked chip\n" + END_FAIL
ERASED = "Device erased\n" + detected(M8) + FUSES["mega8"]
ERASE_AND_WRITE = ERASED + op("Programming CODE memory") + END_OK
F1, F2 = fuses("mega8", _LOCK="0xFE"), fuses("mega8", _LOCK="0xFC")
EESAVED = fuses("mega8", EESAVE=0, _HIGH="0xD1")
ONE_DIFFERENCE = image(8192, {0x100: bytes([padded(FLASH_BIN, 8192)[0x100] ^ 1])}, FLASH_BIN)
SPLIT = FLASH_BIN + b"\x00" * (1024 - len(FLASH_BIN))  # a tiny13 FLASH full, then EEPROM data behind it
TINY12 = "  OSCCAL \t= 93\n_LOW = 0x5%d\n  BODLEVEL  \t= 0\n  BODEN     \t= 1\n  SPIEN     \t= 0\n" \
         "  RSTDISBL  \t= 1\n  CKSEL     \t= %d\n"

# Lock level, job, status, what follows the lock state line, check of the chip.
LOCKED = [
    (1, ["-w", "prog.hex"], 10, WRITE_REFUSED, PROGRAMMED),
    (1, ["-v", "prog.hex"], 0, F1 + op("Verifying CODE memory", result=" passed\n") + END_OK, None),
    (1, ["-r", "-c", "read.hex"], 0, F1 + op("Reading CODE memory", 8192) + END_OK,
     file_is("read.hex", padded(FLASH_BIN, 8192), True)),
    (1, ["-bc"], 10, F1 + "Blank check\nCode:  done (T)\nCode not blank\n" + END_FAIL, None),
    (1, ["-w", "-f_LOW=E4"], 10, WRITE_REFUSED, show_has("fuses: low E1 high D9")),
    (1, ["-ew", "prog.hex"], 0, ERASE_AND_WRITE, all_of(PROGRAMMED, show_has("lock: FF"))),
    (1, ["-l2"], 0, F1 + "Device locked to level 2!\n" + END_OK, show_has("lock: FC")),
    (2, ["-v", "prog.hex"], 10, READ_REFUSED, None),
    (2, ["-r", "-c", "read.hex"], 10, READ_REFUSED, None),
    (2, ["-r", "-!", "-c", "read.hex"], 0, F2 + op("Reading CODE memory", 8192) + END_OK, None),
    (2, ["-b"], 10, READ_REFUSED, None),
    (2, ["-l1"], 0, F2 + "Warning: device already locked to level 2, can't change lock level!\n" + END_OK,
     show_has("lock: FC")),
]
CASES = [prog("locked at level %d: %s" % (level, " ".join(job)), job, status, (L1, L2)[level - 1] + body,
              steps=[WRITE, step(["+mega8", "-l%d" % level, PP])], check=check)
         for level, job, status, body, check in LOCKED]

CASES += [
    prog("locked tiny12 takes a fuse write", ["-w", "-v", "-fCKSEL=4"], 0, L1 + "Fuses \n" + TINY12 % (2, 2)
         + "Programming fuses\nNew fuses value\n" + TINY12 % (4, 4) + "Verifying fuses\npassed\n" + END_OK,
         chip="tiny12", vtarget=["--fault", "locked=write"], check=show_has("fuses: low 54")),
    # Requested and detected chips.
    prog("other chip", ["-ew", "prog.hex"], 30, NOT + "Requested <mega8>, detected <mega16|mega16A>\n"
         "Can't continue\n" + END_FAIL, vtarget=["--chip", "mega16"], ident=detected("mega16|mega16A"),
         check=all_of(show_has("chip erases: 0"), chip_holds(b"\xff" * 16384))),
    prog("other chip forced", ["-ewp", "-v", "-!", "prog.hex"], 0, "Lock state unknown\n" + (
        "Requested <90S2313>, detected <90S4414>\nDevice type forced to 90S2313\n").join(
        ["", "Device erased\n" + detected("90S4414"), op("Programming CODE memory")])
        + op("Verifying CODE memory", result=" passed\n") + END_OK, chip="90S2313",
        vtarget=["--chip", "90S4414"], ident=detected("90S4414"), check=chip_holds(padded(FLASH_BIN, 4096))),
    prog("unknown chip, no erase", ["-v", "prog.hex"], 30, NOT + "Can't continue\n" + END_FAIL,
         vtarget=UNKNOWN_CHIP, ident=UNKNOWN),
    prog("unknown chip judged after the erase", ["-ew", "prog.hex"], 30, NOT + "Device erased\n" + UNKNOWN
         + "Can't continue\n" + END_FAIL, vtarget=UNKNOWN_CHIP, ident=UNKNOWN,
         check=all_of(chip_holds(b"\xff" * 8192, b"\xff" * 512), show_has("chip erases: 1"))),
    prog("unknown chip forced", ["-ew", "-!", "prog.hex"], 0, NOT + "Device erased\n" + UNKNOWN
         + "Device type forced to mega8\n" + FUSES["mega8"] + op("Programming CODE memory") + END_OK,
         vtarget=UNKNOWN_CHIP, ident=UNKNOWN, check=PROGRAMMED),
    # Fuses: a boot lock field back to 1 needs an erase.
    prog("fuse change needs an erase", ["-w", "-fBLB1=3"], 10, NOT + fuses("mega8", _LOCK="0xCF", BLB1=0)
         + "Can't write all requested fuses, need to erase chip\n" + END_FAIL, steps=[BLB1],
         check=show_has("lock: CF")),
    prog("fuse change after an erase", ["-e", "-w", "-v", "-fBLB1=3"], 0, NOT + ERASED
         + "Programming fuses\nNew fuses value\n" + FUSES["mega8"][len("Fuses \n"):] + "Verifying fuses\npassed\n"
         + END_OK, steps=[BLB1], check=show_has("lock: FF")),
    prog("fuse verify fails", ["-v", "-fCKSEL=4"], 10, NOT + FUSES["mega8"]
         + "Verifying fuses\n  CKSEL   : expected 4, read 1\nVerifying of fuses failed\n" + END_FAIL),
    # Blank checks.
    prog("EEPROM saved when the blank check fails", ["-e-", "-b"], 10, NOT + "Saving EEPROM\n"
         + op("Reading DATA memory", 512, 32) + "Device erased\n" + detected(M8) + EESAVED + "Blank check\nCode: "
         + "." * 16 + " done (T)\n  blank\nData:  done (T)\n  not blank\n"
         + 'EEPROM content saved to HEX-file "(eeprom).sav"' + END_FAIL, steps=[EESAVE],
         check=file_is("(eeprom).sav", padded(EEPROM_BIN, 512), True)),
    prog("EEPROM kept over an erase", ["-e-", "-w", "prog.hex"], 0, NOT + "Saving EEPROM\n"
         + op("Reading DATA memory", 512, 32) + ERASED + "Restoring EEPROM\n" + op("Programming DATA memory", 512, 32)
         + op("Programming CODE memory") + END_OK, files=dict(FILES, **{"old.eep": bytes(range(256)) * 2}),
         steps=[step(None, ["--chip", "mega8", "--eeprom-in", "old.eep"])],
         check=chip_holds(padded(FLASH_BIN, 8192), bytes(range(256)) * 2)),
    prog("EEPROM of an unknown chip can't be saved", ["-e-", "-w", "prog.hex"], 30,
         NOT + "Can't save EEPROM in unknown chip\n" + END_FAIL, vtarget=UNKNOWN_CHIP, ident=UNKNOWN,
         check=show_has("chip erases: 0")),
    # Verify failures.
    prog("code differs in one byte", ["-v", "prog.hex"], 10, NOT + FUSES["mega8"]
         + "Verifying CODE memory\nfailed, 1 error \n done (T)\n" + END_FAIL,
         files=dict(FILES, **{"one.bin": ONE_DIFFERENCE}), steps=[step(None, ["--flash-in", "one.bin"])]),
    prog("data differs", ["-v", "-d", "prog.eep"], 10, NOT + FUSES["mega8"] + "Verifying DATA memory\nfailed, %d "
         "errors\n done (T)\n" % sum(b != 0xFF for b in EEPROM_BIN) + END_FAIL),
    # Images larger than the memories.
    *[prog(message, args, 50, NOT + FUSES["tiny13"] + message + "\n" + END_FAIL, chip="tiny13", files=files)
      for args, message, files in [
          (["-w", "-c", "big.hex"], "Can't fit big.hex in CODE memory", {"big.hex": data("large_flash.hex")}),
          (["-w", "-d", "big.eep"], "Can't fit big.eep in DATA memory", {"big.eep": data("small_flash.hex")}),
          (["-w", "one.hex"], "Can't fit data part of input file in DATA memory", {"one.hex": data(
              "small_flash.hex").replace(":00000001FF", "") + make_hex({1024: b"\x11" * 65})})]],
    prog("one file split into FLASH and EEPROM", ["-ew", "one.hex"], 0, NOT + "Device erased\n" + detected(T13)
         + FUSES["tiny13"] + op("Programming CODE memory", 1024) + op("Programming DATA memory", 64, 32) + END_OK,
         chip="tiny13", files={"one.hex": make_hex({0: SPLIT + bytes(range(64))})},
         check=chip_holds(SPLIT, bytes(range(64)))),
]
