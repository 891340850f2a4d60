#!/usr/bin/env python3
"""Real signals in the middle of a run, end to end.

    signal_test.py --zindle BUILD/zindle --vtarget BUILD/sim/vtarget

zindle runs under the virtual target writing a large program; once the
programming has started, SIGINT (then, in further runs, SIGTERM and SIGHUP)
is sent to zindle itself. It must stop after the instruction under way with
the termination message and status 80, switch the error LED on, power the
adapter down in order, and leave the lines inactive (the trace's last line).
These runs use the host's clock: zindle's page waits are real sleeps, so the
write lasts seconds however loaded the host is, far beyond the moment of the
signal. Output to a pipe closed early and a file-size limit below the size of
the HEX file read back must not kill it: the run ends normally, the file that
could not be written is deleted.

A last run kills zindle outright (SIGKILL) in the middle of the write: the chip
must stay as a real one would, erased and half-written. Ends with the line
"N passed, N failed".
"""

import argparse
import os
import signal
import subprocess
import sys
import tempfile
import time

DATA = os.environ.get("ZINDLE_TEST_DATA", os.path.join(os.path.dirname(__file__), "..", "data"))
# A home-made cable with a buffer enable and both LEDs, on the port and in zindle.
MAP = "mosi=D0:miso=BUSY:sck=D1:reset=D2:enable=~D7:led_ok=D3:led_error=D4"
# At rest after a failed run: no power, buffer disabled, reset released, the
# error LED on.
EXIT_LINE = "exit power low enable low reset high led_ok low led_error high"
EXIT_OK = "exit power low enable low reset high led_ok high led_error low"
SMALL = os.path.join(DATA, "hex", "small_flash.hex")


def child_of(pid):
    """The program vtarget started (its only child)."""
    deadline = time.time() + 10
    while time.time() < deadline:
        try:
            with open("/proc/%d/task/%d/children" % (pid, pid)) as f:
                children = f.read().split()
            if children:
                return int(children[0])
        except OSError:
            pass
        time.sleep(0.01)
    return None


def run(zindle, vtarget, signum):
    with tempfile.TemporaryDirectory(prefix="zindle-signal-") as work:
        trace = os.path.join(work, "run.trace")
        command = [vtarget, "--clock", "host", "--chip", "mega2560", "--state", os.path.join(work, "chip.state"), "--trace", trace,
                   "--wiring", "map:" + MAP, "--", zindle, "+mega2560", "-ew", "-am:" + MAP, "-p/dev/parport0", os.path.join(DATA, "hex", "large_flash.hex")]
        proc = subprocess.Popen(command, cwd=work, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        output = b""
        while b"Programming CODE memory\n" not in output:
            piece = proc.stdout.read1(4096)
            if not piece:
                break
            output += piece
        program = child_of(proc.pid)
        if program is None or b"Programming CODE memory\n" not in output:
            proc.kill()
            return "the write never started:\n" + output.decode("latin-1")
        time.sleep(0.3)
        os.kill(program, signum)
        rest, _ = proc.communicate(timeout=60)
        text = (output + rest).decode("latin-1")
        last = last_trace_line(trace)
    name = signal.Signals(signum).name
    problems = []
    if proc.returncode != 80:
        problems.append("exit status %d, expected 80" % proc.returncode)
    tail = "\nTerminated by user (%s)\n\n\nReset pin released\nAdapter disabled\n" % name
    if not text.endswith(tail):
        problems.append("output does not end with %r:\n%s" % (tail, text[-400:]))
    if " done (" in text.split("Programming CODE memory\n", 1)[1]:
        problems.append("the write finished before the signal")
    if last != EXIT_LINE:
        problems.append("lines at exit: %r, expected %r" % (last, EXIT_LINE))
    return "\n".join(problems) or None


def last_trace_line(trace):
    with open(trace) as f:
        lines = f.read().splitlines()
    return lines[-1].split(None, 1)[1] if lines else "(empty trace)"


def closed_output(zindle, vtarget):
    """Standard output closed after the first bytes: the run goes on to its normal end."""
    with tempfile.TemporaryDirectory(prefix="zindle-signal-") as work:
        trace = os.path.join(work, "run.trace")
        proc = subprocess.Popen([vtarget, "--trace", trace, "--wiring", "map:" + MAP, "--", zindle, "+mega8", "-ew",
                                 "-am:" + MAP, "-p/dev/parport0", SMALL], cwd=work, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE)
        proc.stdout.read(100)
        proc.stdout.close()
        status = proc.wait(timeout=60)
        last = last_trace_line(trace)
    if status != 0 or last != EXIT_OK:
        return "exit status %d, lines at exit %r; expected 0 and %r" % (status, last, EXIT_OK)
    return None


def file_size_limit(zindle, vtarget):
    """A read-back larger than the file-size limit: the write error is reported and the file deleted."""
    # The limit (8 blocks of 512 bytes) is zindle's alone: vtarget keeps the chip's image in a file of its own.
    limited = ["sh", "-c", 'ulimit -f 8 && exec "$0" "$@"', zindle]
    with tempfile.TemporaryDirectory(prefix="zindle-signal-") as work:
        done = subprocess.run([vtarget, "--", *limited, "+mega8", "-r", "-p/dev/parport0", "-c", "read.hex"], cwd=work,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=60)
        left = os.path.exists(os.path.join(work, "read.hex"))
    text = done.stdout.decode("latin-1")
    if done.returncode != 0 or "read.hex - write error\n" not in text or left:
        return "exit status %d, file left: %s\n%s" % (done.returncode, left, text[-400:])
    return None


def killed_mid_write(zindle, vtarget):
    """SIGKILL after the first kilobyte: the chip keeps the erase and the pages written."""
    with tempfile.TemporaryDirectory(prefix="zindle-signal-") as work:
        state = os.path.join(work, "chip.state")
        command = [vtarget, "--deterministic", "--chip", "mega2560", "--state", state, "--", zindle, "+mega2560",
                   "-ew", "-p/dev/parport0", os.path.join(DATA, "hex", "large_flash.hex")]
        proc = subprocess.Popen(command, cwd=work, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        output = b""
        # Two progress dots: 1 KB has gone to the chip.
        while b"Programming CODE memory\n.." not in output:
            piece = proc.stdout.read1(4096)
            if not piece:
                break
            output += piece
        program = child_of(proc.pid)
        if program is not None:
            os.kill(program, signal.SIGKILL)
        proc.stdout.close()
        status = proc.wait(timeout=120)
        flash_out = os.path.join(work, "flash.bin")
        shown = subprocess.run([vtarget, "--state", state, "--show", "--flash-out", flash_out],
                               stdout=subprocess.PIPE, timeout=60).stdout.decode("latin-1")
        with open(flash_out, "rb") as f:
            flash = f.read()
    with open(os.path.join(DATA, "hex", "large_flash.bin"), "rb") as f:
        program = f.read()
    problems = []
    if status != 128 + signal.SIGKILL:
        problems.append("exit status %d, expected %d (SIGKILL)" % (status, 128 + signal.SIGKILL))
    if "chip erases: 1\n" not in shown:
        problems.append("the erase was lost:\n" + shown)
    if flash[:512] != program[:512]:
        problems.append("the first pages were lost")
    if flash[len(program) - 256:len(program)] != b"\xff" * 256:
        problems.append("the last page was written: zindle did not die in the middle")
    return "\n".join(problems) or None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--zindle", required=True)
    parser.add_argument("--vtarget", required=True)
    options = parser.parse_args()
    zindle, vtarget = os.path.abspath(options.zindle), os.path.abspath(options.vtarget)
    tests = [("%s during a FLASH write" % s.name, lambda s=s: run(zindle, vtarget, s))
             for s in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)]
    tests += [("output closed early", lambda: closed_output(zindle, vtarget)),
              ("file-size limit", lambda: file_size_limit(zindle, vtarget)),
              ("SIGKILL during a FLASH write leaves the chip half-written", lambda: killed_mid_write(zindle, vtarget))]
    passed = failed = 0
    for name, test in tests:
        problem = test()
        if problem is None:
            passed += 1
            print("ok    %s" % name)
        else:
            failed += 1
            print("FAIL  %s\n%s" % (name, problem))
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
