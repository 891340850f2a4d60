# sigrok-cli's SPI decoder reads from a run's VCD exactly the bytes its trace lists, both ways.
import shutil

from zindle_e2e import DATA, PP, os, output, re, subprocess

SKIP = None if shutil.which("sigrok-cli") else "sigrok-cli is not installed: skipped"
HEX = os.path.join(DATA, "hex", "small_flash.hex")
INSTRUCTION = re.compile(r"\s*[0-9.]+ isp ((?:[0-9A-F]{2} ){4})-> ((?:[0-9A-F]{2} ?){4})(?: x(\d+))?$")


def trace_bytes(path):
    """The instruction bytes the trace lists: (to the chip, from the chip)."""
    sent = [(" ".join([m.group(1)] * int(m.group(3) or 1)), " ".join([m.group(2)] * int(m.group(3) or 1)))
            for m in filter(None, map(INSTRUCTION.match, open(path)))]
    return tuple([int(b, 16) for b in " ".join(way).split()] for way in zip(*sent)) if sent else ([], [])


def decoded(vcd, line):
    """The bytes sigrok's SPI decoder (mode 0, no chip select) reads on one data line."""
    # compress: sigrok's VCD input would otherwise make one sample of every nanosecond.
    out = subprocess.run(["sigrok-cli", "-I", "vcd:compress=20", "-i", vcd, "-P",
                          "spi:clk=sck:%s=%s:cpol=0:cpha=0:bitorder=msb-first:wordsize=8" % (line, line),
                          "-A", "spi=%s-data" % line], stdout=subprocess.PIPE, check=True, universal_newlines=True)
    return [int(word, 16) for word in re.findall(r"^spi-1: ([0-9A-F]{2})$", out.stdout, re.M)]


def recorded(o, work, options, program):
    """None when a run under vtarget with a trace and a VCD is recorded right, else what is wrong."""
    program = [o.zindle if p == "zindle" else os.path.join(os.path.dirname(o.vtarget), p) if p == "vt_lpt_client"
               else p for p in program]
    status, text = output([o.vtarget, "--deterministic", "--chip", "mega8", *options, "--vcd", "run.vcd", "--trace",
                           "run.trace", "--", *program], work, 600)
    if status:
        return "exit status %d\n%s" % (status, text)
    mosi, miso = trace_bytes(os.path.join(work, "run.trace"))
    vcd = os.path.join(work, "run.vcd")
    got_mosi, got_miso = decoded(vcd, "mosi"), decoded(vcd, "miso")
    if not mosi or got_mosi != mosi or got_miso != miso:
        return "the decoder reads %d/%d bytes to/from the chip, the trace lists %d/%d" % (
            len(got_mosi), len(got_miso), len(mosi), len(miso))


TESTS = [(what, lambda o, work, options=options, program=program: recorded(o, work, options, program))
         for what, options, program in [
             ("zindle over ppdev", [], ["zindle", "+mega8", "-ew", "-v", PP, HEX]),
             ("zindle over direct I/O", [], ["zindle", "+mega8", "-ew", "-v", HEX]),
             ("zindle over an FT2232H, ISP lines only", ["--ftdi", "ft2232h", "--vcd-lines", "isp"],
              ["zindle", "+mega8", "-aft2232h", "-ew", "-v", HEX]),
             ("a script writing, then verifying in a second zindle: one recording", [],
              ["sh", "-c", '"$0" +mega8 -ew -p/dev/parport0 "$1" && "$0" +mega8 -v "$1"', "zindle", HEX]),
             ("the plain client programming a whole mega8 over ppdev", [],
              ["vt_lpt_client", "ppdev", "/dev/parport0", "program", "5"])]]
