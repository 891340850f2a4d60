# The erase counter in the last two FLASH bytes and the special data cells (OSCCAL, SERNO, BYTES): what the run
# prints, what ends up in the chip, and what the serial number file holds after good, failed and verify-only runs.
import fcntl
import os

from zindle_e2e import *  # noqa: F401,F403

OSCCAL = [0xA6, 0xAE, 0xAD, 0xAA]  # the calibration bytes of the simulated mega8
ERASED = "Device erased\n" + detected(M8) + FUSES["mega8"]
UNKNOWN = "Device connected, but not recognised, ID: 0x1E9999\n"
FULL = padded(FLASH_BIN, 1024)  # a tiny13 program reaching the counter's cells
LDI = next(a for a in range(0, len(FLASH_BIN), 2) if FLASH_BIN[a + 1] & 0xF0 == 0xE0)  # an LDI's first byte
LDI_VALUE = OSCCAL[1] - 3
SERNO = "-c*SERNO4=100,serial.txt"
WRITTEN, VERIFIED = op("Programming CODE memory"), op("Verifying CODE memory", result=" passed\n")


def counter_flash(chip, value, program=b""):
    """A FLASH image holding the program and the counter value (None: not initialized)."""
    return padded(program, SIZES[chip][0] - 2) + (b"\xff\xff" if value is None else value.to_bytes(2, "little"))


def cells(changes, base=FLASH_BIN):
    return image(8192, {a: bytes([v]) for a, v in changes.items()}, base)


def serno_bytes(number):
    return {0x100 + i: number >> 8 * i & 0xFF for i in range(4)}


def run(name, chip, args, status, body, stored=None, files=None, steps=(), **options):
    """A run on a chip whose counter holds `stored` (no FLASH import when stored is None)."""
    files = dict(FILES, **(files or {}), **({} if stored is None else {"stored.bin": counter_flash(chip, stored)}))
    start = step(None, ["--chip", chip] + ([] if stored is None else ["--flash-in", "stored.bin"]))
    return prog(name, args, status, NOT + body, chip=chip, files=files, steps=[start, *steps], **options)


def counter(value):
    return "Writing erase counter = %d\n" % value + WRITTEN


def unshrinkable(text):
    """A file that opens for reading and writing but cannot be truncated (a sealed memory file of this process)."""
    fd = os.memfd_create("serial", os.MFD_ALLOW_SEALING)
    os.write(fd, text.encode())
    fcntl.fcntl(fd, fcntl.F_ADD_SEALS, fcntl.F_SEAL_SHRINK)
    return "/proc/%d/fd/%d" % (os.getpid(), fd)


SEALED = unshrinkable("41\n")

CASES = [
    # The erase counter.
    run("counter 5 becomes 6", "mega8", ["-e", "-n", "-w", "-v", "prog.hex"], 0, "Read number of erases 5\n" + ERASED
        + counter(6) + VERIFIED + WRITTEN + VERIFIED + END_OK, stored=5,
        check=chip_holds(counter_flash("mega8", 6, FLASH_BIN))),
    run("counter not initialized becomes 1", "mega8", ["-e", "-n"], 0, "Number of erases not initialized\n" + ERASED
        + counter(1) + END_OK, check=chip_holds(counter_flash("mega8", 1))),
    run("counter 65534 writes nothing", "mega8", ["-e", "-n"], 0, "Read number of erases 65534\n" + ERASED + END_OK,
        stored=65534, check=chip_holds(counter_flash("mega8", None))),
    run("counter forced to 7", "mega8", ["-e", "-n7"], 0, "Read number of erases 5\nNumber of erases forced to 7\n"
        + ERASED + counter(7) + END_OK, stored=5, check=chip_holds(counter_flash("mega8", 7))),
    run("counter above 128 KB", "mega2560", ["-e", "-n"], 0, "Read number of erases 5\nDevice erased\n"
        + detected("mega2560") + FUSES["mega2560"] + counter(6) + END_OK, stored=5, vtarget=["--trace", "run.trace"],
        # bank 1 of the word address 0x1FFFF, then its two bytes
        check=all_of(chip_holds(counter_flash("mega2560", 6)), sends("4D 00 01 00", "20 FF FF 00", "28 FF FF 00"))),
    run("counter cells used by code", "tiny13", ["-e", "-n", "-w", "-v", "full.hex"], 0,
        "Number of erases not initialized\nDevice erased\n" + detected(T13) + FUSES["tiny13"]
        + "Can't write number of erases, locations used for code\n" + op("Programming CODE memory", 1024)
        + op("Verifying CODE memory", 1024, result=" passed\n") + END_OK, files={"full.hex": make_hex({0: FULL})},
        check=chip_holds(FULL)),
    run("counter cells used by code, verify only", "tiny13", ["-n", "-v", "full.hex"], 0,
        "Number of erases not initialized\n" + FUSES["tiny13"] + "Ignore -n switch, top two flash bytes used for code\n"
        + op("Verifying CODE memory", 1024, result=" passed\n") + END_OK,
        files={"full.hex": make_hex({0: FULL}), "full.bin": FULL}, steps=[step(None, ["--flash-in", "full.bin"])]),
    run("counter of an unknown chip", "mega8", ["-e", "-n"], 30, "Can't read number of erases from unknown or locked "
        "chip\nNumber of erases forced to 1\nDevice erased\n" + UNKNOWN + "Can't continue\n" + END_FAIL,
        vtarget=["--fault", "signature=1E9999"], ident=UNKNOWN),

    # Special cells: all three commands in one run, into plain bytes, an LDI and the EEPROM.
    run("OSCCAL, SERNO and BYTES", "mega8", ["-ew", "-v", "-c?OSCCAL1=%X,-3" % LDI, SERNO, "-c*BYTES3=10,A1B2C3",
                                             "prog.hex", "prog.eep"], 0,
        "OSCCAL1-3 inserted to CODE memory at 0x%X as part of LDI command\n" % LDI + "Chip serial number is 41\n"
        + ERASED + WRITTEN + VERIFIED + op("Programming DATA memory") + op("Verifying DATA memory", result=" passed\n")
        + END_OK, files={"serial.txt": "41"},
        check=all_of(file_is("serial.txt", "42\n"), chip_holds(cells({
            **serno_bytes(41), 0x10: 0xA1, 0x11: 0xB2, 0x12: 0xC3,
            LDI: FLASH_BIN[LDI] & 0xF0 | LDI_VALUE & 0x0F, LDI + 1: FLASH_BIN[LDI + 1] & 0xF0 | LDI_VALUE >> 4}),
            padded(EEPROM_BIN, 512)))),
    run("OSCCAL into EEPROM clamped at 0", "mega8", ["-w", "-d*OSCCAL3=2,-200", "-d", "prog.eep"], 0,
        "Warning: corrected osccal value limited by 0x00\nOSCCAL3-200 inserted to DATA memory at 0x2 \n"
        + FUSES["mega8"] + op("Programming DATA memory") + END_OK,
        check=chip_holds(eeprom=image(512, {2: b"\0"}, EEPROM_BIN))),
    run("OSCCAL (byte 0 unless named) clamped at 0xFF", "mega8", ["-w", "-c*OSCCAL=100,+200", "prog.hex"], 0,
        "Warning: corrected osccal value limited by 0xFF\nOSCCAL0+200 inserted to CODE memory at 0x100 \n"
        + FUSES["mega8"] + WRITTEN + END_OK, check=chip_holds(cells({0x100: 0xFF}))),
    # A good run, a failed one and another good one: the failure does not use up a number.
    run("serial numbers across runs", "mega8", ["-ew", "-v", SERNO, "prog.hex"], 0, "Chip serial number is 42\n"
        + ERASED + WRITTEN + VERIFIED + END_OK, files={"serial.txt": "41\n"},
        steps=[step(["+mega8", "-ew", SERNO, PP, "prog.hex"]),
               step(["+mega8", "-ew", "-v", SERNO, PP, "prog.hex"], ["--fault", "busy-longer=30"], status=10)],
        check=all_of(file_is("serial.txt", "43\n"), chip_holds(cells(serno_bytes(42))))),
    run("verify only leaves the serial number", "mega8", ["-v", SERNO, "prog.hex"], 0, "Chip serial number is 41\n"
        + FUSES["mega8"] + VERIFIED + END_OK, files={"serial.txt": "41", "first.txt": "41"},
        steps=[step(["+mega8", "-ew", "-c*SERNO4=100,first.txt", PP, "prog.hex"])],
        check=all_of(file_is("serial.txt", "41"), file_is("first.txt", "42\n"))),
    run("serial number wraps to 0 after 32 bits", "mega8", ["-w", SERNO, "prog.hex"], 0, "Chip serial number is "
        "4294967295\n" + FUSES["mega8"] + WRITTEN + END_OK, files={"serial.txt": "4294967295\n"},
        check=all_of(file_is("serial.txt", "0\n"), chip_holds(cells(serno_bytes(0xFFFFFFFF))))),
    run("serial number file not rewritable", "mega8", ["-w", "-c*SERNO4=100," + SEALED, "prog.hex"], 50,
        "Chip serial number is 41\n" + FUSES["mega8"] + WRITTEN
        + "Can't write %s\nnext serial number is 42\nOperation not permitted\nReset pin released\n" % SEALED),
    run("special cells ignored without write or verify", "mega8", ["-e", "-c*SERNO4=100,missing.txt"], 0,
        ERASED + END_OK),
]
# Refusals: arguments, status, message before the release, serial number file (kept as it was).
REFUSED = [(["-w", "-c*OSCCAL4=100"], 70, "OSCCAL4 not exist in selected chip\n\n", None),
           (["-w", "-n", "-c*OSCCAL=1FFE"], 70, "OSCCAL destination address too large\n\n", None),
           (["-w", "-c?SERNO2=1FFD,serial.txt"], 70, "SERNO destination address too large\n\n", "7"),
           (["-w", "-d*OSCCAL=2"], 70, "No hex records for EEPROM, can't insert OSCCAL\n\n", None),
           (["-w", "-c*BYTES2=200,A1B2"], 50, "HEX record for BYTES not found\n\n", None),
           (["-w", "-c*SERNO5=100,serial.txt"], 70, "Invalid SERNO length\n\n", "7"),
           (["-w", SERNO], 70, "Can't open file 'serial.txt'\nNo such file or directory\n", None),
           (["-w", SERNO], 50, "Can't read serial.txt\n<*>\n", "abc")]
CASES += [run(message.split("\n")[0], "mega8", args + ["prog.hex"], status, message + "Reset pin released\n",
              files=kept and {"serial.txt": kept}, check=kept and file_is("serial.txt", kept))
          for args, status, message, kept in REFUSED]
