#!/usr/bin/env python3
"""Runs end-to-end case files against the built zindle program.

    run_cases.py --zindle BUILD/zindle [--vtarget BUILD/sim/vtarget] cases/FILE.py ...

Ends with the line "N passed, N failed"; exit status 1 when any case failed.
Every run under the virtual target uses its deterministic clock (a case may
ask for --realtime in its options), so no result depends on the host's speed.
"""

import argparse
import difflib
import importlib.util
import os
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
CLOCK = ["--deterministic"]
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from zindle_e2e import BANNER  # noqa: E402


def load_cases(path):
    module_spec = importlib.util.spec_from_file_location(os.path.splitext(os.path.basename(path))[0], path)
    module = importlib.util.module_from_spec(module_spec)
    module_spec.loader.exec_module(module)
    return module.CASES


def compare(expected, text):
    """None when text is as expected, else a description of the difference."""
    if isinstance(expected, str):
        if text == expected:
            return None
        diff = difflib.unified_diff(expected.splitlines(True), text.splitlines(True), "expected", "actual")
        return "".join(line if line.endswith("\n") else line + "\\ no newline\n" for line in diff)
    if hasattr(expected, "fullmatch"):
        if expected.fullmatch(text):
            return None
        return "output does not match /%s/\nactual output:\n%s" % (expected.pattern, text)
    return expected(text)


def run_steps(c, zindle, vtarget, work, state):
    """Runs the case's steps in order; None when each ended with its status, else what went wrong."""
    for number, s in enumerate(c.steps, 1):
        command = [vtarget] + CLOCK + state + s.vtarget + ([] if s.args is None else ["--", zindle] + s.args)
        try:
            done = subprocess.run(command, cwd=work, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, timeout=c.timeout)
        except subprocess.TimeoutExpired:
            return "step %d: no end within %g s" % (number, c.timeout)
        if done.returncode != s.status:
            return "step %d (%s): exit status %d, expected %d\n%s" % (
                number, " ".join(command[1:]), done.returncode, s.status, done.stdout.decode("latin-1"))
    return None


def run_check(c, vtarget, work, state):
    def run_vtarget(*options):
        done = subprocess.run([vtarget] + state + list(options), cwd=work, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=c.timeout)
        if done.returncode != 0:
            raise RuntimeError("vtarget %s: exit status %d\n%s" % (
                " ".join(options), done.returncode, done.stderr.decode("latin-1")))
        return done.stdout.decode("latin-1")
    try:
        return c.check(work, run_vtarget)
    except Exception as e:  # a broken check is a failed case, not a crashed runner
        return "check: %s: %s" % (type(e).__name__, e)


def run_case(c, zindle, vtarget):
    if (c.steps or c.vtarget_state or c.check) and c.vtarget is None:
        return "steps, vtarget_state and check need vtarget options"
    if c.vtarget is not None and vtarget is None:
        return "needs the virtual target (--vtarget)"
    checked = None
    with tempfile.TemporaryDirectory(prefix="zindle-e2e-") as work:
        for name, content in c.files.items():
            mode = "wb" if isinstance(content, bytes) else "w"
            with open(os.path.join(work, name), mode) as f:
                f.write(content)
        state = ["--state", os.path.join(work, c.vtarget_state)] if c.vtarget_state else []
        command = [zindle] + c.args
        if c.vtarget is not None:
            command = [vtarget] + CLOCK + state + c.vtarget + ["--"] + command
        problem = run_steps(c, zindle, vtarget, work, state)
        if problem is not None:
            return problem
        try:
            done = subprocess.run(command, cwd=work, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, timeout=c.timeout)
        except subprocess.TimeoutExpired:
            return "no end within %g s" % c.timeout
        if c.check is not None:
            checked = run_check(c, vtarget, work, state)
    problems = []
    if done.returncode != c.status:
        problems.append("exit status %d, expected %d" % (done.returncode, c.status))
    text = done.stdout.decode("latin-1")
    if c.banner:
        m = BANNER.match(text)
        if m is None:
            problems.append("no banner at the start of the output")
        else:
            text = text[m.end():]
    difference = compare(c.stdout, text)
    if difference is not None:
        problems.append(difference)
    if done.stderr and c.vtarget is None:
        problems.append("wrote to standard error: %r" % done.stderr.decode("latin-1"))
    if checked is not None:
        problems.append(checked)
    return "\n".join(problems) if problems else None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--zindle", required=True)
    parser.add_argument("--vtarget")
    parser.add_argument("case_files", nargs="+")
    options = parser.parse_args()

    passed = failed = 0
    for path in options.case_files:
        for c in load_cases(path):
            problem = run_case(c, os.path.abspath(options.zindle),
                               os.path.abspath(options.vtarget) if options.vtarget else None)
            if problem is None:
                passed += 1
                print("ok    %s" % c.name)
            else:
                failed += 1
                print("FAIL  %s: zindle %s\n%s" % (c.name, " ".join(c.args), problem))
    print("%d passed, %d failed" % (passed, failed))
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main())
