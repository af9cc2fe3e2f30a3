"""Makes a wheel that depends on the platform, but neither on the version of Python nor on its
binary interface: the libraries in it know nothing of Python.

It needs setuptools and wheel, both packages of Debian. That is less than a program of our own
that writes the metadata, the list of hashes and the archive by the rules of the format.
"""

import pathlib
from typing import Tuple

from setuptools import Distribution, setup
from wheel.bdist_wheel import bdist_wheel


# Written by CMake; empty for a wheel that is for systems like the one it is built on.
_PLATFORM = pathlib.Path(__file__).with_name("PLATFORM").read_text(encoding="ascii").strip()


class PlatformDistribution(Distribution):
    def has_ext_modules(self) -> bool:
        return True


class PlatformWheel(bdist_wheel):
    def get_tag(self) -> Tuple[str, str, str]:
        return "py3", "none", _PLATFORM or super().get_tag()[2]


setup(distclass=PlatformDistribution, cmdclass={"bdist_wheel": PlatformWheel})
