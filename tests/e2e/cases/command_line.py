# The command line of the built program: what it prints and the exit status
# for runs that end before any adapter is touched.
import re

from zindle_e2e import HINT, case, echo, failed


def general_help(text):
    if not text.startswith(echo("-h")):
        return "the command echo does not come first"
    if "\nSupported devices\n" not in text or "tiny13|tiny13A" not in text:
        return "no device list"
    if "signature" in text:
        return "a chip's fuse list instead of the general help"
    if not re.search(r"\n\nFor latest versions see\n\S+\n\n\Z", text):
        return "does not end with the web address and the empty line of the end of the run"
    return None


def tiny13_fuses(text):
    if not text.startswith(echo("+ATtiny13", "-?")):
        return "the command echo does not come first"
    if "\ntiny13|tiny13A signature 1E9007\n" not in text:
        return "no tiny13 signature line"
    if "Supported devices" in text:
        return "the general help instead of the chip's fuse list"
    return None


CASES = [
    case("no arguments", [], 0, "Nothing to do!\n" + HINT + "\n"),
    case("a lone dash is ignored", ["-"], 70, echo("-") + failed("Chip name must be specified\n")),
    case("unknown switch", ["+tiny13", "-x"], 70, echo("+tiny13", "-x") + failed("Invalid switch x\n" + HINT + "\n")),
    case("unknown chip", ["+ATtiny99", "-ew", "a.hex"], 70,
         echo("+ATtiny99", "-ew", "a.hex") + failed("Unsupported device tiny99\n")),
    case("chip name missing", ["+", "-e"], 70, echo("+", "-e") + failed("Chip name required for '+'\n")),
    case("write does not take e", ["+tiny13", "-we", "a.hex"], 70,
         echo("+tiny13", "-we", "a.hex") + failed("Invalid value 'e' for switch w\n\n" + HINT + "\n")),
    case("no chip", ["-ew", "a.hex"], 70, echo("-ew", "a.hex") + failed("Chip name must be specified\n")),
    case("verify and read", ["+tiny13", "-vr", "a.hex"], 70,
         echo("+tiny13", "-vr", "a.hex") + failed("Can't both read and write or verify\n")),
    case("frequency too high", ["+mega8", "-o41MHz"], 70,
         echo("+mega8", "-o41MHz") + failed("-o: OSC frequency must be 0 or from 1kHz to 40MHz\n")),
    case("two code files", ["+mega8", "-w", "a.hex", "-c", "b.hex"], 70,
         echo("+mega8", "-w", "a.hex", "-c", "b.hex")
         + failed("\tCan't use two files for CODE memory\na.hex\nb.hex\n")),
    case("three files", ["+mega8", "-w", "a.hex", "b.hex", "c.hex"], 70,
         echo("+mega8", "-w", "a.hex", "b.hex", "c.hex") + failed("Too many files\n")),
    case("fuses without write or verify", ["+tiny13", "-f_LOW=6A"], 70,
         echo("+tiny13", "-f_LOW=6A") + failed("Nothing to do with fuses, -w or -v must be specified\n")),
    case("blanks and tabs are echoed in quotes", ["+tiny13", "my file.hex", "-dtab\there.eep"], 70,
         'Command:\n  +tiny13 "my file.hex" "-dtab\there.eep"\n'
         + failed("Nothing to do with files, -r or -w or -v must be specified\n")),
    case("bad special data command", ["+tiny13", "-w", "a.hex", "-c*BYTES3=200,A1B2"], 70,
         echo("+tiny13", "-w", "a.hex", "-c*BYTES3=200,A1B2")
         + failed("Invalid HEX file switch extension '-c*BYTES'\n")),
    # The input files are read before the adapter is created, so a missing one
    # stops the run without touching any port: the system's reason follows.
    case("missing input file", ["+tiny13", "-ew", "missing.hex"], 70,
         echo("+tiny13", "-ew", "missing.hex") + "Can't open file 'missing.hex'\nNo such file or directory\n"),
    case("general help", ["-h"], 0, general_help),
    case("help after a chip lists its fuses", ["+ATtiny13", "-?"], 0, tiny13_fuses),
]
