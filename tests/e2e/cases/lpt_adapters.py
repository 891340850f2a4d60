# The parallel-port adapters: every built-in wiring and user maps, through ppdev and direct I/O; detection
# present, absent and forced; clock generation; an SCK too fast for the chip; the lines left at exit. The virtual
# target's trace goes to standard output with the program's lines, so each check sees both in order.
from zindle_e2e import *  # noqa: F401,F403

DETECTED = detected(M8)
MAP = "mosi=D0:miso=BUSY:sck=D1:reset=D2:enable=~D7:led_ok=D3:led_error=D4"
NOT_FOUND = ["Adapter enabled", "isp "]


def exit_line(enable, led_ok="low"):
    return "exit power low enable %s reset high led_ok %s led_error low\n" % (enable, led_ok)


def lpt(name, args, status, *parts, vtarget=(), absent=(), last=None, **options):
    return case(name, ["+mega8", *args], status, expect(*parts, absent=absent, last=last),
                vtarget=[*vtarget, "--trace", "/dev/stdout"], **options)


# vtarget wiring, -a value, detection line, mode line, enable level at exit.
WIRINGS = [
    ("kaldo", None, None, "KALDO adapter mode\n", "high"),
    ("stk200", "-as", "Atmel adapter for STK200 found\n", "STK adapter mode\n", "low"),
    ("stk300", "-as", "Atmel adapter for STK300 found\n", "STK adapter mode\n", "low"),
    ("byteblaster", "-ab", "ByteBlaster found\n", "ByteBlaster adapter mode\n", "low"),
    ("byteblastermv", "-ab", "ByteBlasterMV found\n", "ByteBlaster adapter mode\n", "low"),
    ("byteblaster2", "-ab", "ByteBlaster-II found\n", "ByteBlasterII adapter mode\n", "low"),
    ("xilinx", "-ax", None, "XILINX adapter mode\n", "low"),
    ("stk200", "-aa", "Atmel adapter for STK200 found\n", "STK adapter mode\n", "low"),
    ("byteblaster", "-aa", "ByteBlaster found\n", "ByteBlaster adapter mode\n", "low"),
    ("byteblaster2", "-aa", "ByteBlaster-II found\n", "ByteBlasterII adapter mode\n", "low"),
]
PORTS = [([PP], ["\t% Parallel port `/dev/parport0' found, ioctl interface activated\n"]),
         ([], ["\t% LPT base address 0x278\n", "\t% I/O permissions granted"])]
BUFFERED = {"low": (["Adapter enabled\n"], ["Adapter disabled\n"]), "high": ([], [])}  # by enable at exit
CASES = [lpt("%s %s %s" % (wiring, letter, port or "direct I/O"), ["-%"] + ([letter] if letter else []) + port, 0,
             *port_lines, "\t% LPT write cycle ", *(["\t% " + found] if found else []), "\t% " + mode,
             *BUFFERED[enable][0], "isp AC 53 00 00 -> 00 AC 53 00\n", DETECTED, "Reset pin released\n",
             *BUFFERED[enable][1], last=exit_line(enable), vtarget=["--wiring", wiring])
         for wiring, letter, found, mode, enable in WIRINGS for port, port_lines in PORTS]

CASES += [
    # Other base addresses through direct I/O.
    lpt("LPT1 by number", ["-%", "-p1"], 0, "\t% LPT port number 1\n\t% LPT base address 0x378\n", DETECTED),
    lpt("LPT3 by address", ["-%", "-p3BC"], 0, "\t% LPT base address 0x3BC\n", DETECTED),
    lpt("forced cycle time ignored", ["-p/dev/parport0,5"], 0, "warning: forced LPT cycle time will be ignored\n",
        DETECTED),
    lpt("no such parport device", ["-p/dev/parport7"], 70, "Can't open parport device `/dev/parport7'\n"),
    # Detection on a port with the plain default adapter: nothing found.
    lpt("ByteBlaster absent", ["-ab", PP], 70, "Altera ByteBlaster not found\n", absent=NOT_FOUND),
    lpt("STK absent", ["-as", PP], 70, "Atmel STK* adapter not found\n", absent=NOT_FOUND),
    lpt("automatic finds nothing, even forced", ["-aa", "-!", PP], 70, "Known buffered adapter not found\n",
        absent=NOT_FOUND),
    # Forced past the detection, the ByteBlaster wiring is driven anyway: the chip never answers.
    lpt("ByteBlaster forced", ["-ab", "-!", PP], 40, "Altera ByteBlaster not found, but forced by '-!'\n",
        "Adapter enabled\n", "Can't resync\n", "Adapter disabled\n", absent=[DETECTED]),
    # User pin maps, inline and from a file; LEDs show the result at exit.
    lpt("user map inline", ["-%", "-am:name=Mine:" + MAP, PP], 0, "Adapter 'Mine'\n", "\t% Mine adapter mode\n",
        "Adapter enabled\n", DETECTED, "Adapter disabled\n", last=exit_line("low", "high"),
        vtarget=["--wiring", "map:" + MAP]),
    lpt("user map from a file", ["-%", "-am=cable.cfg", PP], 0, "\t% loading config file 'cable.cfg'\n",
        "Adapter 'From file'\n", DETECTED, last=exit_line("low", "high"), vtarget=["--wiring", "map:" + MAP],
        files={"cable.cfg": "# home made\nname = From file ; the label\n" + "   # pin\n".join(MAP.split(":"))}),
    lpt("user map file not found", ["-am=nowhere.cfg", PP], 70, "File 'nowhere.cfg' not found\n", absent=["isp "]),
    lpt("user map without mosi", ["-amX", PP], 70, "mosi must be defined\n"),
    # The clock from the XTAL line.
    lpt("chip clocked from the adapter", ["-%", "-o0", PP], 0, "XTAL will be generated\n"
        "\t% with SCK low 2 periods, high 2 periods\n", DETECTED, vtarget=["--osc", "xtal"]),
    lpt("STK generates the clock on D6", ["-o0", "-as", PP], 0, DETECTED,
        vtarget=["--wiring", "stk200", "--osc", "xtal"]),
    lpt("Xilinx cable has no XTAL", ["-o0", "-ax", PP], 70, "Can't generate XTAL, XILINX has no XTAL output\n",
        vtarget=["--wiring", "xilinx"]),
    # Port writes as fast as measured and a 300 kHz chip: SCK is too fast.
    lpt("SCK too fast for the chip", [PP], 40, "Can't resync\n", last=exit_line("high"),
        vtarget=["--lpt-cycle", "0.2", "--osc", "300k"]),
    # The lock and fuse reads of a 90S4434 are the same instruction with the same answer: one trace line, counted.
    case("identical instructions in a row are counted in the trace", ["+90S4434", PP], 0, expect(
        NOT, "isp 58 00 00 00 -> 00 58 00 DF x2\n"), vtarget=["--chip", "90S4434", "--trace", "/dev/stdout"]),
    lpt("exactly two clock periods per SCK phase are too few", ["-o2MHz", PP], 40, "Can't resync\n",
        vtarget=["--osc", "1M"]),
    # A real program through direct I/O: erase, write and verify, the chip holding it afterwards.
    lpt("erase, write and verify through direct I/O", ["-ew", "-v", "prog.hex"], 0, DETECTED, "Verifying CODE memory\n",
        " passed\n", "Total time", last=exit_line("high"), vtarget=["--chip", "mega8"], files=FILES, state=True,
        check=chip_holds(padded(FLASH_BIN, 8192))),
]

# A factory-new mega8 runs at 1 MHz. Told that it runs at twice that, zindle makes SCK too fast and cannot
# synchronise; told the truth, it can. On the parallel port (at 0.6 us per access, so that rounding up to whole port
# writes cannot save the faster setting) and on an FT2232H, on the deterministic clock and in real time.
CASES += [case("mega8 at 1 MHz, %s, %s %s" % (osc, port, clock), ["+mega8", osc, port], status, outcome,
               vtarget=clock + ["--osc", "1M"] + options)
          for clock in ([], ["--realtime"])
          for port, options in ((PP, ["--lpt-cycle", "0.6"]), ("-aft2232h", ["--ftdi", "ft2232h"]))
          for osc, status, outcome in (("-o2MHz", 40, expect("Can't resync\n", absent=[DETECTED])),
                                       ("-o1MHz", 0, expect(DETECTED)))]
