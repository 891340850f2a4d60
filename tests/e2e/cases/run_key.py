# The adapter key (-k, -K), pressed by the virtual target half a second after the start: -k waits after power-up,
# -K before the input files are read and before power-up; the refusal on an adapter without a key.
from zindle_e2e import *  # noqa: F401,F403

MAP = "mosi=D0:miso=BUSY:sck=D1:reset=D2:enable=~D7:led_ok=D3:led_error=D4:key=~ACK"
CABLE = ["--wiring", "map:" + MAP, "--key", "500"]
KEY = "Press ADAPTER KEY for continue.\nStart programming...\n"
MISSING = "Can't open file 'missing.hex'\nNo such file or directory\n"

CASES = [
    prog("-k waits after power-up, then programs", ["-k", "-ew", "-v", "-am:" + MAP, PP, "prog.hex"], 0, NOT
         + "Device erased\n" + detected(M8) + FUSES["mega8"] + op("Programming CODE memory")
         + op("Verifying CODE memory", result=" passed\n") + END_OK + "Adapter disabled\n",
         ident="Adapter ''\nAdapter enabled\n" + KEY + detected(M8), vtarget=CABLE, port=None),
    prog("-K waits before the files are read", ["-K", "-w", "-am:" + MAP, PP, "missing.hex"], 70, "",
         ident="Adapter ''\n" + KEY + MISSING, vtarget=CABLE, port=None),
    prog("-k reads the files first: a missing file stops before the adapter is made",
         ["-k", "-w", "-am:" + MAP, PP, "missing.hex"], 70, "", ident=MISSING, vtarget=CABLE, port=None),
    prog("-k on the default adapter, which has no key", ["-k"], 70, "", ident="Key not defined for given adapter, "
         "can't process -k switch\n" + END_FAIL),
]
