# The adapter key (-k, -K) on a cable that has one, pressed by the virtual
# target half a second after the start: where the wait stands in the run
# (-k after power-up, -K before the input files are read and before power-up),
# and the refusal on an adapter without a key.
from programming_e2e import END_FAIL, END_OK, FUSES, PP, command, data, detected, exact, op
from zindle_e2e import case

MAP = "mosi=D0:miso=BUSY:sck=D1:reset=D2:enable=~D7:led_ok=D3:led_error=D4:key=~ACK"
ADAPTER = "-am:" + MAP
CABLE = ["--chip", "mega8", "--wiring", "map:" + MAP, "--key", "500"]
HEX = {"prog.hex": data("small_flash.hex")}
KEY = "Press ADAPTER KEY for continue.\nStart programming...\n"


def lines(*parts):
    return "".join(parts)


CASES = [
    case("-k waits after power-up, then programs",
         ["+mega8", "-k", "-ew", "-v", ADAPTER, PP, "prog.hex"], 0,
         exact(lines(command("+mega8", "-k", "-ew", "-v", ADAPTER, PP, "prog.hex"), "Adapter ''\n",
                     "Adapter enabled\n", KEY, detected("mega8|mega8A"), "Chip not locked\n", "Device erased\n",
                     detected("mega8|mega8A"), FUSES["mega8"], op("Programming CODE memory"),
                     op("Verifying CODE memory", result=" passed\n"), END_OK, "Adapter disabled\n")),
         files=HEX, vtarget=CABLE),
    case("-K waits before the files are read: a missing file shows after the key",
         ["+mega8", "-K", "-w", ADAPTER, PP, "missing.hex"], 70,
         exact(lines(command("+mega8", "-K", "-w", ADAPTER, PP, "missing.hex"), "Adapter ''\n", KEY,
                     "Can't open file 'missing.hex'\nNo such file or directory\n")),
         vtarget=CABLE),
    case("-k reads the files first: a missing file stops before the adapter is made",
         ["+mega8", "-k", "-w", ADAPTER, PP, "missing.hex"], 70,
         exact(lines(command("+mega8", "-k", "-w", ADAPTER, PP, "missing.hex"),
                     "Can't open file 'missing.hex'\nNo such file or directory\n")),
         vtarget=CABLE),
    case("-k on the default adapter, which has no key",
         ["+mega8", "-k", PP], 70,
         exact(lines(command("+mega8", "-k", PP),
                     "Key not defined for given adapter, can't process -k switch\n", END_FAIL)),
         vtarget=["--chip", "mega8"]),
]
