# The erase counter in the last two FLASH bytes and the special data cells (OSCCAL, SERNO, BYTES): what the run
# prints, what ends up in the chip, and what the serial number file holds after good, failed and verify-only runs.
import fcntl

from zindle_e2e import *  # noqa: F401,F403

OSCCAL = [0xA6, 0xAE, 0xAD, 0xAA]  # the calibration bytes of the simulated mega8
ERASED = "Device erased\n" + detected(M8) + FUSES["mega8"]
UNKNOWN = "Device connected, but not recognised, ID: 0x1E9999\n"
FULL = padded(FLASH_BIN, 1024)  # a tiny13 program reaching the counter's cells
LDI = next(a for a in range(0, len(FLASH_BIN), 2) if FLASH_BIN[a + 1] & 0xF0 == 0xE0)  # an LDI's first byte
SERNO, M8_FUSES = "-c*SERNO4=100,serial.txt", FUSES["mega8"]
WRITTEN, VERIFIED = op("Programming CODE memory"), op("Verifying CODE memory", result=" passed\n")
FD = os.memfd_create("serial", os.MFD_ALLOW_SEALING)  # a serial number file that can't be truncated
os.write(FD, b"41\n")
fcntl.fcntl(FD, fcntl.F_ADD_SEALS, fcntl.F_SEAL_SHRINK)
SEALED = "/proc/%d/fd/%d" % (os.getpid(), FD)


def counter_flash(value, program=b"", chip="mega8"):
    """A FLASH image holding the program and the counter value (None: not initialized)."""
    return padded(program, SIZES[chip][0] - 2) + (b"\xff\xff" if value is None else value.to_bytes(2, "little"))


def cells(changes, base=FLASH_BIN):
    return image(8192, {a: bytes([v]) for a, v in changes.items()}, base)


def serno_bytes(number):
    return {0x100 + i: number >> 8 * i & 0xFF for i in range(4)}


def run(name, args, status, body, stored=None, files=None, steps=(), chip="mega8", **options):
    """A run on a chip whose counter holds `stored` (no FLASH import when stored is None)."""
    files = dict(FILES, **(files or {}), **({} if stored is None else {"stored.bin": counter_flash(stored, chip=chip)}))
    start = step(None, ["--chip", chip] + ([] if stored is None else ["--flash-in", "stored.bin"]))
    return prog(name, args, status, NOT + body, chip=chip, files=files, steps=[start, *steps], **options)


def counter(value):
    return "Writing erase counter = %d\n" % value + WRITTEN


CASES = [
    run("counter 5 becomes 6", ["-e", "-n", "-w", "-v", "prog.hex"], 0, "Read number of erases 5\n" + ERASED
        + counter(6) + VERIFIED + WRITTEN + VERIFIED + END_OK, 5, check=chip_holds(counter_flash(6, FLASH_BIN))),
    run("counter not initialized becomes 1", ["-e", "-n"], 0, "Number of erases not initialized\n" + ERASED
        + counter(1) + END_OK, check=chip_holds(counter_flash(1))),
    run("counter 65534 writes nothing", ["-e", "-n"], 0, "Read number of erases 65534\n" + ERASED + END_OK, 65534,
        check=chip_holds(counter_flash(None))),
    run("counter forced to 7", ["-e", "-n7"], 0, "Read number of erases 5\nNumber of erases forced to 7\n" + ERASED
        + counter(7) + END_OK, 5, check=chip_holds(counter_flash(7))),
    # bank 1 of the word address 0x1FFFF, then its two bytes
    run("counter above 128 KB", ["-e", "-n"], 0, "Read number of erases 5\nDevice erased\n" + detected("mega2560")
        + FUSES["mega2560"] + counter(6) + END_OK, 5, chip="mega2560", vtarget=["--trace", "run.trace"],
        check=all_of(chip_holds(counter_flash(6, chip="mega2560")),
                     sends("4D 00 01 00", "20 FF FF 00", "28 FF FF 00"))),
    run("counter cells used by code", ["-e", "-n", "-w", "-v", "full.hex"], 0, "Number of erases not initialized\n"
        "Device erased\n" + detected(T13) + FUSES["tiny13"] + "Can't write number of erases, locations used for code\n"
        + op("Programming CODE memory", 1024) + op("Verifying CODE memory", 1024, result=" passed\n") + END_OK,
        chip="tiny13", files={"full.hex": make_hex({0: FULL})}, check=chip_holds(FULL)),
    run("counter cells used by code, verify only", ["-n", "-v", "full.hex"], 0, "Number of erases not initialized\n"
        + FUSES["tiny13"] + "Ignore -n switch, top two flash bytes used for code\n" + op(
            "Verifying CODE memory", 1024, result=" passed\n") + END_OK, chip="tiny13",
        files={"full.hex": make_hex({0: FULL}), "full.bin": FULL}, steps=[step(None, ["--flash-in", "full.bin"])]),
    run("counter of an unknown chip", ["-e", "-n"], 30, "Can't read number of erases from unknown or locked chip\n"
        "Number of erases forced to 1\nDevice erased\n" + UNKNOWN + "Can't continue\n" + END_FAIL,
        vtarget=["--fault", "signature=1E9999"], ident=UNKNOWN),
    # All three commands in one run, into plain bytes, an LDI and the EEPROM.
    run("OSCCAL, SERNO and BYTES", ["-ew", "-v", "-c?OSCCAL1=%X,-3" % LDI, SERNO, "-c*BYTES3=10,A1B2C3", "prog.hex",
                                    "prog.eep"], 0, "OSCCAL1-3 inserted to CODE memory at 0x%X as part of LDI command\n"
        % LDI + "Chip serial number is 41\n" + ERASED + WRITTEN + VERIFIED + op("Programming DATA memory")
        + op("Verifying DATA memory", result=" passed\n") + END_OK, files={"serial.txt": "41"},
        check=all_of(file_is("serial.txt", "42\n"), chip_holds(cells({
            **serno_bytes(41), 0x10: 0xA1, 0x11: 0xB2, 0x12: 0xC3, LDI: FLASH_BIN[LDI] & 0xF0 | (OSCCAL[1] - 3) & 0x0F,
            LDI + 1: FLASH_BIN[LDI + 1] & 0xF0 | (OSCCAL[1] - 3) >> 4}), padded(EEPROM_BIN, 512)))),
    run("OSCCAL into EEPROM clamped at 0", ["-w", "-d*OSCCAL3=2,-200", "-d", "prog.eep"], 0, "Warning: corrected "
        "osccal value limited by 0x00\nOSCCAL3-200 inserted to DATA memory at 0x2 \n" + M8_FUSES
        + op("Programming DATA memory") + END_OK, check=chip_holds(eeprom=image(512, {2: b"\0"}, EEPROM_BIN))),
    run("OSCCAL (byte 0 unless named) clamped at 0xFF", ["-w", "-c*OSCCAL=100,+200", "prog.hex"], 0, "Warning: "
        "corrected osccal value limited by 0xFF\nOSCCAL0+200 inserted to CODE memory at 0x100 \n" + M8_FUSES + WRITTEN
        + END_OK, check=chip_holds(cells({0x100: 0xFF}))),
    # A good run, a failed one and another good one: the failure does not use up a number.
    run("serial numbers across runs", ["-ew", "-v", SERNO, "prog.hex"], 0, "Chip serial number is 42\n" + ERASED
        + WRITTEN + VERIFIED + END_OK, files={"serial.txt": "41\n"}, steps=[
            step(["+mega8", "-ew", SERNO, PP, "prog.hex"]),
            step(["+mega8", "-ew", "-v", SERNO, PP, "prog.hex"], ["--fault", "busy-longer=30"], status=10)],
        check=all_of(file_is("serial.txt", "43\n"), chip_holds(cells(serno_bytes(42))))),
    run("verify only leaves the serial number", ["-v", SERNO, "prog.hex"], 0, "Chip serial number is 41\n" + M8_FUSES
        + VERIFIED + END_OK, files={"serial.txt": "41", "first.txt": "41"}, steps=[
            step(["+mega8", "-ew", "-c*SERNO4=100,first.txt", PP, "prog.hex"])],
        check=all_of(file_is("serial.txt", "41"), file_is("first.txt", "42\n"))),
    run("serial number wraps to 0 after 32 bits", ["-w", SERNO, "prog.hex"], 0, "Chip serial number is 4294967295\n"
        + M8_FUSES + WRITTEN + END_OK, files={"serial.txt": "4294967295\n"},
        check=all_of(file_is("serial.txt", "0\n"), chip_holds(cells(serno_bytes(0xFFFFFFFF))))),
    run("serial number file not rewritable", ["-w", "-c*SERNO4=100," + SEALED, "prog.hex"], 50, "Chip serial number "
        "is 41\n" + M8_FUSES + WRITTEN + "Can't write %s\nnext serial number is 42\nOperation not permitted\n"
        "Reset pin released\n" % SEALED),
    run("special cells ignored without write or verify", ["-e", "-c*SERNO4=100,missing.txt"], 0, ERASED + END_OK),
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
CASES += [run(message.split("\n")[0], args + ["prog.hex"], status, message + "Reset pin released\n",
              files=kept and {"serial.txt": kept}, check=kept and file_is("serial.txt", kept))
          for args, status, message, kept in REFUSED]
