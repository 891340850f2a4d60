#!/usr/bin/env python3
"""signal_test.py --zindle ZINDLE --vtarget VTARGET: real signals in the middle of a run. A signal during a FLASH
write (on the host's clock, so the write lasts far beyond it) ends the run with status 80, error LED on, power off."""
import argparse
import os
import signal
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from zindle_e2e import DATA, PP, child_of, read_until, report  # noqa: E402

MAP = "mosi=D0:miso=BUSY:sck=D1:reset=D2:enable=~D7:led_ok=D3:led_error=D4"  # buffer enable and both LEDs
EXIT = "exit power low enable low reset high led_ok %s led_error %s"
SMALL, LARGE = (os.path.join(DATA, "hex", name) for name in ("small_flash.hex", "large_flash.hex"))
WRITING = b"Programming CODE memory\n"


def last_trace_line(trace):
    with open(trace) as f:
        lines = f.read().splitlines()
    return lines[-1].split(None, 1)[1] if lines else "(empty trace)"


def interrupted(zindle, vtarget, signum):
    with tempfile.TemporaryDirectory(prefix="zindle-signal-") as work:
        trace = os.path.join(work, "run.trace")
        proc = subprocess.Popen([vtarget, "--clock", "host", "--chip", "mega2560", "--trace", trace, "--wiring",
                                 "map:" + MAP, "--", zindle, "+mega2560", "-ew", "-am:" + MAP, PP, LARGE], cwd=work,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        output, program = read_until(proc.stdout, WRITING), child_of(proc.pid)
        if program is None or WRITING not in output:
            proc.kill()
            return "the write never started:\n" + output.decode("latin-1")
        time.sleep(0.3)
        os.kill(program, signum)
        text = (output + proc.communicate(timeout=60)[0]).decode("latin-1")
        last = last_trace_line(trace)
    tail = "\nTerminated by user (%s)\n\n\nReset pin released\nAdapter disabled\n" % signal.Signals(signum).name
    if proc.returncode != 80 or not text.endswith(tail) or " done (" in text.split(WRITING.decode(), 1)[1] \
            or last != EXIT % ("low", "high"):
        return "exit status %d (expected 80), lines at exit %r, output:\n%s" % (proc.returncode, last, text[-400:])
    return None


def closed_output(zindle, vtarget):
    """Standard output closed after the first bytes: the run goes on to its normal end."""
    with tempfile.TemporaryDirectory(prefix="zindle-signal-") as work:
        trace = os.path.join(work, "run.trace")
        proc = subprocess.Popen([vtarget, "--trace", trace, "--wiring", "map:" + MAP, "--", zindle, "+mega8", "-ew",
                                 "-am:" + MAP, PP, SMALL], cwd=work, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        proc.stdout.read(100)
        proc.stdout.close()
        status, last = proc.wait(timeout=60), last_trace_line(trace)
    return None if (status, last) == (0, EXIT % ("high", "low")) else "exit status %d, lines %r" % (status, last)


def file_size_limit(zindle, vtarget):
    """A read-back larger than zindle's file-size limit (8 blocks): the write error is reported, the file deleted."""
    limited = ["sh", "-c", 'ulimit -f 8 && exec "$0" "$@"', zindle]
    with tempfile.TemporaryDirectory(prefix="zindle-signal-") as work:
        done = subprocess.run([vtarget, "--", *limited, "+mega8", "-r", PP, "-c", "read.hex"], cwd=work,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=60)
        left = os.path.exists(os.path.join(work, "read.hex"))
    text = done.stdout.decode("latin-1")
    if done.returncode != 0 or "read.hex - write error\n" not in text or left:
        return "exit status %d, file left: %s\n%s" % (done.returncode, left, text[-400:])
    return None


def killed_mid_write(zindle, vtarget):
    """SIGKILL after the first kilobyte (two progress dots): the chip keeps the erase and the pages written."""
    with tempfile.TemporaryDirectory(prefix="zindle-signal-") as work:
        state, flash_out = os.path.join(work, "chip.state"), os.path.join(work, "flash.bin")
        proc = subprocess.Popen([vtarget, "--deterministic", "--chip", "mega2560", "--state", state, "--", zindle,
                                 "+mega2560", "-ew", PP, LARGE], cwd=work, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE)
        read_until(proc.stdout, WRITING + b"..")
        program = child_of(proc.pid)
        if program is not None:
            os.kill(program, signal.SIGKILL)
        proc.stdout.close()
        status = proc.wait(timeout=120)
        shown = subprocess.run([vtarget, "--state", state, "--show", "--flash-out", flash_out],
                               stdout=subprocess.PIPE, timeout=60).stdout.decode("latin-1")
        flash = open(flash_out, "rb").read()
    program = open(os.path.join(DATA, "hex", "large_flash.bin"), "rb").read()
    problems = ["exit status %d, expected SIGKILL's" % status] if status != 128 + signal.SIGKILL else []
    problems += [] if "chip erases: 1\n" in shown else ["the erase was lost:\n" + shown]
    problems += [] if flash[:512] == program[:512] else ["the first pages were lost"]
    if flash[len(program) - 256:len(program)] != b"\xff" * 256:
        problems.append("the last page was written: zindle did not die in the middle")
    return "\n".join(problems) or None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--zindle", required=True)
    parser.add_argument("--vtarget", required=True)
    o = parser.parse_args()
    zindle, vtarget = os.path.abspath(o.zindle), os.path.abspath(o.vtarget)
    results = [("%s during a FLASH write" % s.name, interrupted(zindle, vtarget, s))
               for s in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)]
    return report(results + [(test.__doc__.split(":")[0], test(zindle, vtarget))
                             for test in (closed_output, file_size_limit, killed_mid_write)])


if __name__ == "__main__":
    sys.exit(main())
