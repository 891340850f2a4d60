# Whole programming runs of real avr-gcc output: erase, write and verify, then read back, on a paged chip, a small
# tiny, an AT90S without pages and a 256 KB chip whose image crosses 64 KB and 128 KB; records given twice; free
# locations tested (-v+) and filled (-w+). The chip's memories must equal the toolchain's raw images afterwards.
from zindle_e2e import *  # noqa: F401,F403

LARGE = data("large_flash.bin", "rb")
# Pieces of the large program at their own addresses, across 64 KB, and moved across 128 KB.
PIECES = {0: LARGE[:0x400], 0xFF00: LARGE[0xFF00:0x10100], 0x1FE00: LARGE[0x10000:0x10400]}
CODE, EEP = {0x40: bytes(range(64))}, {0: bytes(range(1, 33)), 40: bytes(range(8))}
FREE_SCAN = "." * 16 + " passed\n Free positions are blank\n done (T)\n"
VERIFIED = op("Verifying CODE memory", result=" passed\n")


def repeated(pieces, address, length, times):
    """HEX of the pieces, then their record of `length` bytes at `address` again `times` times."""
    content = next(c[address - a:address - a + length] for a, c in pieces.items() if a <= address < a + len(c))
    again = make_hex({address: content}).splitlines()[:-1]
    return "\n".join(make_hex(pieces).splitlines()[:-1] + again * times + [":00000001FF"]) + "\n"


def overlaps(first, last, count):
    return "Warning: HEX file records overlapped in addresses 0x%X-0x%X with equal data\n" % (first, last) * count


# Erase, write and verify both memories, byte-exact afterwards (the AT90S with data polling).
CASES = [prog("erase, write and verify " + chip, [letters, "-v", "prog.hex", "prog.eep"], 0, lock + "Device erased\n"
              + detected(NAMES.get(chip, chip)) + FUSES[chip] + op("Programming CODE memory") + VERIFIED
              + op("Programming DATA memory") + op("Verifying DATA memory", result=" passed\n") + END_OK, chip=chip,
              check=chip_holds(padded(FLASH_BIN, SIZES[chip][0]), padded(EEPROM_BIN, SIZES[chip][1])))
         for chip, letters, lock in (("mega8", "-ew", NOT), ("tiny13", "-ew", NOT),
                                     ("90S2313", "-ewp", "Lock state unknown\n"))]
CASES += [
    # Read back with the erase counter on: FLASH stops short of its last two bytes.
    prog("read back both memories", ["-r", "-n", "-c", "read.hex", "-d", "read.eep"], 0, NOT
         + "Number of erases not initialized\n" + FUSES["mega8"] + op("Reading CODE memory", 8190)
         + op("Reading DATA memory", 512, 32) + END_OK, steps=[step(["+mega8", "-ew", PP, "prog.hex", "prog.eep"])],
         check=all_of(file_is("read.hex", padded(FLASH_BIN, 8190), True),
                      file_is("read.eep", padded(EEPROM_BIN, 512), True))),
    # -v+ reads the locations outside the image too.
    prog("free locations not blank", ["-v+", "prog.hex"], 10, NOT + FUSES["mega8"] + "Verifying CODE memory\n"
         + "." * 7 + " passed\n Free positions are NOT blank\n done (T)\n" + END_FAIL,
         files=dict(FILES, **{"stray.bin": padded(FLASH_BIN, 0x1000) + b"\x00"}),
         steps=[step(None, ["--chip", "mega8", "--flash-in", "stray.bin"])]),
    # -w+ without an erase writes 0xFF into every EEPROM location the file leaves out.
    prog("EEPROM filled on a chip not erased", ["-w+", "-v", "-d", "prog.eep"], 0, NOT + FUSES["tiny13"]
         + op("Programming DATA memory", 64, 32) + "Verifying DATA memory\n.. passed\n Free positions are blank\n"
         " done (T)\n" + END_OK, chip="tiny13", files=dict(FILES, **{"old.eep": bytes(range(64))}),
         steps=[step(None, ["--chip", "tiny13", "--eeprom-in", "old.eep"])],
         check=chip_holds(eeprom=padded(EEPROM_BIN, 64))),
    prog("256 KB chip across 64 KB and 128 KB", ["-ew", "-v", "large.hex"], 0, NOT + "Device erased\n"
         + detected("mega2560") + FUSES["mega2560"] + op("Programming CODE memory", 2560)
         + op("Verifying CODE memory", 2560, result=" passed\n") + END_OK, chip="mega2560",
         files={"large.hex": make_hex(PIECES)}, check=chip_holds(image(SIZES["mega2560"][0], PIECES))),
    # Records given more than once: each address is written, verified and filled once.
    prog("records repeated, free locations tested and filled", ["-w+", "-v+", "again.hex", "again.eep"], 0, NOT
         + FUSES["mega8"] + op("Programming CODE memory") + "Verifying CODE memory\n" + FREE_SCAN
         + op("Programming DATA memory", 512, 32) + "Verifying DATA memory\n" + FREE_SCAN + END_OK,
         ident=overlaps(0x50, 0x5F, 20 + 20 * 19 // 2) + overlaps(0x8, 0xF, 1) + detected(M8),
         files={"again.hex": repeated(CODE, 0x50, 16, 20), "again.eep": repeated(EEP, 8, 8, 1)},
         check=chip_holds(image(8192, CODE), image(512, EEP))),
]
