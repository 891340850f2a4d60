# The parallel-port adapters end to end: every built-in wiring and user maps on
# the virtual target, through ppdev and direct I/O; detection present, absent
# and forced; clock generation; an SCK too fast for the chip; the lines the
# adapter leaves at exit. The trace of the virtual target goes to standard
# output with the program's lines, so each check sees both in order.
import os
import tempfile

from zindle_e2e import case, expect

PP = "-p/dev/parport0"
DETECTED = "Device connected, mega8|mega8A detected\n"
MAP = "mosi=D0:miso=BUSY:sck=D1:reset=D2:enable=~D7:led_ok=D3:led_error=D4"
DATA = os.environ.get("ZINDLE_TEST_DATA", os.path.join(os.path.dirname(__file__), "..", "..", "data"))


def read_data(name, mode="r"):
    with open(os.path.join(DATA, "hex", name), mode) as f:
        return f.read()


def exit_line(enable, led_ok="low", led_error="low"):
    return "exit power low enable %s reset high led_ok %s led_error %s\n" % (enable, led_ok, led_error)


def vt(*options):
    return list(options) + ["--trace", "/dev/stdout"]


# (vtarget wiring, -a value, detection line, mode line, enable level at exit)
WIRINGS = [
    ("kaldo", None, None, "\t% KALDO adapter mode\n", "high"),
    ("stk200", "-as", "\t% Atmel adapter for STK200 found\n", "\t% STK adapter mode\n", "low"),
    ("stk300", "-as", "\t% Atmel adapter for STK300 found\n", "\t% STK adapter mode\n", "low"),
    ("byteblaster", "-ab", "\t% ByteBlaster found\n", "\t% ByteBlaster adapter mode\n", "low"),
    ("byteblastermv", "-ab", "\t% ByteBlasterMV found\n", "\t% ByteBlaster adapter mode\n", "low"),
    ("byteblaster2", "-ab", "\t% ByteBlaster-II found\n", "\t% ByteBlasterII adapter mode\n", "low"),
    ("xilinx", "-ax", None, "\t% XILINX adapter mode\n", "low"),
    ("stk200", "-aa", "\t% Atmel adapter for STK200 found\n", "\t% STK adapter mode\n", "low"),
    ("byteblaster", "-aa", "\t% ByteBlaster found\n", "\t% ByteBlaster adapter mode\n", "low"),
    ("byteblaster2", "-aa", "\t% ByteBlaster-II found\n", "\t% ByteBlasterII adapter mode\n", "low"),
]

CASES = []
for wiring, letter, detected, mode, enable in WIRINGS:
    buffered = enable == "low"
    for port, port_lines in ((PP, ["\t% Parallel port `/dev/parport0' found, ioctl interface activated\n"]),
                             (None, ["\t% LPT base address 0x278\n", "\t% I/O permissions granted"])):
        args = ["+mega8", "-%"] + ([letter] if letter else []) + ([port] if port else [])
        CASES.append(case(
            "%s %s %s" % (wiring, letter or "default", "ppdev" if port else "direct I/O"), args, 0,
            expect(*port_lines, "\t% LPT write cycle ", *([detected] if detected else []), mode,
                   *(["Adapter enabled\n"] if buffered else []), "isp AC 53 00 00 -> 00 AC 53 00\n", DETECTED,
                   "Reset pin released\n", *(["Adapter disabled\n"] if buffered else []),
                   last=exit_line(enable)),
            vtarget=vt("--wiring", wiring)))

CASES += [
    # Other base addresses through direct I/O.
    case("LPT1 by number", ["+mega8", "-%", "-p1"], 0,
         expect("\t% LPT port number 1\n\t% LPT base address 0x378\n", DETECTED), vtarget=vt()),
    case("LPT3 by address", ["+mega8", "-%", "-p3BC"], 0,
         expect("\t% LPT base address 0x3BC\n", DETECTED), vtarget=vt()),
    case("forced cycle time ignored", ["+mega8", "-p/dev/parport0,5"], 0,
         expect("warning: forced LPT cycle time will be ignored\n", DETECTED), vtarget=vt()),
    case("no such parport device", ["+mega8", "-p/dev/parport7"], 70,
         expect("Can't open parport device `/dev/parport7'\n"), vtarget=vt()),

    # Detection on a port with the plain default adapter: nothing found.
    case("ByteBlaster absent", ["+mega8", "-ab", PP], 70,
         expect("Altera ByteBlaster not found\n", absent=["Adapter enabled", "isp "]), vtarget=vt()),
    case("STK absent", ["+mega8", "-as", PP], 70,
         expect("Atmel STK* adapter not found\n", absent=["Adapter enabled", "isp "]), vtarget=vt()),
    case("automatic finds nothing, even forced", ["+mega8", "-aa", "-!", PP], 70,
         expect("Known buffered adapter not found\n", absent=["Adapter enabled", "isp "]), vtarget=vt()),
    # Forced past the detection, the ByteBlaster wiring is driven anyway: the
    # chip behind the default wiring never answers.
    case("ByteBlaster forced", ["+mega8", "-ab", "-!", PP], 40,
         expect("Altera ByteBlaster not found, but forced by '-!'\n", "Adapter enabled\n", "Can't resync\n",
                "Adapter disabled\n", absent=[DETECTED]), vtarget=vt()),
    case("STK forced onto an STK", ["+mega8", "-as", "-!", PP], 0, expect(DETECTED),
         vtarget=vt("--wiring", "stk200")),

    # User pin maps, inline and from a file; LEDs show the result at exit.
    case("user map inline", ["+mega8", "-%", "-am:name=Mine:" + MAP, PP], 0,
         expect("Adapter 'Mine'\n", "\t% Mine adapter mode\n", "Adapter enabled\n", DETECTED,
                "Adapter disabled\n", last=exit_line("low", led_ok="high")),
         vtarget=vt("--wiring", "map:" + MAP)),
    case("user map from a file", ["+mega8", "-%", "-am=cable.cfg", PP], 0,
         expect("\t% loading config file 'cable.cfg'\n", "Adapter 'From file'\n", DETECTED,
                last=exit_line("low", led_ok="high")),
         files={"cable.cfg": "# home made\nname = From file ; the label\n"
                + "".join(e + "   # pin\n" for e in MAP.split(":"))},
         vtarget=vt("--wiring", "map:" + MAP)),
    case("user map, failing run lights the error LED", ["+mega8", "-am:" + MAP, PP], 30,
         expect("Adapter ''\n", "Adapter disabled\n", last=exit_line("low", led_error="high")),
         vtarget=vt("--wiring", "map:" + MAP, "--fault", "signature=1E9999")),
    case("user map file not found", ["+mega8", "-am=nowhere.cfg", PP], 70,
         expect("File 'nowhere.cfg' not found\n", absent=["isp "]), vtarget=vt()),
    case("user map without mosi", ["+mega8", "-amX", PP], 70, expect("mosi must be defined\n"), vtarget=vt()),

    # The clock from the XTAL line.
    case("chip clocked from the adapter", ["+mega8", "-%", "-o0", PP], 0,
         expect("XTAL will be generated\n\t% with SCK low 2 periods, high 2 periods\n", DETECTED),
         vtarget=vt("--osc", "xtal")),
    case("STK generates the clock on D6", ["+mega8", "-o0", "-as", PP], 0, expect(DETECTED),
         vtarget=vt("--wiring", "stk200", "--osc", "xtal")),
    case("Xilinx cable has no XTAL", ["+mega8", "-o0", "-ax", PP], 70,
         expect("Can't generate XTAL, XILINX has no XTAL output\n"), vtarget=vt("--wiring", "xilinx")),
    # Port writes as fast as measured and a 300 kHz chip: SCK is too fast.
    case("SCK too fast for the chip", ["+mega8", PP], 40, expect("Can't resync\n", last=exit_line("high")),
         vtarget=vt("--lpt-cycle", "0.2", "--osc", "300k")),
]

# A factory-new mega8 runs at 1 MHz. Told that it runs at twice that, zindle
# makes SCK too fast and cannot synchronise; told the truth, it can. On the
# parallel port (at 0.6 us per access, so that rounding up to whole port
# writes cannot save the faster setting) and on an FT2232H, on the suite's
# deterministic clock and with every access taking its time for real.
for clock in ([], ["--realtime"]):
    for port, options in ((PP, ["--lpt-cycle", "0.6"]), ("-aft2232h", ["--ftdi", "ft2232h"])):
        for osc, status, outcome in (("-o2MHz", 40, expect("Can't resync\n", absent=[DETECTED])),
                                     ("-o1MHz", 0, expect(DETECTED))):
            CASES.append(case("mega8 at 1 MHz, %s, %s%s" % (osc, port, " realtime" if clock else ""),
                              ["+mega8", osc, port], status, outcome, vtarget=clock + ["--osc", "1M"] + options))
# The lock and fuse reads of a 90S4434 are the same instruction with the same
# answer: both are in the trace, as one line with their count.
CASES.append(case("identical instructions in a row are counted in the trace", ["+90S4434", PP], 0,
                  expect("Chip not locked\n", "isp 58 00 00 00 -> 00 58 00 DF x2\n"), vtarget=vt("--chip", "90S4434")))
CASES.append(case("exactly two clock periods per SCK phase are too few", ["+mega8", "-o2MHz", PP], 40,
                  expect("Can't resync\n"), vtarget=["--osc", "1M"]))

# A real program: erase, write and verify through ppdev, then verify again
# through direct I/O on the saved chip, whose FLASH the virtual target exports.
WORK = tempfile.mkdtemp(prefix="zindle-lpt-e2e-")
STATE = os.path.join(WORK, "m8.state")
FLASH_OUT = os.path.join(WORK, "flash.bin")


def flash_matches(text):
    problem = expect(DETECTED, "Total time")(text)
    if problem:
        return problem
    with open(FLASH_OUT, "rb") as f:
        flash = f.read()
    program = read_data("small_flash.bin", "rb")
    if flash[:len(program)] != program:
        return "FLASH differs from small_flash.bin"
    if flash[len(program):] != b"\xff" * (len(flash) - len(program)):
        return "FLASH not erased beyond the program"
    return None


CASES += [
    case("erase, write and verify", ["+mega8", "-ew", "-v", PP, "prog.hex"], 0,
         expect(DETECTED, "Total time", last=exit_line("high")),
         files={"prog.hex": read_data("small_flash.hex")}, vtarget=vt("--chip", "mega8", "--state", STATE)),
    case("verify through direct I/O", ["+mega8", "-v", "prog.hex"], 0, flash_matches,
         files={"prog.hex": read_data("small_flash.hex")},
         vtarget=["--state", STATE, "--flash-out", FLASH_OUT]),
]
