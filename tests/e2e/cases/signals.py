# Real signals in the middle of a run. A signal during a FLASH write (on the host's clock, so the write lasts far
# beyond it) ends the run with status 80, error LED on, power off; a closed output, a file-size limit and SIGKILL.
import signal
import time

from zindle_e2e import DATA, PP, os, output, running

MAP = "mosi=D0:miso=BUSY:sck=D1:reset=D2:enable=~D7:led_ok=D3:led_error=D4"  # buffer enable and both LEDs
CABLE = ["--trace", "run.trace", "--wiring", "map:" + MAP, "--"]
EXIT = "exit power low enable low reset high led_ok %s led_error %s"
SMALL, LARGE = (os.path.join(DATA, "hex", name) for name in ("small_flash.hex", "large_flash.hex"))
WRITING = b"Programming CODE memory\n"


def last_trace_line(work):
    with open(os.path.join(work, "run.trace")) as f:
        return (f.read().splitlines() or ["(empty trace)"])[-1].split(None, 1)[-1]


def interrupted(o, work, signum):
    proc, text, program = running([o.vtarget, "--clock", "host", "--chip", "mega2560", *CABLE, o.zindle, "+mega2560",
                                   "-ew", "-am:" + MAP, PP, LARGE], WRITING, cwd=work)
    if program is None:
        proc.kill()
        return "the write never started:\n" + text.decode("latin-1")
    time.sleep(0.3)
    os.kill(program, signum)
    text = (text + proc.communicate(timeout=60)[0]).decode("latin-1")
    tail = "\nTerminated by user (%s)\n\n\nReset pin released\nAdapter disabled\n" % signal.Signals(signum).name
    if proc.returncode != 80 or not text.endswith(tail) or " done (" in text.split(WRITING.decode(), 1)[1] \
            or last_trace_line(work) != EXIT % ("low", "high"):
        return "exit status %d (expected 80), at exit %r:\n%s" % (proc.returncode, last_trace_line(work), text[-400:])


def closed_output(o, work):
    """Standard output closed after the first bytes: the run goes on to its normal end."""
    proc, _, _ = running([o.vtarget, *CABLE, o.zindle, "+mega8", "-ew", "-am:" + MAP, PP, SMALL], b"", cwd=work)
    proc.stdout.read(100)
    proc.stdout.close()
    status, last = proc.wait(timeout=60), last_trace_line(work)
    return None if (status, last) == (0, EXIT % ("high", "low")) else "exit status %d, lines %r" % (status, last)


def file_size_limit(o, work):
    """A read-back larger than zindle's file-size limit (8 blocks): the write error is reported, the file deleted."""
    status, text = output([o.vtarget, "--", "sh", "-c", 'ulimit -f 8 && exec "$0" "$@"', o.zindle, "+mega8", "-r", PP,
                           "-c", "read.hex"], work)
    if status != 0 or "read.hex - write error\n" not in text or os.path.exists(os.path.join(work, "read.hex")):
        return "exit status %d, or file left:\n%s" % (status, text[-400:])


def killed_mid_write(o, work):
    """SIGKILL after the first kilobyte (two progress dots): the chip keeps the erase and the pages written."""
    proc, _, program = running([o.vtarget, "--deterministic", "--chip", "mega2560", "--state", "chip.state", "--",
                                o.zindle, "+mega2560", "-ew", PP, LARGE], WRITING + b"..", cwd=work)
    if program is not None:
        os.kill(program, signal.SIGKILL)
    proc.stdout.close()
    status = proc.wait(timeout=120)
    shown = output([o.vtarget, "--state", "chip.state", "--show", "--flash-out", "flash.bin"], work)[1]
    flash, program = (open(path, "rb").read() for path in (os.path.join(work, "flash.bin"),
                                                           os.path.join(DATA, "hex", "large_flash.bin")))
    problems = ["exit status %d, expected SIGKILL's" % status] if status != 128 + signal.SIGKILL else []
    problems += [] if "chip erases: 1\n" in shown else ["the erase was lost:\n" + shown]
    problems += [] if flash[:512] == program[:512] else ["the first pages were lost"]
    if flash[len(program) - 256:len(program)] != b"\xff" * 256:
        problems.append("the last page was written: zindle did not die in the middle")
    return "\n".join(problems) or None


TESTS = [("%s during a FLASH write" % s.name, lambda o, work, s=s: interrupted(o, work, s))
         for s in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)]
TESTS += [(test.__doc__.split(":")[0], test) for test in (closed_output, file_size_limit, killed_mid_write)]
