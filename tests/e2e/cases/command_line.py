# The command line: what the program prints and its exit status for runs that end before any adapter is touched.
import re

from zindle_e2e import HINT, case, echo, expect

# Name, arguments, the message after the command echo (exit status 70, then an empty line).
REFUSED = [
    ("a lone dash is ignored", ["-"], "Chip name must be specified\n"),
    ("unknown switch", ["+tiny13", "-x"], "Invalid switch x\n" + HINT + "\n"),
    ("unknown chip", ["+ATtiny99", "-ew", "a.hex"], "Unsupported device tiny99\n"),
    ("chip name missing", ["+", "-e"], "Chip name required for '+'\n"),
    ("write does not take e", ["+tiny13", "-we", "a.hex"], "Invalid value 'e' for switch w\n\n" + HINT + "\n"),
    ("verify and read", ["+tiny13", "-vr", "a.hex"], "Can't both read and write or verify\n"),
    ("frequency too high", ["+mega8", "-o41MHz"], "-o: OSC frequency must be 0 or from 1kHz to 40MHz\n"),
    ("two code files", ["+mega8", "-w", "a.hex", "-c", "b.hex"],
     "\tCan't use two files for CODE memory\na.hex\nb.hex\n"),
    ("three files", ["+mega8", "-w", "a.hex", "b.hex", "c.hex"], "Too many files\n"),
    ("fuses without write or verify", ["+tiny13", "-f_LOW=6A"],
     "Nothing to do with fuses, -w or -v must be specified\n"),
    ("bad special data command", ["+tiny13", "-w", "a.hex", "-c*BYTES3=200,A1B2"],
     "Invalid HEX file switch extension '-c*BYTES'\n"),
]
CASES = [case(name, args, 70, echo(*args) + message + "\n") for name, args, message in REFUSED] + [
    case("no arguments", [], 0, "Nothing to do!\n" + HINT + "\n"),
    case("blanks and tabs are echoed in quotes", ["+tiny13", "my file.hex", "-dtab\there.eep"], 70,
         'Command:\n  +tiny13 "my file.hex" "-dtab\there.eep"\n'
         "Nothing to do with files, -r or -w or -v must be specified\n\n"),
    case("general help", ["-h"], 0, lambda text: expect(echo("-h"), "\nSupported devices\n", "tiny13|tiny13A",
                                                         absent=["signature"])(text) or (
        None if re.search(r"\n\nFor latest versions see\n\S+\n\n\Z", text) else "no web address at the end")),
    case("help after a chip lists its fuses", ["+ATtiny13", "-?"], 0, expect(
        echo("+ATtiny13", "-?"), "\ntiny13|tiny13A signature 1E9007\n", absent=["Supported devices"])),
]
