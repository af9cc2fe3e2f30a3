"""A screen for Blender's windows, in memory."""

from __future__ import annotations

import os
import subprocess


class Screen:
    """Open until it is closed."""

    def __init__(self) -> None:
        reader, writer = os.pipe()
        # The server chooses a number that is free, and tells it.
        command = ["Xvfb", "-displayfd", str(writer), "-screen", "0", "640x480x24"]
        self._process = subprocess.Popen(
            [*command, "-nolisten", "tcp"], pass_fds=[writer], stderr=subprocess.DEVNULL
        )
        os.close(writer)
        with os.fdopen(reader) as told:
            self.name = ":" + told.readline().strip()

    def close(self) -> None:
        self._process.terminate()
        self._process.wait()
