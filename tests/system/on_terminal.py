#!/usr/bin/python3
"""Runs a command on a terminal of its own, types a password whenever one is asked for, and shows
what the command writes.
usage: on_terminal.py PASSWORD COMMAND...
"""

import os
import pty
import re
import sys

QUESTION = re.compile(rb"(Password[^\r\n]*|again|more time\)): $")


def main() -> int:
    password = sys.argv[1].encode() + b"\n"
    child, terminal = pty.fork()
    if child == 0:
        os.execvp(sys.argv[2], sys.argv[2:])
    line = b""
    while True:
        try:
            data = os.read(terminal, 4096)
        except OSError:  # What reading ends with when nobody has the terminal open any more.
            break
        if not data:
            break
        sys.stdout.buffer.write(data)
        line = (line + data).splitlines(keepends=True)[-1]
        if QUESTION.search(line):
            os.write(terminal, password)
            line = b""
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


sys.exit(main())
