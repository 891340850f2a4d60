# The FTDI adapters end to end through the virtual target's D2XX library:
# listing, opening by default description, d= and s=, the channel rules of
# each chip type, type mismatch, library and USB failures, and whole
# programming runs on FT2232C/D, FT2232H and FT4232H with a moved RESET,
# LEDs and a key.
import os
import re

from zindle_e2e import case, expect as contains, echo, failed

DATA = os.environ.get("ZINDLE_TEST_DATA", os.path.join(os.path.dirname(__file__), "..", "..", "data"))
FLASH_HEX = os.path.join(DATA, "hex", "small_flash.hex")
FLASH_BIN = os.path.join(DATA, "hex", "small_flash.bin")


def mismatch(requested, found):
    return failed("Can't use opened FTDI device (some of parameters not match)\n"
                  "Requested  %s\nFound      %s\n" % (requested, found))


IDENTIFIED_MEGA8 = contains("Device connected, mega8|mega8A detected\n", "Reset pin released\n")
OPENED = "\t% FTDI driver version "  # printed at the debug level once the channel is open

# One map per chip type: RESET moved off bit 3, both LEDs and an inverted key.
MAPS = {
    "ft2232c": ("ft2232", "reset=acbus2:led_ok=acbus0:led_error=acbus1:key=~acbus3"),
    "ft2232h": ("ft2232h", "reset=cbus2:led_ok=cbus0:led_error=cbus1:key=~cbus4"),
    "ft4232h": ("ft4232h", "reset=dbus5:led_ok=dbus6:led_error=dbus7:key=~dbus4"),
}


def programming_run(chip):
    adapter, pins = MAPS[chip]
    return case("erase, write and verify on %s with a pin map" % chip,
                ["+mega328p", "-a%s:%s" % (adapter, pins), "-ew", "-v", FLASH_HEX], 0,
                contains("Device erased\n", "Programming CODE memory\n", "Verifying CODE memory\n", " passed\n",
                         "Reset pin released\n"),
                vtarget=["--chip", "mega328p", "--ftdi", chip, "--wiring", "map:" + pins])


CASES = [
    case("listing of every channel", ["-aft2232h", "-p?"], 0,
         echo("-aft2232h", "-p?")
         + "6 FTDI devices detected\n"
         ' 0: FT_DEVICE_2232H (0x6) - "Dual RS232-HS A", serno "VT000001A"\n'
         ' 1: FT_DEVICE_2232H (0x6) - "Dual RS232-HS B", serno "VT000001B"\n'
         ' 2: FT_DEVICE_4232H (0x7) - "Quad RS232-HS A", serno "VT000002A"\n'
         ' 3: FT_DEVICE_4232H (0x7) - "Quad RS232-HS B", serno "VT000002B"\n'
         ' 4: FT_DEVICE_4232H (0x7) - "Quad RS232-HS C", serno "VT000002C"\n'
         ' 5: FT_DEVICE_4232H (0x7) - "Quad RS232-HS D", serno "VT000002D"\n\n',
         vtarget=["--ftdi", "ft2232h", "--ftdi", "ft4232h"]),
    # A listing with a file to program: no chip is named, so none is looked up for the file.
    case("listing with a file", ["-aft2232", "-w", "-p?", FLASH_HEX], 0,
         echo("-aft2232", "-w", "-p?", FLASH_HEX) + "2 FTDI devices detected\n"
         ' 0: FT_DEVICE_2232C (0x4) - "Dual RS232 A", serno "VT000001A"\n'
         ' 1: FT_DEVICE_2232C (0x4) - "Dual RS232 B", serno "VT000001B"\n\n',
         vtarget=["--ftdi", "ft2232c"]),
    case("listing without devices", ["-aft2232", "-p?"], 70,
         echo("-aft2232", "-p?") + failed("No FTDI devices found\n"),
         vtarget=["--ftdi", "ft2232c", "--fault", "no-ftdi"]),

    # Opening without -p: the factory description of channel A, with the debug lines of the binding.
    case("default description on FT2232H", ["+mega8", "-aft2232h", "-%"], 0,
         contains('No FTDI "port" switch found\ndevice with default description "Dual RS232-HS A" will be used\n'
                  "\t% 'libftd2xx.so' successfully loaded, version ", OPENED,
                  "\t% FT2232 MPSSE SPI adapter created, SCK frequency 188kHz\n",
                  "Device connected, mega8|mega8A detected\n"),
         vtarget=["--ftdi", "ft2232h"]),
    case("default description on FT4232H", ["+mega8", "-aft4232h"], 0, IDENTIFIED_MEGA8,
         vtarget=["--ftdi", "ft4232h"]),
    case("default description on FT2232C/D", ["+mega8", "-aft2232"], 0, IDENTIFIED_MEGA8,
         vtarget=["--ftdi", "ft2232c"]),
    case("default description missing", ["+mega8", "-aft2232h"], 70,
         echo("+mega8", "-aft2232h")
         + failed('Can\'t open FTDI device with description "Dual RS232-HS A" (FT_DEVICE_NOT_FOUND)\n'),
         vtarget=["--ftdi", "ft2232c"]),
    case("opening by serial number", ["+mega8", "-aft2232h", "-ps=VT000001A"], 0, IDENTIFIED_MEGA8,
         vtarget=["--ftdi", "ft2232h"]),
    case("opening by description", ["+mega8", "-aFT4232H", "-pd=Quad RS232-HS A,v=0403,p=6011"], 0,
         IDENTIFIED_MEGA8, vtarget=["--ftdi", "ft4232h"]),
    case("serial number and description must both match", ["+mega8", "-aft2232h", "-ps=VT000001B,d=Dual RS232-HS A"],
         70, echo("+mega8", "-aft2232h", '"-ps=VT000001B,d=Dual RS232-HS A"')
         + mismatch('FT_DEVICE_2232H (0x6) - "Dual RS232-HS A", serno "VT000001B"',
                    'FT_DEVICE_2232H (0x6) - "Dual RS232-HS B", serno "VT000001B"'),
         vtarget=["--ftdi", "ft2232h"]),
    case("type mismatch", ["+mega8", "-aft2232h", "-pd=Quad RS232-HS A"], 70,
         echo("+mega8", "-aft2232h", '"-pd=Quad RS232-HS A"')
         + mismatch('FT_DEVICE_2232H (0x6) - "Quad RS232-HS A", serno "any"',
                    'FT_DEVICE_4232H (0x7) - "Quad RS232-HS A", serno "VT000001A"'),
         vtarget=["--ftdi", "ft4232h"]),
    case("VID and PID alone do not open", ["+mega8", "-aft2232h", "-pv=0403,p=6010"], 70,
         echo("+mega8", "-aft2232h", "-pv=0403,p=6010")
         + failed("Description and/or serial number must be set for FTDI device opening\n"),
         vtarget=["--ftdi", "ft2232h"]),

    # Channel rules. The simulated chip hangs on channel A only, so an allowed
    # channel B opens and then finds no target.
    case("FT2232H channel B is allowed", ["+mega8", "-aft2232h", "-pd=Dual RS232-HS B", "-%"], 40,
         contains(OPENED, absent=["can't be used for MPSSE mode"]), vtarget=["--ftdi", "ft2232h"]),
    case("FT4232H channel B is allowed", ["+mega8", "-aft4232h", "-pd=Quad RS232-HS B", "-%"], 40,
         contains(OPENED, absent=["can't be used for MPSSE mode"]), vtarget=["--ftdi", "ft4232h"]),
    case("FT2232C/D channel B is refused", ["+mega8", "-aft2232", "-pd=Dual RS232 B"], 70,
         echo("+mega8", "-aft2232", '"-pd=Dual RS232 B"') + failed("Channel B can't be used for MPSSE mode\n"),
         vtarget=["--ftdi", "ft2232c"]),
    case("FT4232H channel C is refused", ["+mega8", "-aft4232h", "-pd=Quad RS232-HS C"], 70,
         echo("+mega8", "-aft4232h", '"-pd=Quad RS232-HS C"') + failed("Channel C can't be used for MPSSE mode\n"),
         vtarget=["--ftdi", "ft4232h"]),
    case("FT4232H channel D is refused", ["+mega8", "-aft4232h", "-ps=VT000001D"], 70,
         echo("+mega8", "-aft4232h", "-ps=VT000001D") + failed("Channel D can't be used for MPSSE mode\n"),
         vtarget=["--ftdi", "ft4232h"]),

    # Adapter and -p refusals before or while opening.
    case("no generated clock", ["+mega8", "-aft2232h", "-o0"], 70,
         echo("+mega8", "-aft2232h", "-o0") + failed("FT2232/FT4232 hardware SPI adapter can't generate XTAL\n"),
         vtarget=["--ftdi", "ft2232h"]),
    case("SCK on another pin", ["+mega8", "-aft2232h:sck=dbus3"], 70,
         echo("+mega8", "-aft2232h:sck=dbus3")
         + failed("FT2232/FT4232 hardware SPI adapter can use only predefind MOSI,MISO and SCK\n"),
         vtarget=["--ftdi", "ft2232h"]),
    case("VID without PID", ["+mega8", "-aft2232h", "-pv=403"], 70,
         echo("+mega8", "-aft2232h", "-pv=403") + failed("Both VID and PID must be set\n"),
         vtarget=["--ftdi", "ft2232h"]),

    # The library and the USB transfers.
    # Needs vtarget to put the variant library without FT_GetStatus
    # (BUILD/sim/ftdi/missing/FT_GetStatus) first on the library path.
    case("library that lacks a function", ["+mega8", "-aft2232h"], 70,
         re.compile(re.escape(echo("+mega8", "-aft2232h"))
                    + r"Can't get function 'FT_GetStatus' from library 'libftd2xx\.so' \([^\n]*FT_GetStatus[^\n]*\)\n\n"),
         vtarget=["--ftdi", "ft2232h", "--fault", "missing-function=FT_GetStatus"]),
    case("no library at all", ["+mega8", "-aft2232h"], 70,
         re.compile(re.escape(echo("+mega8", "-aft2232h")) + r"Can't load library 'libftd2xx\.so' \([^\n]+\)\n\n")),
    case("short read from the chip", ["+mega8", "-aft2232h"], 70,
         contains(echo("+mega8", "-aft2232h") + failed("Can't read from FTDI chip\n")),
         vtarget=["--ftdi", "ft2232h", "--fault", "usb-short-read=2"]),
    case("USB write error", ["+mega8", "-aft2232h"], 70,
         contains(echo("+mega8", "-aft2232h") + failed("Can't write to FTDI chip (FT_IO_ERROR)\n")),
         vtarget=["--ftdi", "ft2232h", "--fault", "usb-write-error=3"]),
    case("USB read error", ["+mega8", "-aft4232h"], 70,
         contains(echo("+mega8", "-aft4232h") + failed("Can't read from FTDI chip (FT_IO_ERROR)\n")),
         vtarget=["--ftdi", "ft4232h", "--fault", "usb-read-error=1"]),

    # Whole runs.
    programming_run("ft2232c"),
    programming_run("ft2232h"),
    programming_run("ft4232h"),
    case("reading back a known FLASH", ["+mega328p", "-aft2232h", "-v", FLASH_HEX], 0,
         contains("Verifying CODE memory\n", " passed\n"),
         vtarget=["--chip", "mega328p", "--flash-in", FLASH_BIN, "--ftdi", "ft2232h"]),
    case("outputs off after the run", ["+mega8", "-aft2232h", "-az"], 0,
         contains("Reset pin released\n",
                  "FT2232 left in MPSSE mode with programming pins configured as inputs\n"),
         vtarget=["--ftdi", "ft2232h"]),
    # A parallel-port run does not need the D2XX library ("no library at all"
    # above shows it is not on the plain search path; here the bench's copy is
    # on it but never loaded).
    case("LPT adapter run", ["+mega8", "-p/dev/parport0"], 0, IDENTIFIED_MEGA8,
         vtarget=[]),
]
