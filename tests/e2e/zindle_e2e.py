"""End-to-end cases for the built zindle program.

A case file (tests/e2e/cases/*.py) defines CASES, a list of case(...) records.
Each case runs the real binary with its arguments in a fresh temporary
directory (optionally with files written there first, optionally under the
virtual target) and compares the exit status and the whole standard output.
A case may also run steps before its command on the same simulated chip
(vtarget_state) and check the chip afterwards (check).

The banner carries the build date and time, so by default the runner checks
the banner's layout and compares only what follows it.
"""

import re
from dataclasses import dataclass, field
from typing import Callable, Dict, List, Optional, Pattern, Union

HINT = "For short help type\n\tzindle -h"

# An empty line; the title; "v<number><letter><number> (<Mmm dd yyyy hh:mm:ss>)  <web address>";
# the bug-report address.
BANNER = re.compile(
    r"\nzindle/Linux32  -  AVR controllers programmer[^\n]*\n"
    r"v\d+(\.\d+)*[a-z]\d+ \([A-Z][a-z]{2} [ \d]\d \d{4} \d\d:\d\d:\d\d\)  \S+\n"
    r"bug-reports, suggestions and so on mail to \S+@\S+\n"
)

Expected = Union[str, Pattern, Callable[[str], Optional[str]]]


@dataclass
class step:
    """A run before the case's own command, under the virtual target, in the same directory."""
    args: Optional[List[str]]  # zindle arguments; None: the virtual target alone (--flash-in, --show, ...)
    vtarget: List[str] = field(default_factory=list)  # vtarget options
    status: int = 0  # the exit status the step must end with


@dataclass
class case:
    name: str
    args: List[str]
    status: int
    # str: exact text; compiled regex: must match the whole text;
    # callable: returns None when the text is right, else what is wrong.
    stdout: Expected
    banner: bool = True  # the output starts with the banner (checked, then cut off)
    files: Dict[str, Union[str, bytes]] = field(default_factory=dict)  # written into the run directory
    vtarget: Optional[List[str]] = None  # run as: vtarget OPTIONS -- zindle ARGS
    timeout: float = 60
    steps: List[step] = field(default_factory=list)  # run first, in order; each must end with its status
    # A chip state file name: every vtarget run of the case (steps, command, check) gets --state WORKDIR/NAME.
    vtarget_state: Optional[str] = None
    # check(workdir, run_vtarget) after the command: None when all is right, else what is wrong.
    # run_vtarget(*options) runs vtarget (with the state) without a program and returns its standard output.
    check: Optional[Callable[[str, Callable[..., str]], Optional[str]]] = None


def echo(*args: str) -> str:
    """The command echo for arguments that hold no blank or tab."""
    return "Command:\n " + "".join(" " + a for a in args) + "\n"


def failed(message: str) -> str:
    """A failure message as it reaches the top: the message, then an empty line."""
    return message + "\n"


def expect(*parts, absent=(), last=None):
    """Every part appears, in this order; no absent text appears; the trace ends with `last`."""
    def check(text):
        position = 0
        for part in parts:
            found = text.find(part, position)
            if found < 0:
                return "missing (in order): %r\n--- output ---\n%s" % (part, text)
            position = found + len(part)
        for part in absent:
            if part in text:
                return "unexpected: %r\n--- output ---\n%s" % (part, text)
        if last is not None and not re.search(r"\d\.\d+ " + re.escape(last) + r"\Z", text):
            return "trace does not end with %r\n--- output ---\n%s" % (last, text)
        return None
    return check
