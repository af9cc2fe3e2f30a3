"""Blender processes that run a script, each user's things in a folder of the test."""

from __future__ import annotations

import dataclasses
import json
import os
import pathlib
import shutil
import subprocess
import sys
from typing import Any, Dict, List, Optional, Union

from screen import Screen

_HERE = str(pathlib.Path(__file__).parent)
_LONGEST_RUN_SECONDS = 240
_TOLD = "told: "

Preference = Union[str, bool, int]


@dataclasses.dataclass(frozen=True)
class Finished:
    """A process that has ended."""

    status: int
    output: str
    errors: str

    @property
    def told(self) -> List[Any]:
        """What the script has told, in order."""
        lines = self.output.splitlines()
        return [json.loads(line[len(_TOLD) :]) for line in lines if line.startswith(_TOLD)]

    def check(self) -> "Finished":
        """That it came to its end as it should."""
        sys.stdout.write(self.output)
        sys.stderr.write(self.errors)
        assert self.status == 0
        assert "Traceback" not in self.errors
        return self


@dataclasses.dataclass(frozen=True)
class Blender:
    """How to start it."""

    home: pathlib.Path
    preferences: Optional[Dict[str, Preference]] = None
    screen: Optional[Screen] = None
    uses_factory_settings: bool = True
    environment: Optional[Dict[str, str]] = None

    def with_preferences(self, **values: Preference) -> "Blender":
        return dataclasses.replace(self, preferences={**(self.preferences or {}), **values})

    def on(self, screen: Screen) -> "Blender":
        return dataclasses.replace(self, screen=screen)

    def with_home_copied_to(self, home: pathlib.Path) -> "Blender":
        shutil.copytree(self.home, home)
        return dataclasses.replace(self, home=home)

    def with_environment(self, **variables: str) -> "Blender":
        return dataclasses.replace(self, environment=variables)

    def with_saved_settings(self) -> "Blender":
        return dataclasses.replace(self, uses_factory_settings=False)

    @property
    def addon_folder(self) -> pathlib.Path:
        return self.home / "scripts" / "addons" / "mtllib_blender"

    def run(self, script: str) -> Finished:
        """It may import `in_blender`, which enables the add-on."""
        command = ["blender", "--python-exit-code", "1"]
        if self.uses_factory_settings:
            command += ["--factory-startup"]
        if self.screen is None:
            command += ["--background"]
        else:
            command += ["--enable-event-simulate", "--window-geometry", "0", "0", "640", "480"]
        command += ["--python-expr", f"import sys; sys.path.insert(0, {_HERE!r})\n{script}"]
        command += ["--", json.dumps(self.preferences or {})]
        process = subprocess.run(
            command,
            env=self._environment(),
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            timeout=_LONGEST_RUN_SECONDS,
        )
        return Finished(process.returncode, process.stdout, process.stderr)

    def _environment(self) -> Dict[str, str]:
        home = str(self.home)
        environment = {
            "PATH": os.environ["PATH"],
            "BLENDER_USER_RESOURCES": home,
            "HOME": home,
            "TMPDIR": home,
            # The server is on this computer.
            "no_proxy": "127.0.0.1",
            **(self.environment or {}),
        }
        if self.screen is not None:
            environment["DISPLAY"] = self.screen.name
        return environment
