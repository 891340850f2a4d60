# The FTDI adapters through the virtual target's D2XX library: listing, opening by default description, d= and s=,
# the channel rules of each chip type, type mismatch, library failures, and whole programming runs (each opened by
# its default description) on FT2232C/D, FT2232H and FT4232H with a moved RESET, LEDs and a key.
import os
import re

from zindle_e2e import DATA, FLASH_BIN, case, chip_holds, echo, expect, padded

FLASH_HEX = os.path.join(DATA, "hex", "small_flash.hex")
IDENTIFIED = expect("Device connected, mega8|mega8A detected\n", "Reset pin released\n")
OPENED = "\t% FTDI driver version "  # printed at the debug level once the channel is open
MISMATCH = "Can't use opened FTDI device (some of parameters not match)\nRequested  %s\nFound      %s\n"
LISTED = ' %d: FT_DEVICE_%s - "%s RS232%s %s", serno "VT00000%d%s"\n'
# One map per chip type: RESET moved off bit 3, both LEDs and an inverted key.
MAPS = {"ft2232c": ("ft2232", "reset=acbus2:led_ok=acbus0:led_error=acbus1:key=~acbus3"),
        "ft2232h": ("ft2232h", "reset=cbus2:led_ok=cbus0:led_error=cbus1:key=~cbus4"),
        "ft4232h": ("ft4232h", "reset=dbus5:led_ok=dbus6:led_error=dbus7:key=~dbus4")}


def ftdi(name, args, status, stdout, chip="ft2232h", fault=None, extra=(), **options):
    """A run under one FTDI chip; a str stdout is the whole output after the echo but for the last empty line."""
    return case(name, args, status, echo(*args) + stdout + "\n" if isinstance(stdout, str) else stdout,
                vtarget=["--ftdi", chip, *(["--fault", fault] if fault else []), *extra], **options)


CASES = [
    ftdi("listing of every channel", ["-aft2232h", "-p?"], 0, "6 FTDI devices detected\n" + "".join(
        LISTED % (n, kind, quad, "-HS", channel, 1 + (n > 1), channel)
        for n, (kind, quad, channel) in enumerate([("2232H (0x6)", "Dual", c) for c in "AB"]
                                                  + [("4232H (0x7)", "Quad", c) for c in "ABCD"])),
         extra=["--ftdi", "ft4232h"]),
    # A listing with a file to program: no chip is named, so none is looked up for the file.
    ftdi("listing with a file", ["-aft2232", "-w", "-p?", FLASH_HEX], 0, "2 FTDI devices detected\n" + "".join(
        LISTED % (n, "2232C (0x4)", "Dual", "", c, 1, c) for n, c in enumerate("AB")), chip="ft2232c"),
    ftdi("listing without devices", ["-aft2232", "-p?"], 70, "No FTDI devices found\n", chip="ft2232c",
         fault="no-ftdi"),
    # Opening without -p: the factory description of channel A, with the debug lines of the binding.
    ftdi("default description on FT2232H", ["+mega8", "-aft2232h", "-%"], 0, expect(
        'No FTDI "port" switch found\ndevice with default description "Dual RS232-HS A" will be used\n'
        "\t% 'libftd2xx.so' successfully loaded, version ", OPENED,
        "\t% FT2232 MPSSE SPI adapter created, SCK frequency 188kHz\n", "Device connected, mega8|mega8A detected\n")),
    ftdi("opening by serial number", ["+mega8", "-aft2232h", "-ps=VT000001A"], 0, IDENTIFIED),
    ftdi("opening by description", ["+mega8", "-aFT4232H", "-pd=Quad RS232-HS A,v=0403,p=6011"], 0, IDENTIFIED,
         chip="ft4232h"),
    # The simulated chip hangs on channel A only: an allowed channel B opens, then finds no target.
    *[ftdi("%s channel B is allowed" % chip, ["+mega8", "-a" + chip, "-pd=%s RS232-HS B" % quad, "-%"], 40,
           expect(OPENED, absent=["can't be used for MPSSE mode"]), chip=chip) for chip, quad in (("ft2232h", "Dual"),
                                                                                                 ("ft4232h", "Quad"))],
    # The library and the USB transfers. vtarget puts the variant library without FT_GetStatus first.
    ftdi("library that lacks a function", ["+mega8", "-aft2232h"], 70, expect(
        echo("+mega8", "-aft2232h") + "Can't get function 'FT_GetStatus' from library 'libftd2xx.so' (",
        "FT_GetStatus"), fault="missing-function=FT_GetStatus"),
    case("no library at all", ["+mega8", "-aft2232h"], 70, lambda text: None if re.fullmatch(
        re.escape(echo("+mega8", "-aft2232h")) + r"Can't load library 'libftd2xx\.so' \([^\n]+\)\n\n", text)
        else "no library refusal:\n" + text),
    # Whole runs: the chip holds the program afterwards.
    *[ftdi("erase, write and verify on %s with a pin map" % chip, ["+mega328p", "-a%s:%s" % MAPS[chip], "-ew", "-v",
                                                                   FLASH_HEX], 0,
           expect("Device erased\n", "Programming CODE memory\n", "Verifying CODE memory\n", " passed\n",
                  "Reset pin released\n"), chip=chip, extra=["--chip", "mega328p", "--wiring", "map:" + MAPS[chip][1]],
           state=True, check=chip_holds(padded(FLASH_BIN, 32768))) for chip in MAPS],
    # A parallel-port run does not load the D2XX library (on the search path here, unlike "no library at all").
    case("LPT adapter run", ["+mega8", "-p/dev/parport0"], 0, IDENTIFIED, vtarget=[]),
]
# Refusals before or while opening: name, zindle arguments after +mega8, FTDI chip, message.
REFUSED = [
    ("default description missing", ["-aft2232h"], "ft2232c",
     'Can\'t open FTDI device with description "Dual RS232-HS A" (FT_DEVICE_NOT_FOUND)\n'),
    ("serial number and description must both match", ["-aft2232h", "-ps=VT000001B,d=Dual RS232-HS A"], "ft2232h",
     MISMATCH % ('FT_DEVICE_2232H (0x6) - "Dual RS232-HS A", serno "VT000001B"',
                 'FT_DEVICE_2232H (0x6) - "Dual RS232-HS B", serno "VT000001B"')),
    ("type mismatch", ["-aft2232h", "-pd=Quad RS232-HS A"], "ft4232h",
     MISMATCH % ('FT_DEVICE_2232H (0x6) - "Quad RS232-HS A", serno "any"',
                 'FT_DEVICE_4232H (0x7) - "Quad RS232-HS A", serno "VT000001A"')),
    ("VID and PID alone do not open", ["-aft2232h", "-pv=0403,p=6010"], "ft2232h",
     "Description and/or serial number must be set for FTDI device opening\n"),
    ("FT2232C/D channel B", ["-aft2232", "-pd=Dual RS232 B"], "ft2232c", "Channel B can't be used for MPSSE mode\n"),
    ("FT4232H channel C", ["-aft4232h", "-pd=Quad RS232-HS C"], "ft4232h", "Channel C can't be used for MPSSE mode\n"),
    ("no generated clock", ["-aft2232h", "-o0"], "ft2232h", "FT2232/FT4232 hardware SPI adapter can't generate XTAL\n"),
    ("SCK on another pin", ["-aft2232h:sck=dbus3"], "ft2232h",
     "FT2232/FT4232 hardware SPI adapter can use only predefind MOSI,MISO and SCK\n"),
    ("VID without PID", ["-aft2232h", "-pv=403"], "ft2232h", "Both VID and PID must be set\n"),
]
CASES += [ftdi(name, ["+mega8", *args], 70, message, chip=chip) for name, args, chip, message in REFUSED]
