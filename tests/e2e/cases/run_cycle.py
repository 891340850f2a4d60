# Whole programming runs of real avr-gcc output on the virtual target: erase,
# write and verify, then read back, on a paged chip, a small tiny, an AT90S
# without pages and a 256 KB chip whose image crosses 64 KB and 128 KB. The
# chip's memories must equal the toolchain's raw images afterwards.
from programming_e2e import (END_FAIL, END_OK, FUSES, PP, SIZES, chip_holds, command, data, detected,
                             exact, make_hex, op, padded, parse_hex)
from zindle_e2e import case, step

FLASH_BIN, EEPROM_BIN = data("small_flash.bin", "rb"), data("small_eeprom.bin", "rb")
FILES = {"prog.hex": data("small_flash.hex"), "prog.eep": data("small_eeprom.hex")}

# Pieces of the large program at their own addresses, across 64 KB, and moved across 128 KB.
LARGE = data("large_flash.bin", "rb")
PIECES = {0: LARGE[:0x400], 0xFF00: LARGE[0xFF00:0x10100], 0x1FE00: LARGE[0x10000:0x10400]}


def large_image():
    flash = bytearray(b"\xff" * SIZES["mega2560"][0])
    for address, content in PIECES.items():
        flash[address:address + len(content)] = content
    return bytes(flash)


def write_run(chip, name, extra=(), polling=False):
    """Erase, write and verify both memories, byte-exact afterwards."""
    args = ["+" + chip, "-ewp" if polling else "-ew", "-v", *extra, PP, "prog.hex", "prog.eep"]
    flash, eeprom = SIZES[chip]
    return case("erase, write and verify %s" % chip, args, 0, exact(
        command(*args) + detected(name) + ("Lock state unknown\n" if chip == "90S2313" else "Chip not locked\n")
        + "Device erased\n" + detected(name) + FUSES[chip]
        + op("Programming CODE memory") + op("Verifying CODE memory", result=" passed\n")
        + op("Programming DATA memory") + op("Verifying DATA memory", result=" passed\n") + END_OK),
        files=FILES, vtarget=["--chip", chip], vtarget_state="chip.state",
        check=chip_holds(padded(FLASH_BIN, flash), padded(EEPROM_BIN, eeprom)))


def read_files(flash_size, eeprom_size):
    """The HEX files written by a read hold the whole memories (FLASH up to flash_size)."""
    def check(work, run_vtarget):
        with open(work + "/read.hex") as f, open(work + "/read.eep") as g:
            code, dat = parse_hex(f.read()), parse_hex(g.read())
        if sorted(code) != list(range(flash_size)) or sorted(dat) != list(range(eeprom_size)):
            return "read files cover %d and %d bytes" % (len(code), len(dat))
        if bytes(code[a] for a in range(flash_size)) != padded(FLASH_BIN, 8192)[:flash_size]:
            return "read.hex differs from the program"
        if bytes(dat[a] for a in range(eeprom_size)) != padded(EEPROM_BIN, eeprom_size):
            return "read.eep differs from the EEPROM data"
        return None
    return check


READ = ["+mega8", "-r", "-n", PP, "-c", "read.hex", "-d", "read.eep"]
WRITE_M8 = ["+mega8", "-ew", PP, "prog.hex", "prog.eep"]
FREE = ["+mega8", "-v+", PP, "prog.hex"]
FILL = ["+tiny13", "-w+", "-v", PP, "-d", "prog.eep"]
LARGE_ARGS = ["+mega2560", "-ew", "-v", PP, "large.hex"]
NOT_ERASED = bytes(range(64))


def repeated(pieces, address, length, times):
    """HEX of the pieces, then their record of `length` bytes at `address` again `times` times."""
    content = next(c[address - a:address - a + length] for a, c in pieces.items() if a <= address < a + len(c))
    again = make_hex({address: content}).splitlines()[:-1]
    return "\n".join(make_hex(pieces).splitlines()[:-1] + again * times + [":00000001FF"]) + "\n"


def equal_overlaps(first, last, count):
    return "Warning: HEX file records overlapped in addresses 0x%X-0x%X with equal data\n" % (first, last) * count


# Records given more than once: each address is written, verified and filled once.
PAGE, CODE, DATA = {0x20000: LARGE[:256]}, {0x40: bytes(range(64))}, {0: bytes(range(1, 33)), 40: bytes(range(8))}
PAGE_ARGS = ["+mega2560", "-ew", "-v", PP, "page.hex"]
AGAIN = ["+mega8", "-w+", "-v+", PP, "again.hex", "again.eep"]
FREE_SCAN = "." * 16 + " passed\n Free positions are blank\n done (T)\n"


def image(size, pieces):
    memory = bytearray(b"\xff" * size)
    for address, content in pieces.items():
        memory[address:address + len(content)] = content
    return bytes(memory)

CASES = [
    write_run("mega8", "mega8|mega8A"),
    write_run("tiny13", "tiny13|tiny13A"),
    write_run("90S2313", "90S2313", polling=True),
    # Read back with the erase counter on: FLASH stops short of its last two bytes.
    case("read back both memories", READ, 0, exact(
        command(*READ) + detected("mega8|mega8A") + "Chip not locked\nNumber of erases not initialized\n"
        + FUSES["mega8"] + op("Reading CODE memory", 8190) + op("Reading DATA memory", 512, 32) + END_OK),
        files=FILES, vtarget=[], vtarget_state="chip.state", steps=[step(WRITE_M8, ["--chip", "mega8"])],
        check=read_files(8190, 512)),
    # -v+ reads the locations outside the image too.
    case("free locations not blank", FREE, 10, exact(
        command(*FREE) + detected("mega8|mega8A") + "Chip not locked\n" + FUSES["mega8"]
        + "Verifying CODE memory\n" + "." * 7 + " passed\n Free positions are NOT blank\n done (T)\n" + END_FAIL),
        files=dict(FILES, **{"stray.bin": padded(FLASH_BIN, 0x1000) + b"\x00"}), vtarget=[],
        vtarget_state="chip.state", steps=[step(None, ["--chip", "mega8", "--flash-in", "stray.bin"])]),
    case("free locations blank", FREE, 0, exact(
        command(*FREE) + detected("mega8|mega8A") + "Chip not locked\n" + FUSES["mega8"]
        + "Verifying CODE memory\n" + "." * 16 + " passed\n Free positions are blank\n done (T)\n" + END_OK),
        files=FILES, vtarget=[], vtarget_state="chip.state", steps=[step(WRITE_M8, ["--chip", "mega8"])]),
    # -w+ without an erase writes 0xFF into every EEPROM location the file leaves out.
    case("EEPROM filled on a chip not erased", FILL, 0, exact(
        command(*FILL) + detected("tiny13|tiny13A") + "Chip not locked\n" + FUSES["tiny13"]
        + op("Programming DATA memory", 64, 32)
        + "Verifying DATA memory\n.. passed\n Free positions are blank\n done (T)\n" + END_OK),
        files=dict(FILES, **{"old.eep": NOT_ERASED}), vtarget=[], vtarget_state="chip.state",
        steps=[step(None, ["--chip", "tiny13", "--eeprom-in", "old.eep"])],
        check=chip_holds(eeprom=padded(EEPROM_BIN, 64))),
    case("256 KB chip across 64 KB and 128 KB", LARGE_ARGS, 0, exact(
        command(*LARGE_ARGS) + detected("mega2560") + "Chip not locked\nDevice erased\n" + detected("mega2560")
        + FUSES["mega2560"] + op("Programming CODE memory", 2560) + op("Verifying CODE memory", 2560, result=" passed\n")
        + END_OK),
        files={"large.hex": make_hex(PIECES)}, vtarget=["--chip", "mega2560"], vtarget_state="chip.state",
        check=chip_holds(large_image())),
    case("a page with one of its records again", PAGE_ARGS, 0, exact(
        command(*PAGE_ARGS) + equal_overlaps(0x20010, 0x2001F, 1) + detected("mega2560") + "Chip not locked\n"
        + "Device erased\n" + detected("mega2560") + FUSES["mega2560"] + op("Programming CODE memory")
        + op("Verifying CODE memory", result=" passed\n") + END_OK),
        files={"page.hex": repeated(PAGE, 0x20010, 16, 1)}, vtarget=["--chip", "mega2560"],
        vtarget_state="chip.state", check=chip_holds(image(SIZES["mega2560"][0], PAGE))),
    case("records repeated, free locations tested and filled", AGAIN, 0, exact(
        command(*AGAIN) + equal_overlaps(0x50, 0x5F, 20 + 20 * 19 // 2) + equal_overlaps(0x8, 0xF, 1)
        + detected("mega8|mega8A") + "Chip not locked\n" + FUSES["mega8"] + op("Programming CODE memory")
        + "Verifying CODE memory\n" + FREE_SCAN + op("Programming DATA memory", 512, 32)
        + "Verifying DATA memory\n" + FREE_SCAN + END_OK),
        files={"again.hex": repeated(CODE, 0x50, 16, 20), "again.eep": repeated(DATA, 8, 8, 1)},
        vtarget=["--chip", "mega8"], vtarget_state="chip.state",
        check=chip_holds(image(8192, CODE), image(512, DATA))),
]
