#!/usr/bin/env python3
"""run_cases.py --zindle ZINDLE --vtarget VTARGET cases/FILE.py...: runs the CASES (zindle_e2e.case) and the TESTS
((name, test(options, work directory) -> problem or None)) of each file (77: a file's SKIP says why it can't run)."""
import argparse
import importlib.util
import os
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from zindle_e2e import BANNER, put, report  # noqa: E402


def run(command, work, what, status=None, stderr=subprocess.PIPE):
    done = subprocess.run(command, cwd=work, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=stderr,
                          timeout=120)
    if status is not None and done.returncode != status:
        raise RuntimeError("%s (%s): exit status %d, expected %d\n%s" % (
            what, " ".join(command[1:]), done.returncode, status, done.stdout.decode("latin-1")))
    return done


def run_case(c, zindle, vtarget):
    with tempfile.TemporaryDirectory(prefix="zindle-e2e-") as work:
        put(work, c.files)
        state = ["--state", os.path.join(work, "chip.state")] if c.state else []
        under = [vtarget, "--deterministic"] + state
        try:
            for n, s in enumerate(c.steps, 1):
                run([*under, *s.vtarget] + ([] if s.args is None else ["--", zindle, *s.args]), work, "step %d" % n,
                    s.status, subprocess.STDOUT)
            done = run([zindle] + c.args if c.vtarget is None else under + c.vtarget + ["--", zindle] + c.args, work,
                       "command")
            checked = c.check and c.check(work, lambda *o: run([vtarget] + state + list(o), work, "vtarget", 0)
                                          .stdout.decode("latin-1"))
        except Exception as e:  # a broken step or check is a failed case, not a crashed runner
            return "%s: %s" % (type(e).__name__, e)
    problems = [] if done.returncode == c.status else ["exit status %d, expected %d" % (done.returncode, c.status)]
    text, m = done.stdout.decode("latin-1"), BANNER.match(done.stdout.decode("latin-1"))
    problems += [] if m else ["no banner at the start of the output"]
    text = text[m.end():] if m else text
    problems.append(c.stdout(text) if callable(c.stdout) else
                    None if text == c.stdout else "output %r\nexpected %r" % (text, c.stdout))
    if done.stderr and c.vtarget is None:
        problems.append("wrote to standard error: %r" % done.stderr.decode("latin-1"))
    return "\n".join(p for p in problems + [checked] if p) or None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--zindle", required=True, type=os.path.abspath)
    parser.add_argument("--vtarget", required=True, type=os.path.abspath)
    parser.add_argument("case_files", nargs="+")
    o, results = parser.parse_args(), []
    for path in o.case_files:
        spec = importlib.util.spec_from_file_location(os.path.splitext(os.path.basename(path))[0], path)
        module = importlib.util.module_from_spec(spec)
        spec.loader.exec_module(module)
        if getattr(module, "SKIP", None):
            print(module.SKIP)
            return 77
        results += [("%s: zindle %s" % (c.name, " ".join(c.args)), run_case(c, o.zindle, o.vtarget))
                    for c in getattr(module, "CASES", [])]
        for name, test in getattr(module, "TESTS", []):
            with tempfile.TemporaryDirectory(prefix="zindle-e2e-") as work:
                try:
                    results.append((name, test(o, work)))
                except Exception as e:
                    results.append((name, "%s: %s" % (type(e).__name__, e)))
    return report(results)


if __name__ == "__main__":
    sys.exit(main())
