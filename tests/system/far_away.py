"""Starts a program as if it were far away: its standard input and its output are delayed.

usage: far_away.py DELAY_FILE LOG COMMAND...: DELAY_FILE has the delay in seconds, for each
direction. Each start adds a line to LOG.
"""

import os
import queue
import subprocess
import sys
import threading
import time
from typing import Optional


def carry(source: int, target: int, delay: float) -> None:
    """Until the source ends."""
    under_way: "queue.Queue[tuple[float, bytes]]" = queue.Queue()

    def deliver() -> None:
        while True:
            due, data = under_way.get()
            time.sleep(max(0.0, due - time.monotonic()))
            if not data:
                os.close(target)
                return
            while data:
                try:
                    data = data[os.write(target, data) :]
                except BrokenPipeError:
                    return

    delivery = threading.Thread(target=deliver, daemon=True)
    delivery.start()
    data: Optional[bytes] = None
    while data != b"":
        data = os.read(source, 65536)
        under_way.put((time.monotonic() + delay, data))
    delivery.join()


def main() -> int:
    delay_file, log, *command = sys.argv[1:]
    with open(log, "a", encoding="utf-8") as text:
        text.write("connection\n")
    with open(delay_file, encoding="utf-8") as text:
        delay = float(text.read())
    # The line has to be laid as well.
    time.sleep(2 * delay)
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
        assert process.stdin and process.stdout
        there = os.dup(process.stdin.fileno())
        process.stdin.close()
        threading.Thread(target=carry, args=(0, there, delay), daemon=True).start()
        carry(process.stdout.fileno(), os.dup(1), delay)
        return process.wait()


if __name__ == "__main__":
    sys.exit(main())
